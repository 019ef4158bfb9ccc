# How the project's targets are compiled. Flags for everything are set only where the project is not part of another.

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(DX7_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
  endif()
  include(Dx7Reproducible)
  include(Dx7Hardening)
  if(DX7_SANITIZE)
    # Without optimisation the exhaustive tests take minutes; all that a report needs of debug information is lines.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
    add_link_options(-fsanitize=address,undefined)
  endif()
  if(DX7_SANITIZE_THREAD)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
  endif()
  if(DX7_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link -O1)
  endif()
  if(DX7_COVERAGE)
    set(DX7_COUNTING_OPTIONS --coverage -O0 -fno-inline)
    add_compile_options(${DX7_COUNTING_OPTIONS})
    add_link_options(--coverage)
  endif()
endif()

# The language standard is exact: the driver must not drift beyond C++11.
function(dx7_target target standard)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD ${standard}
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${DX7_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
