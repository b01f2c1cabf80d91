# SPDX-License-Identifier: Apache-2.0
# Writes the manual page xmlutil.1 from the tool's own help texts: `--help`
# gives the synopsis, the description and the list of commands, and
# `help COMMAND` the section of each command, so the page never tells other
# than the tool does.
#
#   cmake -DTOOL=<built xmlutil> -DOUTPUT=<file> -P manpage.cmake
foreach(var TOOL OUTPUT)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} not given")
    endif()
endforeach()

function(help_text out)
    execute_process(COMMAND ${TOOL} ${ARGN}
        RESULT_VARIABLE status
        OUTPUT_VARIABLE text
        ERROR_VARIABLE err)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${TOOL} ${ARGN} failed (${status}): ${err}")
    endif()
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Text for roff's no-fill mode: backslashes escaped, and a line that starts
# with a control character protected.
function(roff_lines out text)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REPLACE "-" "\\-" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

help_text(overview --help)
help_text(version --version)
string(REGEX REPLACE "\n.*" "" version "${version}")

# Synopsis: the usage lines up to the first empty line; the rest describes.
string(FIND "${overview}" "\n\n" split)
string(SUBSTRING "${overview}" 0 ${split} synopsis)
math(EXPR rest "${split} + 2")
string(SUBSTRING "${overview}" ${rest} -1 description)
string(REGEX REPLACE "(^|\n)Usage: " "\\1" synopsis "${synopsis}")
string(REGEX REPLACE "\n       " "\n" synopsis "${synopsis}")

# The commands are the first words of the "Commands:" list.
string(REGEX MATCH "\nCommands:\n([^\n]+\n)+" list "${overview}")
string(REGEX MATCHALL "\n  [a-z0-9]+" names "${list}")
set(commands)
foreach(name IN LISTS names)
    string(STRIP "${name}" name)
    if(NOT name STREQUAL "help")
        list(APPEND commands ${name})
    endif()
endforeach()
if(NOT commands)
    message(FATAL_ERROR "no commands found in the output of ${TOOL} --help")
endif()

roff_lines(synopsis "${synopsis}")
roff_lines(description "${description}")
set(page ".\\\" Generated from the help texts of ${version}; edit those instead.
.TH XMLUTIL 1 \"\" \"${version}\" \"User Commands\"
.SH NAME
xmlutil \\- read, edit and check XML configuration files
.SH SYNOPSIS
.nf
${synopsis}
.fi
.SH DESCRIPTION
.nf
${description}.fi
.SH COMMANDS
")
foreach(command IN LISTS commands)
    help_text(text help ${command})
    roff_lines(text "${text}")
    string(APPEND page ".SS ${command}\n.nf\n${text}.fi\n")
endforeach()
string(APPEND page ".SH SEE ALSO
.BR base64 (1),
.BR xmllint (1)
")
file(WRITE ${OUTPUT}.new "${page}")
file(RENAME ${OUTPUT}.new ${OUTPUT})
