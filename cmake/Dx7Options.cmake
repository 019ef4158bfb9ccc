# Every option of the project. A build by itself makes the product: the driver, and with QtCore 5 the host and the
# simulated device. Tests, warnings as errors and the analysers are for who works on it (DX7_DEVELOPER_MODE; the presets
# turn it on).

if(CMAKE_SOURCE_DIR STREQUAL PROJECT_SOURCE_DIR)
  set(DX7_TOP_LEVEL ON)
else()
  set(DX7_TOP_LEVEL OFF)  # part of another project, whose build type, flags and packages are its own
endif()

set(DX7_QT_MAJOR 5 CACHE STRING "QtCore generation the driver is built against (4 or 5)")
set_property(CACHE DX7_QT_MAJOR PROPERTY STRINGS 4 5)
if(NOT DX7_QT_MAJOR MATCHES "^[45]$")
  message(FATAL_ERROR "DX7_QT_MAJOR is '${DX7_QT_MAJOR}'; it must be 4 or 5.")
endif()
option(DX7_DEVELOPER_MODE "Build the tests, stop at any warning, and have the analysers as a target" OFF)

# Host and device need QtCore 5. With QtCore 4 the driver is built, and its tests when they are asked for.
set(qtcore5 ON)
set(developer ${DX7_DEVELOPER_MODE})
if(DX7_QT_MAJOR EQUAL 4)
  set(qtcore5 OFF)
endif()
if(NOT DX7_TOP_LEVEL)
  set(developer OFF)
endif()
set(tests OFF)
if(developer AND qtcore5)
  set(tests ON)
endif()
option(DX7_BUILD_HOST "Build the reference host dx7" ${qtcore5})
option(DX7_BUILD_DEVICE "Build the simulated device dx7-device" ${qtcore5})
option(DX7_BUILD_TESTS "Build the tests" ${tests})
option(DX7_BUILD_BENCH "Build the benchmarks" OFF)
option(DX7_BUILD_FUZZ "Build the fuzz targets (clang, with DX7_SANITIZE)" OFF)
option(DX7_WARNINGS_AS_ERRORS "Stop at any warning" ${developer})

# Kinds of builds.
option(DX7_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(DX7_SANITIZE_THREAD "Build with ThreadSanitizer" OFF)
option(DX7_COVERAGE "Count executed lines and branches (gcov)" OFF)

# Packages; scripts/package sets them.
option(DX7_HARDENING "Compile and link with stack protector, FORTIFY, PIE, RELRO and BIND_NOW" OFF)
option(DX7_DEBIAN_FILES "Install copyright and changelog where Debian packages keep them" OFF)
set(DX7_DRIVER_DEPENDS "" CACHE STRING
  "Dependencies of the driver's package; empty = found out by dpkg-shlibdeps on the build machine")
set(DX7_TOOLS_DEPENDS "" CACHE STRING
  "Dependencies of the programs' package on libraries; empty = found out by dpkg-shlibdeps on the build machine")

if(DX7_QT_MAJOR EQUAL 4 AND (DX7_BUILD_HOST OR DX7_BUILD_DEVICE OR DX7_BUILD_BENCH OR DX7_BUILD_FUZZ))
  message(FATAL_ERROR "With DX7_QT_MAJOR=4 the driver is built alone, or with its tests: host, device, benchmarks and "
                      "fuzz targets need QtCore 5. Add -DDX7_BUILD_HOST=OFF -DDX7_BUILD_DEVICE=OFF "
                      "-DDX7_BUILD_BENCH=OFF -DDX7_BUILD_FUZZ=OFF, or use a build folder of its own.")
endif()
