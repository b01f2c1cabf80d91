# SPDX-License-Identifier: Apache-2.0
# The C++ block of README.md must be the tagged part of examples/readme.cpp,
# line for line: cmake -DREADME=... -DEXAMPLE=... -P this-file
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(REGEX MATCH "```cpp\n([^`]*)```" block "${readme}")
set(block "${CMAKE_MATCH_1}")
string(REGEX MATCH "// tag::readme\\[\\]\n(.*)// end::readme\\[\\]" tagged "${example}")
set(tagged "${CMAKE_MATCH_1}")
if(tagged STREQUAL "" OR NOT block STREQUAL tagged)
    message(FATAL_ERROR "the C++ example of ${README} is not the tagged part of ${EXAMPLE}:\n${block}")
endif()
