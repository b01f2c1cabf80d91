# SPDX-License-Identifier: Apache-2.0
# Compiles one source file and checks that the compiler warns with the given
# text: `cmake -DCOMPILER=... -DSOURCE=... -DINCLUDES=a;b -DEXPECT=text -P expect-warning.cmake`.
foreach(var COMPILER SOURCE INCLUDES EXPECT)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} not given")
    endif()
endforeach()
set(flags -std=c++17 -fsyntax-only)
foreach(dir IN LISTS INCLUDES)
    list(APPEND flags -I${dir})
endforeach()
# The C locale keeps the quotes of the message plain.
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${COMPILER} ${flags} ${SOURCE}
    RESULT_VARIABLE status
    OUTPUT_VARIABLE out
    ERROR_VARIABLE err)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "compiling ${SOURCE} failed:\n${out}${err}")
endif()
string(FIND "${err}" "${EXPECT}" at)
if(at EQUAL -1)
    message(FATAL_ERROR "no warning '${EXPECT}' from compiling ${SOURCE}; the compiler said:\n${out}${err}")
endif()
message(STATUS "warned as expected: ${EXPECT}")
