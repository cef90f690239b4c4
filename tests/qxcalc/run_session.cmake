# Runs qxcalc on a scripted session and compares its output with the
# expected transcript, byte for byte.
execute_process(COMMAND ${QXCALC} INPUT_FILE ${SESSION} OUTPUT_VARIABLE output WORKING_DIRECTORY ${WORKDIR})
file(READ ${EXPECTED} expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "qxcalc output differs.\n--- got:\n${output}\n--- expected:\n${expected}")
endif()
