# Completes the commands and options of quibel-inbox in bash.
_quibel_inbox()
{
    local previous=${COMP_WORDS[COMP_CWORD - 1]} words
    COMPREPLY=()
    case $previous in
    --data) mapfile -t COMPREPLY < <(compgen -d -- "$2"); return ;;
    --tls-certificate | --tls-key | --output) mapfile -t COMPREPLY < <(compgen -f -- "$2"); return ;;
    --listen | --database | --account | --name) return ;;
    esac
    case $COMP_CWORD:${COMP_WORDS[1]} in
    1:*) words='serve open keys projects branches screenshot accounts backup export --help --version' ;;
    2:keys) words='create list revoke' ;;
    2:projects) words='add list' ;;
    2:accounts) words='add list password' ;;
    2:backup) mapfile -t COMPREPLY < <(compgen -f -- "$2"); return ;;
    2:export) mapfile -t COMPREPLY < <(compgen -d -- "$2"); return ;;
    *)
        words='--data --database --account --help --version'
        case "${COMP_WORDS[1]} ${COMP_WORDS[2]}" in
        serve\ *) words+=' --listen --tls-certificate --tls-key --behind-proxy' ;;
        open\ *) words+=' --print' ;;
        'keys create') words+=' --name' ;;
        branches\ *) words+=' --json' ;;
        screenshot\ *) words+=' --output' ;;
        esac
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$2")
}
complete -F _quibel_inbox quibel-inbox
