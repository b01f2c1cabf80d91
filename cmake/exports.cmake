# SPDX-License-Identifier: Apache-2.0
# Writes the linker's version script from cmake/exports.txt, so that what
# the library exports and what scripts/check-exports.sh checks come from one
# list. Sets XMLUTIL_VERSION_SCRIPT to the written file.
set(xmlutil_exports_list ${CMAKE_CURRENT_LIST_DIR}/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${xmlutil_exports_list})
file(STRINGS ${xmlutil_exports_list} xmlutil_export_lines REGEX "^[a-z]+ ")
set(xmlutil_globals "")
foreach(line IN LISTS xmlutil_export_lines)
    string(REGEX MATCH "^([a-z]+) (.*)$" _ "${line}")
    set(kind ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    if(kind STREQUAL "class")
        string(APPEND xmlutil_globals "      ${name}::*;\n")
    elseif(kind STREQUAL "polymorphic")
        string(APPEND xmlutil_globals "      ${name}::*;\n"
            "      \"typeinfo for ${name}\";\n"
            "      \"typeinfo name for ${name}\";\n"
            "      \"vtable for ${name}\";\n")
    elseif(kind STREQUAL "function")
        # An operator's character stands in brackets, as the check's regular
        # expression wants it (operator[+]); the linker's names cannot hold it.
        string(REGEX REPLACE "\\[[^]]*\\]" "?" glob "${name}")
        string(APPEND xmlutil_globals "      ${glob}*;\n")
    elseif(kind STREQUAL "stream")
        string(REGEX REPLACE " .*" "" type "${name}")
        string(APPEND xmlutil_globals "      operator*${type}*;\n")
    else()
        message(FATAL_ERROR "cmake/exports.txt: unknown kind '${kind}'")
    endif()
endforeach()
set(XMLUTIL_VERSION_SCRIPT ${PROJECT_BINARY_DIR}/xmlutil.map)
file(CONFIGURE OUTPUT ${XMLUTIL_VERSION_SCRIPT}
    CONTENT "{\n  global:\n    extern \"C++\" {\n${xmlutil_globals}    };\n  local: *;\n};\n")
