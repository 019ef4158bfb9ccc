# dx7_qtcore: the QtCore the driver is built against, of the generation DX7_QT_MAJOR.
#
# Of QtCore 5 CMake's own package is used. A QtCore 4.8 is given by QT4_INCLUDE_DIR (the folder that holds the
# folder QtCore) and QT4_CORE_LIBRARY (libQtCore.so or .a), or, when it is for this machine, found by CMake's
# FindQt4 through its qmake.

function(dx7_find_qtcore4)
  set(QT4_INCLUDE_DIR "" CACHE PATH "Folder of QtCore 4.8's headers, the one that holds the folder QtCore")
  set(QT4_CORE_LIBRARY "" CACHE FILEPATH "QtCore 4.8's library, libQtCore.so or libQtCore.a")
  if(QT4_INCLUDE_DIR OR QT4_CORE_LIBRARY)
    dx7_check_given_qtcore4()
    target_include_directories(dx7_qtcore SYSTEM INTERFACE "${QT4_INCLUDE_DIR}")
    target_link_libraries(dx7_qtcore INTERFACE "${QT4_CORE_LIBRARY}")
    # As the package of QtCore 5 does: programs and libraries then use the same empty lists and texts of QtCore.
    target_compile_options(dx7_qtcore INTERFACE -fPIC)
    # As FindQt4 does: QtCore's own assertions are for debug builds.
    target_compile_definitions(dx7_qtcore INTERFACE QT_CORE_LIB $<$<NOT:$<CONFIG:Debug>>:QT_NO_DEBUG>)
    return()
  endif()
  set(ways "with -DQT4_INCLUDE_DIR=FOLDER (it holds QtCore/qglobal.h) and -DQT4_CORE_LIBRARY=FILE (libQtCore.so)")
  if(CMAKE_CROSSCOMPILING)
    # A qmake that runs here describes the QtCore of this machine.
    if(QT_QMAKE_EXECUTABLE)
      string(APPEND ways " (QT_QMAKE_EXECUTABLE does not help here: it describes the QtCore of the machine it runs on)")
    endif()
  else()
    find_package(Qt4 4.8 QUIET COMPONENTS QtCore)
    string(APPEND ways ", or its qmake with -DQT_QMAKE_EXECUTABLE=FILE")
  endif()
  if(NOT TARGET Qt4::QtCore)
    message(FATAL_ERROR "DX7_QT_MAJOR is 4, and no QtCore 4.8 was found. Give yours ${ways}, or build against "
                        "QtCore 5 with -DDX7_QT_MAJOR=5.")
  endif()
  target_link_libraries(dx7_qtcore INTERFACE Qt4::QtCore)
endfunction()

# Of the two settings, both are needed and both must be what they say.
function(dx7_check_given_qtcore4)
  if(NOT QT4_INCLUDE_DIR OR NOT QT4_CORE_LIBRARY)
    message(FATAL_ERROR "QT4_INCLUDE_DIR ('${QT4_INCLUDE_DIR}') and QT4_CORE_LIBRARY ('${QT4_CORE_LIBRARY}') "
                        "belong together; give both.")
  endif()
  set(header "${QT4_INCLUDE_DIR}/QtCore/qglobal.h")
  if(NOT EXISTS "${header}")
    message(FATAL_ERROR "QT4_INCLUDE_DIR: there is no ${header}. Name the folder that holds the folder QtCore.")
  endif()
  if(NOT EXISTS "${QT4_CORE_LIBRARY}" OR IS_DIRECTORY "${QT4_CORE_LIBRARY}")
    message(FATAL_ERROR "QT4_CORE_LIBRARY: there is no library file ${QT4_CORE_LIBRARY}.")
  endif()
  dx7_compile_qt_version()
  if(version AND NOT version MATCHES "^4\\.([89]|[1-9][0-9])")
    message(FATAL_ERROR "QT4_INCLUDE_DIR: ${header} is not of QtCore 4.8 (it is of QtCore ${version}).")
  endif()
  if(problem)
    message(FATAL_ERROR "QT4_INCLUDE_DIR: ${header} is not of QtCore 4.8, or cannot be compiled: ${problem}")
  endif()
endfunction()

# Asks the compiler, because the header of a QtCore that is not installed only includes another one. Sets `version` to
# the text of the version, if there is one, and `problem` to the first error unless it compiles as QtCore 4.8.
function(dx7_compile_qt_version)
  set(folder "${PROJECT_BINARY_DIR}/CMakeFiles/dx7_qt_version")
  file(WRITE "${folder}/qt_version.cpp" [=[
#include <QtCore/qglobal.h>
#ifdef QT_VERSION_STR
#pragma message("dx7 finds [" QT_VERSION_STR "]")
#elif !defined(QT_VERSION)
#error "it defines no QT_VERSION"
#endif
#if defined(QT_VERSION) && (QT_VERSION < 0x040800 || QT_VERSION >= 0x050000)
#error "its QT_VERSION is not that of QtCore 4.8"
#endif
int dx7_qt_version;
]=])
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # nothing is linked, which may need more than is known here
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  try_compile(compiled "${folder}" SOURCES "${folder}/qt_version.cpp"
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${QT4_INCLUDE_DIR}" -DCMAKE_POSITION_INDEPENDENT_CODE=ON
    OUTPUT_VARIABLE output)
  set(is_qtcore4 ${compiled})
  unset(compiled CACHE)
  set(version "")
  if(output MATCHES "dx7 finds \\[([^]]*)\\]")
    set(version "${CMAKE_MATCH_1}")
  endif()
  set(problem "")
  if(NOT is_qtcore4)
    set(problem "the compiler does not say why")
    if(output MATCHES "error: ([^\n]+)")
      set(problem "${CMAKE_MATCH_1}")
    endif()
  endif()
  set(version "${version}" PARENT_SCOPE)
  set(problem "${problem}" PARENT_SCOPE)
endfunction()

add_library(dx7_qtcore INTERFACE)
if(DX7_QT_MAJOR STREQUAL "4")
  dx7_find_qtcore4()
else()
  target_link_libraries(dx7_qtcore INTERFACE Qt5::Core)
endif()
