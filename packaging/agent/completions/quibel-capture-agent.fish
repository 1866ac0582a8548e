# Completes the commands of quibel-capture-agent in fish.
set -l first 'test (count (commandline -opc)) -eq 1'
complete -c quibel-capture-agent -f
complete -c quibel-capture-agent -n $first -l send-branch -d 'open the panel'
complete -c quibel-capture-agent -n $first -l capture -d 'do what the hot key does'
complete -c quibel-capture-agent -n $first -l connect-account -d 'ask for the API key'
complete -c quibel-capture-agent -n $first -l quit -d 'end the agent that runs'
complete -c quibel-capture-agent -n "$first; or __fish_seen_argument -l autostart" -l autostart -x -a 'on off status' -d 'have it started at login, or not'
complete -c quibel-capture-agent -n $first -l doctor -d 'say what works on this desktop'
complete -c quibel-capture-agent -n '__fish_seen_argument -l doctor' -l json -d 'as JSON, for programs'
complete -c quibel-capture-agent -n $first -l version -d 'show the version'
complete -c quibel-capture-agent -n $first -l help -d 'show every command'
