# SPDX-License-Identifier: Apache-2.0
# Runs a fuzz target once on every file below a directory, as ctest's
# regression check: cmake -DFUZZER=<executable> -DINPUTS=<directory> -P replay.cmake
# libFuzzer runs the files it is given one by one and exits; a crash, a leak
# or a sanitizer report makes it exit non-zero. Hidden files are skipped.
if(NOT FUZZER OR NOT INPUTS)
    message(FATAL_ERROR "usage: cmake -DFUZZER=<executable> -DINPUTS=<directory> -P replay.cmake")
endif()

file(GLOB_RECURSE files LIST_DIRECTORIES false "${INPUTS}/*")
list(FILTER files EXCLUDE REGEX "/\\.[^/]*$")
list(SORT files)
list(LENGTH files count)
if(count EQUAL 0)
    message(STATUS "no inputs in ${INPUTS}")
    return()
endif()

execute_process(COMMAND "${FUZZER}" -detect_leaks=1 ${files} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${FUZZER} failed (${result}) on an input in ${INPUTS}")
endif()
message(STATUS "${count} inputs of ${INPUTS} passed")
