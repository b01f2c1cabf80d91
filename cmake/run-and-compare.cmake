# SPDX-License-Identifier: Apache-2.0
# Runs PROGRAM (with ARGS) and compares its standard output with EXPECTED,
# byte for byte: cmake -DPROGRAM=... -DEXPECTED=... [-DARGS=...] -P this-file
execute_process(COMMAND ${PROGRAM} ${ARGS} OUTPUT_VARIABLE actual RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} exited with ${status}")
endif()
file(READ ${EXPECTED} expected)
if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "output differs from ${EXPECTED}:\n${actual}")
endif()
