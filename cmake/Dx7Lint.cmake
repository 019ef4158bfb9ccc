# `lint`: formatting and static analysis of the project's own sources, as CI runs them.
add_custom_target(lint
  COMMAND "${PROJECT_SOURCE_DIR}/scripts/lint"
  WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
  USES_TERMINAL
  COMMENT "Checking format and running the static analysers")
