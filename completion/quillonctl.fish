# fish completion for quillonctl

function __quillonctl_servers
    quillonctl show --timeout 300ms 2>/dev/null | string replace -rf '^[* ] (\d+)  (.*)' '$1\t$2'
end

complete -c quillonctl -f
complete -c quillonctl -s h -l help -d 'Show the help'
complete -c quillonctl -l version -d 'Show the version'

for first in __fish_use_subcommand '__fish_seen_subcommand_from help'
    complete -c quillonctl -n $first -a show -d 'Show the default servers and the server in use'
    complete -c quillonctl -n $first -a use -d 'Choose a default server'
    complete -c quillonctl -n $first -a status -d 'Show whether the daemon answers and how its last probe ended'
    complete -c quillonctl -n $first -a check -d 'Check a configuration file'
    complete -c quillonctl -n $first -a monitor -d 'Print probes, choices and clients as the daemon logs them'
    complete -c quillonctl -n $first -a log -d 'Print the log in clear'
    complete -c quillonctl -n $first -a help -d 'Show the help'
    complete -c quillonctl -n $first -a version -d 'Show the version'
end

set -l asks '__fish_seen_subcommand_from show use status'
complete -c quillonctl -n $asks -l timeout -x -d 'Give up after this time'
complete -c quillonctl -n $asks -l wait -d 'Keep trying until a daemon answers'
complete -c quillonctl -n '__fish_seen_subcommand_from show use status check monitor' -l json -d 'Print JSON'
complete -c quillonctl -n '__fish_seen_subcommand_from use' -l probe -d 'Wait for the probe of the server'
set -l has_index 'string match -qr -- "(?<!--timeout) \d" (string join -- " " (commandline -opc))'
complete -c quillonctl -n "__fish_seen_subcommand_from use; and not $has_index" -k -a '(__quillonctl_servers)'

set -l log '__fish_seen_subcommand_from log'
complete -c quillonctl -n $log -s f -l follow -d 'Go on with what is added'
complete -c quillonctl -n $log -s n -l lines -x -d 'Begin with the last lines'
complete -c quillonctl -n $log -l level -x -a 'debug info warning critical fatal' \
    -d 'Only messages of at least this level'
complete -c quillonctl -n '__fish_seen_subcommand_from log monitor' -l since -x \
    -d 'Only what happened since then'
complete -c quillonctl -n '__fish_seen_subcommand_from log check' -F
