# SPDX-License-Identifier: Apache-2.0
# bash completion for xmlutil: commands, their options, and file names where
# a FILE, DTDFILE, XSDFILE or OUT stands.

_xmlutil()
{
    local cur prev command i
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="get set add delete list format validate base64 help"

    if [ "$COMP_CWORD" -eq 1 ]; then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W "--help --version" -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        fi
        return
    fi
    command=${COMP_WORDS[1]}

    # The argument of an option.
    case $prev in
    --dtd)
        COMPREPLY=($(compgen -f -X '!*.dtd' -- "$cur") $(compgen -d -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
        ;;
    --xsd)
        COMPREPLY=($(compgen -f -X '!*.xsd' -- "$cur") $(compgen -d -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
        ;;
    -o)
        COMPREPLY=($(compgen -f -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
        ;;
    -N | --default)
        COMPREPLY=()
        return
        ;;
    esac

    local options=""
    case $command in
    get) options="-N --all --default --help" ;;
    set | add | delete) options="-N --dry-run -o --help" ;;
    list | format) options="--help" ;;
    validate) options="--dtd --xsd --help" ;;
    base64) options="--help" ;;
    help)
        if [ "$COMP_CWORD" -eq 2 ]; then
            COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        else
            COMPREPLY=()
        fi
        return
        ;;
    *)
        COMPREPLY=()
        return
        ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi
    if [ "$command" = base64 ]; then
        COMPREPLY=()
        for i in "${COMP_WORDS[@]:2:COMP_CWORD-2}"; do
            [[ $i == encode || $i == decode ]] && return
        done
        COMPREPLY=($(compgen -W "encode decode" -- "$cur"))
        return
    fi
    # FILE is the first operand; PATH and VALUE are the document's own.
    local operands=0
    for ((i = 2; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        -N | -o | --default | --dtd | --xsd) ((i++)) ;;
        -*) ;;
        *) ((operands++)) ;;
        esac
    done
    if [ "$operands" -eq 0 ]; then
        COMPREPLY=($(compgen -f -- "$cur"))
        compopt -o filenames 2>/dev/null
    else
        COMPREPLY=()
    fi
}
complete -F _xmlutil xmlutil
