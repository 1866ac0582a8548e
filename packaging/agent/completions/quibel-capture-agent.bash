# Completes the commands of quibel-capture-agent in bash.
_quibel_capture_agent()
{
    COMPREPLY=()
    [ "$COMP_CWORD" -eq 1 ] || return 0
    mapfile -t COMPREPLY < <(compgen -W '--send-branch --capture --connect-account --version --help' -- "$2")
}
complete -F _quibel_capture_agent quibel-capture-agent
