# Completes the commands and options of quibel-inbox in fish.
function __quibel_inbox_words --description 'whether exactly these words are the command so far'
    set -l typed (commandline -opc)
    test "$typed[2..]" = "$argv"
end

complete -c quibel-inbox -f
complete -c quibel-inbox -n __fish_use_subcommand -a serve -d 'answer the agent and the page'
complete -c quibel-inbox -n __fish_use_subcommand -a open -d 'sign in to the page on this machine'
complete -c quibel-inbox -n __fish_use_subcommand -a keys -d 'keys for agents'
complete -c quibel-inbox -n __fish_use_subcommand -a projects -d 'the projects'
complete -c quibel-inbox -n __fish_use_subcommand -a branches -d 'list the branches'
complete -c quibel-inbox -n __fish_use_subcommand -a screenshot -d 'write a screenshot of a branch'
complete -c quibel-inbox -n __fish_use_subcommand -a accounts -d 'accounts for others'
complete -c quibel-inbox -n __fish_use_subcommand -a backup -d 'copy the database'
complete -c quibel-inbox -n __fish_use_subcommand -a export -d 'write everything as JSON and pictures'

complete -c quibel-inbox -n '__quibel_inbox_words keys' -a create -d 'make a key'
complete -c quibel-inbox -n '__quibel_inbox_words keys' -a list -d 'list the keys'
complete -c quibel-inbox -n '__quibel_inbox_words keys' -a revoke -d 'make a key worthless'
complete -c quibel-inbox -n '__quibel_inbox_words projects' -a add -d 'add a project'
complete -c quibel-inbox -n '__quibel_inbox_words projects' -a list -d 'list the projects'
complete -c quibel-inbox -n '__quibel_inbox_words accounts' -a add -d 'add an account'
complete -c quibel-inbox -n '__quibel_inbox_words accounts' -a list -d 'list the accounts'
complete -c quibel-inbox -n '__quibel_inbox_words accounts' -a password -d 'set the password'

set -l serving '__fish_seen_subcommand_from serve'
complete -c quibel-inbox -n $serving -l listen -x -d 'where to listen'
complete -c quibel-inbox -n $serving -l tls-certificate -r -F -d 'certificate chain'
complete -c quibel-inbox -n $serving -l tls-key -r -F -d 'private key'
complete -c quibel-inbox -n $serving -l behind-proxy -d 'a proxy in front speaks TLS'
complete -c quibel-inbox -n '__fish_seen_subcommand_from open' -l print -d 'print the link'
complete -c quibel-inbox -n '__fish_seen_subcommand_from create' -l name -x -d 'what the key is called'
complete -c quibel-inbox -n '__fish_seen_subcommand_from branches' -l json -d 'with every field'
complete -c quibel-inbox -n '__fish_seen_subcommand_from screenshot' -l output -r -F -d 'where to'
complete -c quibel-inbox -n '__quibel_inbox_words backup' -F
complete -c quibel-inbox -n '__quibel_inbox_words export' -a '(__fish_complete_directories)'

complete -c quibel-inbox -l data -x -a '(__fish_complete_directories)' -d 'where everything is kept'
complete -c quibel-inbox -l database -x -d 'keep everything in PostgreSQL'
complete -c quibel-inbox -l account -x -d 'whose keys, projects and branches'
complete -c quibel-inbox -l help -d 'show every command'
complete -c quibel-inbox -l version -d 'show the version'
