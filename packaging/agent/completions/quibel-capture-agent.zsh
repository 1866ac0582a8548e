#compdef quibel-capture-agent

if (( CURRENT > 2 )); then
    [[ "$words[2]" == --doctor ]] && _arguments '--json[as JSON, for programs]'
    return
fi
_arguments \
    '--send-branch[open the panel]' \
    '--capture[do what the hot key does]' \
    '--connect-account[ask for the API key]' \
    '--quit[end the agent that runs]' \
    '--doctor[say what works on this desktop]' \
    '--version[show the version]' \
    '--help[show every command]'
