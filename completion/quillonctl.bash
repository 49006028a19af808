# bash completion for quillonctl
# shellcheck shell=bash

_quillonctl_options() { # COMMAND
    case $1 in
    show | use | status) echo --json --timeout --wait ;;
    check) echo --json ;;
    log) echo --follow --since --level ;;
    monitor) echo --since ;;
    esac
    echo --help --version
}

_quillonctl_has_index() {
    local i
    for ((i = 2; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} != [0-9]* || ${COMP_WORDS[i - 1]} == @(--timeout|=) ]] || return 0
    done
    return 1
}

_quillonctl_words() { # COMMAND PREVIOUS CURRENT PROGRAM
    case $2:$3:$1 in
    --level:*) echo debug info warning critical fatal ;;
    --timeout:* | --since:*) ;;
    *:-*:*) _quillonctl_options "$1" ;;
    *:use) _quillonctl_has_index || "$4" show --timeout 300 2>/dev/null | sed -n 's/^[* ] \([0-9]*\)  .*/\1/p' ;;
    *:) echo show use status log monitor check --help --version ;;
    esac
}

_quillonctl() { # PROGRAM CURRENT PREVIOUS
    local current=$2 previous=$3 command
    for command in "${COMP_WORDS[@]:1:COMP_CWORD-1}" ""; do
        [[ $command == -* ]] || break
    done
    # --level=x comes as three words.
    [[ $current != "=" ]] || current=
    [[ $previous != "=" ]] || previous=${COMP_WORDS[COMP_CWORD - 2]}

    if [[ $command == @(log|check) && $current != -* && $previous != --@(since|level) ]]; then
        compopt -o filenames 2>/dev/null # a complaint outside of a completion
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(
        compgen -W "$(_quillonctl_words "$command" "$previous" "$current" "$1")" -- "$current"
    )
}

complete -F _quillonctl quillonctl
