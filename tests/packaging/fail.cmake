# For scripts run with cmake -P: the test fails, and what comes after runs all the same.
function(fail)
  message(SEND_ERROR ${ARGN})
endfunction()
