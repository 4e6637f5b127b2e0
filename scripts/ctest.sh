#!/bin/bash
# Runs the tests of one build folder, away from the user's own calendars:
# scripts/ctest.sh BUILD-FOLDER [CTEST-ARGUMENT…]
set -u

folder=$1
shift

home=$(mktemp -d) || exit
trap 'rm -rf "$home"' EXIT
unset XDG_DATA_HOME XDG_CONFIG_HOME XDG_CACHE_HOME

# One more than there are processors: a test waits for the disk now and then.
jobs=$(($(getconf _NPROCESSORS_ONLN) + 1))
HOME=$home ctest --test-dir "$folder" -j"$jobs" --output-on-failure "$@"
status=$?

# Every test lays out a place of its own; one that forgot has left its traces here.
stray=$(find "$home" -name quenbrook -print)
if [ -n "$stray" ]; then
    printf 'A test wrote to the home folder:\n%s\n' "$stray" >&2
    exit 1
fi
exit "$status"
