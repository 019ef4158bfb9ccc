# What the enabled parts need of the machine. All that is missing is named at once, with the command that installs it on
# Debian.

# The oldest QtCore 5 that the driver is built with; the documents say the same.
set(DX7_QT5_OLDEST 5.9)

set(missing_names "")
set(missing_packages "")

# dx7_need(DEBIAN-PACKAGE NAME [ARGUMENT...]): find_package(NAME ARGUMENT...), or a missing package more.
macro(dx7_need package name)
  find_package(${name} QUIET ${ARGN})
  if(NOT ${name}_FOUND)
    list(APPEND missing_names ${name})
    list(APPEND missing_packages ${package})
  endif()
endmacro()

# dx7_need_module(DEBIAN-PACKAGE PREFIX MODULE): the pkg-config module MODULE as PkgConfig::PREFIX.
macro(dx7_need_module package prefix module)
  if(NOT PkgConfig_FOUND)
    dx7_need(pkg-config PkgConfig)
  endif()
  if(PkgConfig_FOUND AND NOT TARGET PkgConfig::${prefix})
    pkg_check_modules(${prefix} QUIET IMPORTED_TARGET ${module})
  endif()
  if(NOT TARGET PkgConfig::${prefix})
    list(APPEND missing_names ${module})
    list(APPEND missing_packages ${package})
  endif()
endmacro()

if(DX7_QT_MAJOR EQUAL 5)
  if(DX7_BUILD_HOST OR DX7_BUILD_TESTS OR DX7_BUILD_BENCH)
    dx7_need(qtbase5-dev Qt5 5.15 COMPONENTS Core)
  else()
    dx7_need(qtbase5-dev Qt5 ${DX7_QT5_OLDEST} COMPONENTS Core)
  endif()
endif()
if(DX7_BUILD_HOST OR DX7_BUILD_DEVICE)
  dx7_need(libcli11-dev CLI11)
  dx7_need(libtomlplusplus-dev tomlplusplus)
endif()
if(DX7_BUILD_HOST)
  set(CURSES_NEED_NCURSES TRUE)
  set(CURSES_NEED_WIDE TRUE)
  dx7_need(libncurses-dev Curses)
  dx7_need(libc6-dev Threads)
  dx7_need(nlohmann-json3-dev nlohmann_json)
  # Not by pkg-config, which asks for the D-Bus that libpcap itself was built with.
  find_library(PCAP_LIBRARY pcap)
  find_path(PCAP_INCLUDE_DIR pcap/pcap.h)
  if(NOT PCAP_LIBRARY OR NOT PCAP_INCLUDE_DIR)
    list(APPEND missing_names libpcap)
    list(APPEND missing_packages libpcap-dev)
  endif()
endif()
if(DX7_BUILD_DEVICE)
  dx7_need_module(libmodbus-dev MODBUS libmodbus)
endif()

if(missing_names)
  list(REMOVE_DUPLICATES missing_names)
  list(REMOVE_DUPLICATES missing_packages)
  list(JOIN missing_names ", " names)
  list(JOIN missing_packages " " packages)
  message(FATAL_ERROR "The build needs what was not found here: ${names}. On Debian 12: apt-get install ${packages}\n"
                      "The driver alone needs QtCore and nothing else: -DDX7_BUILD_HOST=OFF -DDX7_BUILD_DEVICE=OFF")
endif()
