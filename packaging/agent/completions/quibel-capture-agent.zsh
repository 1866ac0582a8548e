#compdef quibel-capture-agent

_arguments \
    '(- *)--send-branch[open the panel]' \
    '(- *)--capture[do what the hot key does]' \
    '(- *)--connect-account[ask for the API key]' \
    '(- *)--version[show the version]' \
    '(- *)--help[show every command]'
