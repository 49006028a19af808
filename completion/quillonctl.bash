# bash completion for quillonctl
# shellcheck shell=bash

_quillonctl_options() { # COMMAND
    case $1 in
    show | status) echo --json --timeout --wait ;;
    use) echo --json --timeout --wait --probe ;;
    check) echo --json ;;
    monitor) echo --json --since ;;
    log) echo --follow --lines --since --level ;;
    esac
    echo --help --version
}

# An index alone when it is the only one, or it would be inserted with its address.
_quillonctl_servers() { # PROGRAM CURRENT
    local line
    while IFS= read -r line; do
        [[ $line != [*\ ]\ "$2"* ]] || COMPREPLY+=("${line#??}")
    done < <("$1" show --timeout 300ms 2>/dev/null | grep '^[* ] [0-9]')
    ((${#COMPREPLY[@]} != 1)) || COMPREPLY=("${COMPREPLY[0]%% *}")
    compopt -o nosort 2>/dev/null # fails outside of a completion
}

_quillonctl() { # PROGRAM CURRENT PREVIOUS
    local current=$2 previous=$3 command='' argument='' words='' i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i - 1]}:${COMP_WORDS[i]} in
        --timeout:* | --since:* | --level:* | --lines:* | -n:* | =:* | *:-*) ;;
        *) [[ -n $command ]] && argument=${COMP_WORDS[i]} || command=${COMP_WORDS[i]} ;;
        esac
    done
    # --level=x comes as three words.
    [[ $current != "=" ]] || current=
    [[ $previous != "=" ]] || previous=${COMP_WORDS[COMP_CWORD - 2]}

    COMPREPLY=()
    case $previous:${command:-none}:$argument:$current in
    --level:*) words='debug info warning critical fatal' ;;
    --timeout:* | --since:* | --lines:* | -n:*) ;;
    *:*:*:-*) words=$(_quillonctl_options "$command") ;;
    *:none:*) words='show use status check monitor log help version --help --version' ;;
    *:help::*) words='show use status check monitor log help version' ;;
    *:use::*) _quillonctl_servers "$1" "$current" ;;
    *:log::* | *:check::*)
        compopt -o filenames 2>/dev/null # fails outside of a completion
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    esac
    [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _quillonctl quillonctl
