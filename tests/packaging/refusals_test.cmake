# What cannot be built is refused when it is configured, with the message docs/porting.md explains. Run with cmake -P;
# needs SOURCE_DIR (the project), WORK_DIR, GENERATOR and CXX.

file(REMOVE_RECURSE "${WORK_DIR}")
# What a header says of its version, as QtCore 4 and QtCore 5 say it.
function(fake_header file version number)
  file(WRITE "${file}" "#define QT_VERSION_STR   \"${version}\"\n#define QT_VERSION ${number}\n")
endfunction()
fake_header("${WORK_DIR}/4.7.4/QtCore/qglobal.h" 4.7.4 0x040704)
fake_header("${WORK_DIR}/4.8.7/QtCore/qglobal.h" 4.8.7 0x040807)
fake_header("${WORK_DIR}/5.15.8/QtCore/qglobal.h" 5.15.8 "((5 << 16) | (15 << 8) | 8)")
# A QtCore that is not installed: its headers are where it was built and only named in the folder to include.
foreach(version 4.8.7 5.15.8)
  set(tree "${WORK_DIR}/tree-${version}")
  file(READ "${WORK_DIR}/${version}/QtCore/qglobal.h" header)
  file(WRITE "${tree}/src/corelib/global/qglobal.h" "${header}")
  file(WRITE "${tree}/include/QtCore/qglobal.h" "#include \"../../src/corelib/global/qglobal.h\"\n")
endforeach()
file(WRITE "${WORK_DIR}/torn/QtCore/qglobal.h" "#include \"../../src/corelib/global/qglobal.h\"\n")
file(WRITE "${WORK_DIR}/empty/QtCore/qglobal.h" "")
# The number counts, whatever the text says.
fake_header("${WORK_DIR}/lies/QtCore/qglobal.h" 4.8.7 0x050f08)
file(WRITE "${WORK_DIR}/libQtCore.so" "")
file(READ "${SOURCE_DIR}/docs/porting.md" guide)

include("${CMAKE_CURRENT_LIST_DIR}/fail.cmake")

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
    fail("this was accepted: ${options}")
  elseif(at LESS 0)
    fail("${options}: there is no '${message}' in: ${output}")
  endif()
endfunction()

# The guide's table has a row that begins so.
function(explained message)
  string(FIND "${guide}" "| ${message}" at)
  if(at LESS 0)
    fail("docs/porting.md does not explain '${message}'")
  endif()
endfunction()

set(four -DDX7_QT_MAJOR=4)
set(headers "-DQT4_INCLUDE_DIR=${WORK_DIR}/4.8.7")
set(library "-DQT4_CORE_LIBRARY=${WORK_DIR}/libQtCore.so")

refuses("DX7_QT_MAJOR is 4, and no QtCore 4.8 was found" ${four})
refuses("or its qmake with -DQT_QMAKE_EXECUTABLE=FILE" ${four})
refuses("QT4_INCLUDE_DIR ('${WORK_DIR}/4.8.7') and QT4_CORE_LIBRARY ('') belong together; give both" ${four} ${headers})
refuses("QT4_INCLUDE_DIR ('') and QT4_CORE_LIBRARY ('${WORK_DIR}/libQtCore.so') belong together; give both"
  ${four} ${library})
refuses("QT4_INCLUDE_DIR: there is no ${WORK_DIR}/none/QtCore/qglobal.h" ${four} ${library}
  "-DQT4_INCLUDE_DIR=${WORK_DIR}/none")
refuses("QT4_CORE_LIBRARY: there is no library file ${WORK_DIR}/none.so" ${four} ${headers}
  "-DQT4_CORE_LIBRARY=${WORK_DIR}/none.so")
refuses("QT4_CORE_LIBRARY: there is no library file ${WORK_DIR}" ${four} ${headers} "-DQT4_CORE_LIBRARY=${WORK_DIR}")
foreach(version 4.7.4 5.15.8)
  refuses("QT4_INCLUDE_DIR: ${WORK_DIR}/${version}/QtCore/qglobal.h is not of QtCore 4.8 (it is of QtCore ${version})"
    ${four} ${library} "-DQT4_INCLUDE_DIR=${WORK_DIR}/${version}")
endforeach()
refuses("QT4_INCLUDE_DIR: ${WORK_DIR}/tree-5.15.8/include/QtCore/qglobal.h is not of QtCore 4.8 (it is of QtCore 5.15.8)"
  ${four} ${library} "-DQT4_INCLUDE_DIR=${WORK_DIR}/tree-5.15.8/include")
refuses("QT4_INCLUDE_DIR: ${WORK_DIR}/torn/QtCore/qglobal.h is not of QtCore 4.8, or cannot be compiled: ../../src/corelib/global/qglobal.h"
  ${four} ${library} "-DQT4_INCLUDE_DIR=${WORK_DIR}/torn")
refuses("${WORK_DIR}/empty/QtCore/qglobal.h is not of QtCore 4.8, or cannot be compiled: #error \"it defines no QT_VERSION\""
  ${four} ${library} "-DQT4_INCLUDE_DIR=${WORK_DIR}/empty")
refuses("cannot be compiled: #error \"its QT_VERSION is not that of QtCore 4.8\"" ${four} ${library}
  "-DQT4_INCLUDE_DIR=${WORK_DIR}/lies")
foreach(part HOST DEVICE BENCH FUZZ)
  refuses("With DX7_QT_MAJOR=4 the driver is built alone, or with its tests" ${four} ${headers} ${library}
    -DDX7_BUILD_${part}=ON)
endforeach()
refuses("DX7_QT_MAJOR is '6'; it must be 4 or 5" -DDX7_QT_MAJOR=6 -DDX7_BUILD_HOST=OFF -DDX7_BUILD_DEVICE=OFF
  -DDX7_BUILD_TESTS=OFF)

# takes(FOLDER PARTS OPTION...): configuring succeeds with the headers in FOLDER, which the driver is compiled with;
# of the other parts of the project only those in PARTS, a regular expression, are built.
function(takes folder parts)
  configure(${four} ${library} "-DQT4_INCLUDE_DIR=${folder}" ${ARGN})
  if(NOT result EQUAL 0)
    fail("QtCore 4.8 in ${folder} is refused: ${output}")
    return()
  endif()
  file(READ "${WORK_DIR}/build/compile_commands.json" commands)
  string(FIND "${commands}" "-isystem ${folder} " at)
  if(at LESS 0 OR NOT commands MATCHES "/driver/")
    fail("the driver is compiled without ${folder}")
  endif()
  string(REGEX MATCHALL "\"file\": \"[^\"]*\"" files "${commands}")
  foreach(file IN LISTS files)
    string(REPLACE "${SOURCE_DIR}/" "" file "${file}")
    if(NOT file MATCHES "^\"file\": \"(driver|${parts})/")
      fail("more than the driver and '${parts}' is built with QtCore 4.8: ${file}")
    endif()
  endforeach()
endfunction()

# What is right is taken, the driver alone is built, and with what was given.
takes("${WORK_DIR}/4.8.7" "driver")
takes("${WORK_DIR}/tree-4.8.7/include" "driver")
# The tests come with it when they are asked for, host and device do not.
takes("${WORK_DIR}/4.8.7" "tests|.*/tests/self_test" -DDX7_BUILD_TESTS=ON)
file(READ "${WORK_DIR}/build/compile_commands.json" commands)
foreach(folder driver surface model)
  if(NOT commands MATCHES "/tests/${folder}/[a-z0-9_]+\\.cpp")
    fail("tests/${folder} is not built with QtCore 4.8")
  endif()
endforeach()

# A compiler that knows no option but those of GCC 4.8 is asked for no other: whatever is newer is tried first.
file(REMOVE_RECURSE "${WORK_DIR}/build")
file(WRITE "${WORK_DIR}/g++-4.8" "#!/bin/sh
for option; do
  case $option in
    -fPIC | -fPIE | -fvisibility=hidden | -fvisibility-inlines-hidden | -fdebug-prefix-map=*) ;;
    -W | -Wall | -Wextra | -Wpedantic | -Wconversion | -Wshadow | -Werror | -Wl,* | -Wno-*) ;;
    -f* | -m* | -W* | --param*) echo \"error: unrecognized command line option '$option'\" >&2; exit 1 ;;
  esac
done
exec '${CXX}' \"$@\"
")
execute_process(COMMAND chmod +x "${WORK_DIR}/g++-4.8")
set(modern "${CXX}")
set(CXX "${WORK_DIR}/g++-4.8")
takes("${WORK_DIR}/4.8.7" "driver")
if(EXISTS "${WORK_DIR}/build/compile_commands.json")
  file(READ "${WORK_DIR}/build/compile_commands.json" commands)
  string(REGEX MATCHALL " -[fm][^ ]*" options "${commands}")
  list(REMOVE_DUPLICATES options)
  foreach(option IN LISTS options)
    if(NOT option MATCHES "^ -f(PIC|PIE|visibility=hidden|visibility-inlines-hidden|debug-prefix-map=.*)$")
      fail("GCC 4.8 is given${option}, which it does not know")
    endif()
  endforeach()
endif()
set(CXX "${modern}")
file(REMOVE_RECURSE "${WORK_DIR}/build")

# In a cross build, qmake would give this machine's QtCore: it is neither offered nor used.
file(REMOVE_RECURSE "${WORK_DIR}/build")
set(cross -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=armv7l)
refuses("-DQT4_CORE_LIBRARY=FILE (libQtCore.so), or build against QtCore 5" ${four} ${cross})
refuses("QT_QMAKE_EXECUTABLE does not help here" ${four} ${cross} -DQT_QMAKE_EXECUTABLE=/bin/true)
takes("${WORK_DIR}/4.8.7" "driver" ${cross})

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
explained("QT4_INCLUDE_DIR: … cannot be compiled")
explained("With DX7_QT_MAJOR=4 the driver is built alone, or with its tests")
explained("DX7_BUILD_TESTS needs a compiler with C++17")
explained("… needs C++11: compile with -std=c++11 or later")
file(REMOVE_RECURSE "${WORK_DIR}")
