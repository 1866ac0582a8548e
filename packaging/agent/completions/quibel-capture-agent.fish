# Completes the commands of quibel-capture-agent in fish.
complete -c quibel-capture-agent -f
complete -c quibel-capture-agent -l send-branch -d 'open the panel'
complete -c quibel-capture-agent -l capture -d 'do what the hot key does'
complete -c quibel-capture-agent -l connect-account -d 'ask for the API key'
complete -c quibel-capture-agent -l version -d 'show the version'
complete -c quibel-capture-agent -l help -d 'show every command'
