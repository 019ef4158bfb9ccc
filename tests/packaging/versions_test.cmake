# The documents, the packages' files and CMake ask for the same QtCore and compilers. Run with cmake -P; needs SOURCE_DIR
# (the project).

include("${CMAKE_CURRENT_LIST_DIR}/fail.cmake")

file(READ "${SOURCE_DIR}/cmake/Dx7Dependencies.cmake" dependencies)
if(NOT dependencies MATCHES "dx7_need\\([a-z0-9-]+ Qt5 \\\${DX7_QT5_OLDEST} " OR
   NOT dependencies MATCHES "set\\(DX7_QT5_OLDEST ([0-9.]+)\\)")
  message(FATAL_ERROR "cmake/Dx7Dependencies.cmake does not say which QtCore 5 is the oldest")
endif()
set(oldest "${CMAKE_MATCH_1}")
file(READ "${SOURCE_DIR}/cmake/Dx7QtCore.cmake" qtcore)
if(NOT qtcore MATCHES "find_package\\(Qt4 4\\.8 ")
  fail("cmake/Dx7QtCore.cmake does not ask for QtCore 4.8")
endif()

foreach(document README.md CHANGELOG.md docs/porting.md docs/integration.md)
  file(READ "${SOURCE_DIR}/${document}" text)
  string(REGEX REPLACE "[ \n]+" " " text "${text}")
  if(NOT text MATCHES "4\\.8, or ${oldest} and later")
    fail("${document} does not say '4.8, or ${oldest} and later'")
  endif()
  string(REGEX MATCHALL "QtCore 5\\.[0-9]+|4\\.8 or 5|or 5\\.[0-9]+ and later" versions "${text}")
  foreach(version IN LISTS versions)
    if(NOT version MATCHES "(QtCore|or) ${oldest}( |$)" AND NOT version STREQUAL "QtCore 5.15")
      fail("${document} says '${version}', and CMake asks for ${oldest}")
    endif()
  endforeach()
endforeach()

# The template's processor flags are those that GCC 4.8 knows, the same in the guide, which gives the newer form too.
foreach(document cmake/toolchains/armhf.cmake docs/porting.md)
  file(READ "${SOURCE_DIR}/${document}" text)
  if(NOT text MATCHES "\nset\\(DX7_CPU_FLAGS \"(-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard -mthumb)\"\\)")
    fail("${document} sets no DX7_CPU_FLAGS that GCC 4.8 knows")
  endif()
  if(NOT text MATCHES "-march=armv7-a\\+fp -mthumb")
    fail("${document} does not give the newer form of the processor flags")
  endif()
endforeach()

file(READ "${SOURCE_DIR}/docs/porting.md" guide)
if(NOT guide MATCHES "-DDX7_WARNINGS_AS_ERRORS=OFF")
  fail("docs/porting.md does not explain DX7_WARNINGS_AS_ERRORS")
endif()
