# The words of quenbrook, for bash.
_quenbrook() {
    if [ "$COMP_CWORD" -eq 1 ]; then
        # shellcheck disable=SC2207
        COMPREPLY=($(compgen -W "list-calendars list-events create-event update-event cancel-event \
            get-event get-attendee-status" -- "${COMP_WORDS[1]}"))
    fi
}
complete -F _quenbrook quenbrook quenbrook-vdir quenbrook-evolution
