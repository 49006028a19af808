# fish completion for quillonctl

function __quillonctl_servers
    quillonctl show --timeout 300 2>/dev/null | string replace -rf '^[* ] (\d+)  (.*)' '$1\t$2'
end

complete -c quillonctl -f
complete -c quillonctl -s h -l help -d 'Show the help'
complete -c quillonctl -l version -d 'Show the version'

set -l first -n __fish_use_subcommand
complete -c quillonctl $first -a show -d 'Show the servers that the daemon knows'
complete -c quillonctl $first -a use -d 'Choose a default server'
complete -c quillonctl $first -a status -d 'Tell whether the daemon and its server are well'
complete -c quillonctl $first -a log -d 'Show the log in clear'
complete -c quillonctl $first -a monitor -d 'Show live what the daemon does'
complete -c quillonctl $first -a check -d 'Tell what the daemon would make of a configuration'

set -l asks '__fish_seen_subcommand_from show use status'
complete -c quillonctl -n $asks -l timeout -x -d 'Give up after this many milliseconds'
complete -c quillonctl -n $asks -l wait -d 'Keep trying until a daemon answers'
complete -c quillonctl -n '__fish_seen_subcommand_from show use status check' -l json \
    -d 'Print one JSON document'
set -l has_index 'string match -qr -- "(?<!--timeout) \d" (string join -- " " (commandline -opc))'
complete -c quillonctl -n "__fish_seen_subcommand_from use; and not $has_index" -k -a '(__quillonctl_servers)'

set -l log '__fish_seen_subcommand_from log'
complete -c quillonctl -n $log -l follow -d 'Go on with what is added'
complete -c quillonctl -n $log -l level -x -a 'debug info warning critical fatal' \
    -d 'Only messages of at least this level'
complete -c quillonctl -n '__fish_seen_subcommand_from log monitor' -l since -x \
    -d 'Only what happened since then'
complete -c quillonctl -n '__fish_seen_subcommand_from log check' -F
