# The Debian packages korvalent-dx7-driver, korvalent-dx7-dev and dx7-tools, one per installed component.

set(packaging "${PROJECT_SOURCE_DIR}/packaging/debian")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvalent-dx7)
set(CPACK_PACKAGE_VENDOR "The korvalent_dx7 maintainers")
set(CPACK_PACKAGE_CONTACT "The korvalent_dx7 maintainers <maintainers@korvalent-dx7.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL driver dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "armv7l")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

# A component's description begins with its own summary, not with the project's.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "korvalent_dx7 lets an HMI runtime exchange data with a field device over\nModbus RTU.")

set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME korvalent-dx7-driver)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DRIVER_PACKAGE_CONTROL_EXTRA "${packaging}/triggers")
set(CPACK_COMPONENT_DRIVER_DESCRIPTION "HMI device driver over Modbus RTU\n${about}\n\n\
This package holds the driver itself, a shared library that the runtime\nloads by its name.")
if(DX7_DRIVER_DEPENDS)
  set(CPACK_DEBIAN_DRIVER_PACKAGE_DEPENDS "${DX7_DRIVER_DEPENDS}")
else()
  set(CPACK_DEBIAN_DRIVER_PACKAGE_SHLIBDEPS ON)
endif()

set(same_version "korvalent-dx7-driver (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME korvalent-dx7-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${same_version}, qtbase5-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "HMI device driver over Modbus RTU, files for integrators\n${about}\n\n\
This package holds the headers of the host interface, a CMake package, a\npkg-config file and the source of a self-test for boards.")

if(TARGET dx7 AND TARGET dx7-device)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME dx7-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
  if(DX7_TOOLS_DEPENDS)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${same_version}, ${DX7_TOOLS_DEPENDS}")
  else()
    set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${same_version}")
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  endif()
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "commissioning tool and simulated device of korvalent_dx7\n${about}\n\n\
This package holds dx7, which runs the driver on a line from the command\nline, and dx7-device, which \
simulates the field device.")
endif()

if(DX7_DEBIAN_FILES)
  if(NOT DX7_GZIP)
    message(FATAL_ERROR "DX7_DEBIAN_FILES needs gzip, which was not found.")
  endif()
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(documents "${CMAKE_INSTALL_DATADIR}/doc/${package}")
    install(FILES "${packaging}/copyright" DESTINATION "${documents}" COMPONENT ${component})
    dx7_install_compressed("${packaging}/changelog" "${documents}" changelog ${component})
    if(EXISTS "${packaging}/${package}.lintian-overrides")
      install(FILES "${packaging}/${package}.lintian-overrides" RENAME ${package}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component})
    endif()
  endforeach()
endif()

include(CPack)
