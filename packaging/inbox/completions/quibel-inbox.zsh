#compdef quibel-inbox

local -a common commands
common=(
    '--data[where everything is kept]:directory:_directories'
    '--database[keep everything in PostgreSQL]:URL:'
    '--account[whose keys, projects and branches]:name:'
    '(- *)--help[show every command]'
    '(- *)--version[show the version]'
)

if (( CURRENT == 2 )); then
    commands=(
        'serve:answer the agent and the page'
        'open:sign in to the page on this machine'
        'keys:keys for agents'
        'projects:the projects'
        'branches:list the branches'
        'screenshot:write a screenshot of a branch'
        'accounts:accounts for others'
        'backup:copy the database'
        'export:write everything as JSON and pictures'
    )
    _describe command commands
    _arguments $common
    return
fi

case "$words[2]" in
keys | projects | accounts)
    if (( CURRENT == 3 )); then
        case "$words[2]" in
        keys) commands=('create:make a key' 'list:list the keys' 'revoke:make a key worthless') ;;
        projects) commands=('add:add a project' 'list:list the projects') ;;
        accounts) commands=('add:add an account' 'list:list the accounts' 'password:set the password') ;;
        esac
        _describe command commands
        return
    fi
    [[ "$words[2] $words[3]" == 'keys create' ]] && common+=('--name[what the key is called]:name:')
    ;;
serve)
    common+=(
        '--listen[where to listen]:host and port:'
        '--tls-certificate[certificate chain]:file:_files'
        '--tls-key[private key]:file:_files'
        '--behind-proxy[a proxy in front speaks TLS]'
    )
    ;;
open) common+=('--print[print the link]') ;;
branches) common+=('--json[with every field]') ;;
screenshot) common+=('--output[where to]:file:_files') ;;
backup) common+=('*:file:_files') ;;
export) common+=('*:directory:_directories') ;;
esac
_arguments $common
