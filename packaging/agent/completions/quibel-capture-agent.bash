# Completes the commands of quibel-capture-agent in bash.
_quibel_capture_agent()
{
    local words
    COMPREPLY=()
    case $COMP_CWORD:${COMP_WORDS[COMP_CWORD - 1]} in
    1:*) words='--send-branch --capture --connect-account --quit --autostart --doctor --version --help' ;;
    2:--autostart) words='on off status' ;;
    2:--doctor) words='--json' ;;
    *) return 0 ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$2")
}
complete -F _quibel_capture_agent quibel-capture-agent
