# SPDX-License-Identifier: Apache-2.0
# Runs PROGRAM twice on a fresh copy of INPUT: each run must print EXPECTED,
# and the second run must leave the file exactly as the first saved it.
#   cmake -DPROGRAM=... -DINPUT=... -DCOPY=... -DEXPECTED=... -P this-file
file(READ ${EXPECTED} expected)
configure_file(${INPUT} ${COPY} COPYONLY)
foreach(run first second)
    execute_process(COMMAND ${PROGRAM} ${COPY} OUTPUT_VARIABLE actual RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${PROGRAM}, ${run} run, exited with ${status}")
    endif()
    if(NOT actual STREQUAL expected)
        message(FATAL_ERROR "${run} run: output differs from ${EXPECTED}:\n${actual}")
    endif()
    file(READ ${COPY} saved_${run})
endforeach()
if(NOT saved_first STREQUAL saved_second)
    message(FATAL_ERROR "the second run changed ${COPY}:\n${saved_first}\n---\n${saved_second}")
endif()
