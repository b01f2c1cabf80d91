# SPDX-License-Identifier: Apache-2.0
# Runs PROGRAM (with ARGS), which must exit with 0 and write FILE, and
# compares FILE with EXPECTED_FILE byte for byte:
#   cmake -DPROGRAM=... -DFILE=... -DEXPECTED_FILE=... [-DARGS=...] -P this-file
file(REMOVE ${FILE})
execute_process(COMMAND ${PROGRAM} ${ARGS} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} exited with ${status}")
endif()
if(NOT EXISTS ${FILE})
    message(FATAL_ERROR "${PROGRAM} did not write ${FILE}")
endif()
file(READ ${FILE} actual)
file(READ ${EXPECTED_FILE} expected)
if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "${FILE} differs from ${EXPECTED_FILE}:\n${actual}")
endif()
