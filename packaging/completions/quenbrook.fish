# The words of quenbrook, for fish.
complete -c quenbrook -f
set -l words list-calendars list-events create-event update-event cancel-event get-event get-attendee-status
complete -c quenbrook -n "not __fish_seen_subcommand_from $words" -a "$words"
