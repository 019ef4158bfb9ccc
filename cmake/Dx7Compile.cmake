# Compiler settings that every target of the project shares.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

option(DX7_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(DX7_SANITIZE)
  # Without optimisation the exhaustive tests take minutes; all that a report needs of debug information is lines.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=address,undefined)
endif()

option(DX7_SANITIZE_THREAD "Build with ThreadSanitizer" OFF)
if(DX7_SANITIZE_THREAD)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

option(DX7_BUILD_FUZZ "Build the fuzz targets (clang, with DX7_SANITIZE)" OFF)
if(DX7_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link -O1)
endif()

option(DX7_COVERAGE "Count executed lines and branches (gcov)" OFF)
if(DX7_COVERAGE)
  add_compile_options(--coverage -O0 -fno-inline)
  add_link_options(--coverage)
endif()

# Compiling several sources at a time halves the time of a whole build; the scripts set it. Only the targets whose
# sources spend most of it on the same large headers are compiled so.
option(DX7_UNITY_BUILD "Compile several sources of the largest targets as one" OFF)
function(dx7_together target)
  if(DX7_UNITY_BUILD)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 7)
  endif()
endfunction()

option(DX7_WARNINGS_AS_ERRORS "Stop at any warning; OFF helps with the compiler of an old board" ON)

# The language standard is exact: the driver must not drift beyond C++11.
function(dx7_target target standard)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD ${standard}
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${DX7_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
