# The words of quenbrook, for fish.
set -l words list-calendars list-events create-event update-event cancel-event get-event get-attendee-status
for program in quenbrook quenbrook-vdir quenbrook-evolution
    complete -c $program -f
    complete -c $program -n "not __fish_seen_subcommand_from $words" -a "$words"
end
