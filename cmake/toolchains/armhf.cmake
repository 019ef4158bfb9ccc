# Cross compilation for a panel with 32-bit ARM. For a board's own SDK copy this file and change the five lines
# of the first block; docs/porting.md walks through it. Every GCC takes these processor flags; since GCC 8
# "-march=armv7-a+fp -mthumb" says the same, which older ones, GCC 4.8 among them, do not know.

set(DX7_COMPILER_PREFIX arm-linux-gnueabihf-)       # with its folder when the SDK is not on the PATH
set(DX7_PROCESSOR armv7l)                           # what `uname -m` says on the board
set(DX7_CPU_FLAGS "-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard -mthumb")  # as the SDK's environment sets them
set(DX7_SYSROOT_DEFAULT "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-armhf")
set(DX7_EMULATOR qemu-arm)                          # runs the tests; empty when there is none

set(DX7_SYSROOT "${DX7_SYSROOT_DEFAULT}" CACHE PATH "Root folder of the board's libraries and headers")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DX7_SYSROOT)
get_filename_component(CMAKE_SYSROOT "${DX7_SYSROOT}" REALPATH BASE_DIR "${CMAKE_BINARY_DIR}")
if(NOT IS_DIRECTORY "${CMAKE_SYSROOT}")
  message(FATAL_ERROR "There is no root folder of the target at ${CMAKE_SYSROOT}. "
                      "Make one with 'scripts/sysroot armhf', or name yours with -DDX7_SYSROOT=FOLDER.")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${DX7_PROCESSOR})
set(CMAKE_C_COMPILER ${DX7_COMPILER_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${DX7_COMPILER_PREFIX}g++)
set(CMAKE_C_FLAGS_INIT "${DX7_CPU_FLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${DX7_CPU_FLAGS} -Wno-psabi")
if(DX7_COMPILER_PREFIX MATCHES "([^/]+)-$")
  set(CMAKE_LIBRARY_ARCHITECTURE ${CMAKE_MATCH_1})  # Debian keeps libraries in a folder of this name
endif()

# Programs run here, everything else is the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The same for pkg-config, which runs here and would describe this machine's libraries.
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
string(CONCAT dx7_pkgconfig_folders "${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:"
  "${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_LIBDIR} "${dx7_pkgconfig_folders}")

if(DX7_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${DX7_EMULATOR};-L;${CMAKE_SYSROOT}")
endif()
