# What cannot be built is refused when it is configured, with the message docs/porting.md explains. Run with cmake -P;
# needs SOURCE_DIR (the project), WORK_DIR, GENERATOR and CXX.

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(version 4.7.4 4.8.7 5.15.8)
  file(WRITE "${WORK_DIR}/${version}/QtCore/qglobal.h" "#define QT_VERSION_STR   \"${version}\"\n")
endforeach()
file(WRITE "${WORK_DIR}/libQtCore.so" "")
file(READ "${SOURCE_DIR}/docs/porting.md" guide)

function(complain)
  message(SEND_ERROR ${ARGN})
endfunction()

# One build folder, so that the compiler is looked at once; what an earlier case set is forgotten.
function(configure)
  execute_process(
    COMMAND "${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
      "-DCMAKE_CXX_COMPILER=${CXX}" -UDX7_* -UQT4_* -DCMAKE_DISABLE_FIND_PACKAGE_Qt4=ON ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  string(REGEX REPLACE "[ \n]+" " " output "${output}")  # messages are wrapped
  set(result "${result}" PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

# refuses(MESSAGE OPTION...): configuring fails and says so.
function(refuses message)
  list(JOIN ARGN " " options)
  configure(${ARGN})
  string(FIND "${output}" "${message}" at)
  if(result EQUAL 0)
    complain("this was accepted: ${options}")
  elseif(at LESS 0)
    complain("${options}: there is no '${message}' in: ${output}")
  endif()
endfunction()

# The guide's table has a row that begins so.
function(explained message)
  string(FIND "${guide}" "| ${message}" at)
  if(at LESS 0)
    complain("docs/porting.md does not explain '${message}'")
  endif()
endfunction()

set(four -DDX7_QT_MAJOR=4)
set(headers "-DQT4_INCLUDE_DIR=${WORK_DIR}/4.8.7")
set(library "-DQT4_CORE_LIBRARY=${WORK_DIR}/libQtCore.so")

refuses("DX7_QT_MAJOR is 4, and no QtCore 4.8 was found" ${four})
refuses("QT4_INCLUDE_DIR ('${WORK_DIR}/4.8.7') and QT4_CORE_LIBRARY ('') belong together; give both" ${four} ${headers})
refuses("QT4_INCLUDE_DIR ('') and QT4_CORE_LIBRARY ('${WORK_DIR}/libQtCore.so') belong together; give both"
  ${four} ${library})
refuses("QT4_INCLUDE_DIR: there is no ${WORK_DIR}/none/QtCore/qglobal.h" ${four} ${library}
  "-DQT4_INCLUDE_DIR=${WORK_DIR}/none")
refuses("QT4_CORE_LIBRARY: there is no library file ${WORK_DIR}/none.so" ${four} ${headers}
  "-DQT4_CORE_LIBRARY=${WORK_DIR}/none.so")
refuses("QT4_CORE_LIBRARY: there is no library file ${WORK_DIR}" ${four} ${headers} "-DQT4_CORE_LIBRARY=${WORK_DIR}")
foreach(version 4.7.4 5.15.8)
  refuses("QT4_INCLUDE_DIR: ${WORK_DIR}/${version}/QtCore/qglobal.h is not of QtCore 4.8 (it says '#define QT_VERSION_STR \"${version}\"')"
    ${four} ${library} "-DQT4_INCLUDE_DIR=${WORK_DIR}/${version}")
endforeach()
refuses("With DX7_QT_MAJOR=4 the driver is built alone" ${four} ${headers} ${library} -DDX7_BUILD_HOST=ON)
refuses("DX7_QT_MAJOR is '6'; it must be 4 or 5" -DDX7_QT_MAJOR=6 -DDX7_BUILD_HOST=OFF -DDX7_BUILD_DEVICE=OFF
  -DDX7_BUILD_TESTS=OFF)

# What is right is taken, the driver alone is built, and with what was given.
configure(${four} ${headers} ${library})
if(NOT result EQUAL 0)
  complain("QtCore 4.8 is refused: ${output}")
else()
  file(READ "${WORK_DIR}/build/compile_commands.json" commands)
  if(NOT commands MATCHES "-isystem ${WORK_DIR}/4\\.8\\.7 " OR NOT commands MATCHES "/driver/")
    complain("the driver is compiled without ${WORK_DIR}/4.8.7")
  endif()
  if(commands MATCHES "/(host|device|tests)/[a-z0-9_/]+\\.cpp")
    complain("more than the driver is built with QtCore 4.8")
  endif()
endif()

# A toolchain file decides before anything else is cached.
file(REMOVE_RECURSE "${WORK_DIR}/build")
refuses("There is no root folder of the target at ${WORK_DIR}/none"
  "-DCMAKE_TOOLCHAIN_FILE=${SOURCE_DIR}/cmake/toolchains/armhf.cmake" "-DDX7_SYSROOT=${WORK_DIR}/none")

explained("There is no root folder of the target at …")
explained("DX7_QT_MAJOR is 4, and no QtCore 4.8 was found")
explained("QT4_INCLUDE_DIR … and QT4_CORE_LIBRARY … belong together")
explained("QT4_INCLUDE_DIR: there is no …")
explained("QT4_CORE_LIBRARY: there is no library file …")
explained("QT4_INCLUDE_DIR: … is not of QtCore 4.8")
explained("With DX7_QT_MAJOR=4 the driver is built alone")
file(REMOVE_RECURSE "${WORK_DIR}")
