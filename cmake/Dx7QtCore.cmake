# dx7_qtcore: the QtCore the driver is built against, of the generation DX7_QT_MAJOR.
#
# Of QtCore 5 CMake's own package is used. A QtCore 4.8 is given by QT4_INCLUDE_DIR (the folder that holds the
# folder QtCore) and QT4_CORE_LIBRARY (libQtCore.so or .a), or found by CMake's FindQt4 through its qmake.

function(dx7_find_qtcore4)
  set(QT4_INCLUDE_DIR "" CACHE PATH "Folder of QtCore 4.8's headers, the one that holds the folder QtCore")
  set(QT4_CORE_LIBRARY "" CACHE FILEPATH "QtCore 4.8's library, libQtCore.so or libQtCore.a")
  if(QT4_INCLUDE_DIR OR QT4_CORE_LIBRARY)
    dx7_check_given_qtcore4()
    target_include_directories(dx7_qtcore SYSTEM INTERFACE "${QT4_INCLUDE_DIR}")
    target_link_libraries(dx7_qtcore INTERFACE "${QT4_CORE_LIBRARY}")
    # As FindQt4 does: QtCore's own assertions are for debug builds.
    target_compile_definitions(dx7_qtcore INTERFACE QT_CORE_LIB $<$<NOT:$<CONFIG:Debug>>:QT_NO_DEBUG>)
    return()
  endif()
  find_package(Qt4 4.8 QUIET COMPONENTS QtCore)
  if(NOT Qt4_FOUND OR NOT TARGET Qt4::QtCore)
    message(FATAL_ERROR
      "DX7_QT_MAJOR is 4, and no QtCore 4.8 was found. Give yours with -DQT4_INCLUDE_DIR=FOLDER (it holds "
      "QtCore/qglobal.h) and -DQT4_CORE_LIBRARY=FILE (libQtCore.so), or its qmake with "
      "-DQT_QMAKE_EXECUTABLE=FILE, or build against QtCore 5 with -DDX7_QT_MAJOR=5.")
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
  file(STRINGS "${header}" version_line REGEX "define +QT_VERSION_STR +\"" LIMIT_COUNT 1)
  if(NOT version_line MATCHES "\"4\\.([0-9]+)" OR CMAKE_MATCH_1 LESS 8)
    message(FATAL_ERROR "QT4_INCLUDE_DIR: ${header} is not of QtCore 4.8 (it says '${version_line}').")
  endif()
endfunction()

add_library(dx7_qtcore INTERFACE)
if(DX7_QT_MAJOR STREQUAL "4")
  dx7_find_qtcore4()
elseif(DX7_QT_MAJOR STREQUAL "5")
  find_package(Qt5 5.9 REQUIRED COMPONENTS Core)
  target_link_libraries(dx7_qtcore INTERFACE Qt5::Core)
else()
  message(FATAL_ERROR "DX7_QT_MAJOR is '${DX7_QT_MAJOR}'; it must be 4 or 5.")
endif()
