# Installs driver and development files into a folder, moves that folder, and builds and runs a project that finds the
# package there. Run with cmake -P; needs BUILD_DIR, SOURCE_DIR (the consumer), WORK_DIR, GENERATOR, CXX and, when
# cross-compiling, TOOLCHAIN, SYSROOT and EMULATOR.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(component driver dev)
  run("installing ${component}" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --component ${component}
    --prefix "${WORK_DIR}/installed")
endforeach()
file(RENAME "${WORK_DIR}/installed" "${WORK_DIR}/moved")

set(options "-DCMAKE_CXX_COMPILER=${CXX}" "-Dkorvalent_dx7_ROOT=${WORK_DIR}/moved" -DCMAKE_BUILD_TYPE=Release)
if(TOOLCHAIN)
  list(APPEND options "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DDX7_SYSROOT=${SYSROOT}"
    "-DCMAKE_FIND_ROOT_PATH=${WORK_DIR}/moved")
endif()
run("configuring the consumer" "${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/consumer" -G "${GENERATOR}"
  ${options})
run("building the consumer" "${CMAKE_COMMAND}" --build "${WORK_DIR}/consumer")

if(EMULATOR)
  file(GLOB library_folder "${WORK_DIR}/moved/lib" "${WORK_DIR}/moved/lib/*-linux-*")
  list(JOIN library_folder ":" library_path)
  list(APPEND EMULATOR -E "LD_LIBRARY_PATH=${library_path}")
endif()
run("running the consumer" ${EMULATOR} "${WORK_DIR}/consumer/consumer")
string(STRIP "${output}" output)
if(NOT output STREQUAL "korvalent_dx7")
  message(FATAL_ERROR "the consumer prints '${output}' instead of 'korvalent_dx7'")
endif()

# Each header says so when it is compiled as something older than it needs.
foreach(header korvalent_dx7.h records.h register_types.h)
  execute_process(COMMAND "${CXX}" -std=c++98 -fsyntax-only -x c++ "${WORK_DIR}/moved/include/korvalent_dx7/${header}"
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  string(FIND "${output}" "${header} needs C++11: compile with -std=c++11 or later" at)
  if(result EQUAL 0 OR at LESS 0)
    message(FATAL_ERROR "${header} does not say that it needs C++11: ${output}")
  endif()
endforeach()

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG AND NOT EMULATOR)
  file(GLOB_RECURSE pc_file "${WORK_DIR}/moved/*/korvalent_dx7.pc")
  get_filename_component(pc_folder "${pc_file}" DIRECTORY)
  run("pkg-config" "${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${pc_folder}" "${PKG_CONFIG}" --cflags --libs
    korvalent_dx7)
  separate_arguments(flags UNIX_COMMAND "${output}")
  run("compiling with the flags of pkg-config" "${CXX}" -fPIC "${SOURCE_DIR}/main.cpp" -o "${WORK_DIR}/by_pkg_config"
    ${flags})

  # The self-test, by the very command of docs/porting.md.
  file(READ "${SOURCE_DIR}/../../../docs/porting.md" guide)
  if(NOT guide MATCHES "\n(\\$CXX -std=c\\+\\+11 [^\n]*)\n\\./korvalent_dx7_self_test ([^\n]*)\n")
    message(FATAL_ERROR "docs/porting.md does not show how the self-test is compiled and run")
  endif()
  set(library "${CMAKE_MATCH_2}")
  string(REPLACE "/usr/" "${WORK_DIR}/moved/" command "${CMAKE_MATCH_1}")
  string(REPLACE " -o " " -o ${WORK_DIR}/" command "${command}")
  run("compiling the self-test" "${CMAKE_COMMAND}" -E env "CXX=${CXX}" sh -c "${command}")
  get_filename_component(library "${library}" NAME)
  file(GLOB_RECURSE library "${WORK_DIR}/moved/lib*/${library}")
  run("the self-test" "${WORK_DIR}/korvalent_dx7_self_test" "${library}")
  if(NOT output MATCHES "\nAll is well: ([0-9]+) of ([0-9]+) checks passed\n$" OR NOT CMAKE_MATCH_1 STREQUAL CMAKE_MATCH_2)
    message(FATAL_ERROR "the self-test does not say that all is well: ${output}")
  endif()
endif()
file(REMOVE_RECURSE "${WORK_DIR}")
