# What is installed for integrators, and the Debian packages (cpack -G DEB; scripts/package does it all).
#
# Components: driver (the shared library alone), dev (headers, CMake package, pkg-config file, source of the
# self-test), tools (programs, manual pages, completion).
include(CMakePackageConfigHelpers)

set(package_sources "${PROJECT_SOURCE_DIR}/cmake/package")
set(headers_folder "${CMAKE_INSTALL_INCLUDEDIR}/korvalent_dx7")
set(cmake_folder "${CMAKE_INSTALL_LIBDIR}/cmake/korvalent_dx7")

install(FILES
  "${PROJECT_SOURCE_DIR}/driver/include/korvalent_dx7.h"
  "${PROJECT_SOURCE_DIR}/driver/include/records.h"
  "${PROJECT_SOURCE_DIR}/driver/include/register_types.h"
  DESTINATION "${headers_folder}" COMPONENT dev)

install(FILES "${PROJECT_SOURCE_DIR}/driver/self_test/korvalent_dx7_self_test.cpp"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/korvalent_dx7" COMPONENT dev)

install(EXPORT korvalent_dx7Targets NAMESPACE korvalent_dx7:: DESTINATION "${cmake_folder}" COMPONENT dev)
configure_package_config_file("${package_sources}/korvalent_dx7Config.cmake.in" korvalent_dx7Config.cmake
  INSTALL_DESTINATION "${cmake_folder}" NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(korvalent_dx7ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/korvalent_dx7Config.cmake"
  "${PROJECT_BINARY_DIR}/korvalent_dx7ConfigVersion.cmake"
  DESTINATION "${cmake_folder}" COMPONENT dev)

if(DX7_QT_MAJOR EQUAL 4)
  set(qtcore_pkgconfig "QtCore >= 4.8")
else()
  set(qtcore_pkgconfig "Qt5Core >= ${DX7_QT5_OLDEST}")
endif()
file(RELATIVE_PATH prefix_from_pkgconfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${package_sources}/korvalent_dx7.pc.in" korvalent_dx7.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/korvalent_dx7.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

find_program(DX7_GZIP gzip)

# Installs `source` compressed, without time or name in it, as `folder`/`name`.gz.
function(dx7_install_compressed source folder name component)
  set(compressed "${PROJECT_BINARY_DIR}/compressed/${component}/${name}.gz")
  get_filename_component(compressed_folder "${compressed}" DIRECTORY)
  file(MAKE_DIRECTORY "${compressed_folder}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
  execute_process(COMMAND "${DX7_GZIP}" -9nc "${source}" OUTPUT_FILE "${compressed}" RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "gzip could not compress ${source}: ${failed}")
  endif()
  install(FILES "${compressed}" DESTINATION "${folder}" COMPONENT ${component})
endfunction()

if(TARGET dx7)
  file(GLOB manual_pages CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/docs/man/*.1")
  foreach(page IN LISTS manual_pages)
    get_filename_component(name "${page}" NAME)
    if(DX7_GZIP)
      dx7_install_compressed("${page}" "${CMAKE_INSTALL_MANDIR}/man1" "${name}" tools)
    else()
      install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
    endif()
  endforeach()
  # bash and fish look for a file with the program's name, zsh reads which programs a file is for.
  foreach(program dx7 dx7-device)
    install(FILES "${PROJECT_SOURCE_DIR}/docs/completion/dx7.bash" RENAME ${program}
      DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
    install(FILES "${PROJECT_SOURCE_DIR}/docs/completion/dx7.fish" RENAME ${program}.fish
      DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT tools)
  endforeach()
  install(FILES "${PROJECT_SOURCE_DIR}/docs/completion/_dx7"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/docs/line.toml" "${PROJECT_SOURCE_DIR}/docs/plant.toml"
    "${PROJECT_SOURCE_DIR}/docs/drive.toml"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/dx7-tools/examples" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/docs/dx7.schema.json"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/dx7-tools" COMPONENT tools)
endif()
