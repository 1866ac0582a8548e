#compdef quibel-capture-agent

if (( CURRENT > 2 )); then
    case "$words[2]" in
    --autostart) (( CURRENT == 3 )) && _values 'at login' on off status ;;
    --doctor) _arguments '--json[as JSON, for programs]' ;;
    esac
    return
fi
_arguments \
    '--send-branch[open the panel]' \
    '--capture[do what the hot key does]' \
    '--connect-account[ask for the API key]' \
    '--quit[end the agent that runs]' \
    '--autostart[have it started at login, or not]' \
    '--doctor[say what works on this desktop]' \
    '--version[show the version]' \
    '--help[show every command]'
