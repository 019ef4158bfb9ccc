# Runs the self-test PROGRAM with LIBRARY, under EMULATOR if that is given: it must end with RESULT and print TEXT.

execute_process(COMMAND ${EMULATOR} "${PROGRAM}" "${LIBRARY}"
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
message("${output}")
if(NOT result STREQUAL RESULT)
  message(FATAL_ERROR "The self-test ends with ${result} instead of ${RESULT}.")
endif()
string(FIND "${output}" "${TEXT}" at)
if(at LESS 0)
  message(FATAL_ERROR "The self-test does not print '${TEXT}'.")
endif()
