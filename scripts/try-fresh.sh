#!/bin/bash
# Tries the two commands on a Debian that has nothing but its base system, before a release:
# scripts/try-fresh.sh [--keep FOLDER] RELEASE [COMMAND…]
#
# RELEASE is 12 or 13. The machine has sudo and an ordinary user, who logs in, has a umask that shuts everybody
# out, and keeps what is committed here in a folder with a blank and an umlaut in its name: as a source archive
# without git, and as a clone. Another command, .ci/run or packaging/try perhaps, is run in the clone instead of
# the two.
set -u

# shellcheck source=scripts/root.sh
. "$(dirname "${BASH_SOURCE[0]}")/root.sh"
place='/home/person/Kalender für alle'
failed=0

# An ordinary user, with the sources.
makeUser() {
    chroot "$machine" useradd --create-home --shell /bin/bash person &&
        echo 'person ALL=(ALL) NOPASSWD: ALL' >"$machine/etc/sudoers.d/person" &&
        echo 'umask 077' >>"$machine/home/person/.profile" &&
        mkdir -m 700 "$machine$place" "$machine$place/archive" &&
        git clone --quiet --no-hardlinks "$tree" "$machine$place/clone" &&
        git -C "$tree" archive HEAD | tar -x --no-same-permissions -C "$machine$place/archive" &&
        chroot "$machine" chown -R person:person /home/person
}

# try FOLDER COMMAND…: runs a command in one of the user's folders and tells what it took.
try() {
    local status TIMEFORMAT='   took %lR, in the processors %lU and %lS'
    printf '== Debian %s, %s: %s\n' "$release" "$1" "${*:2}"
    time inRoot person "$place/$1" "${@:2}"
    status=$?
    [ $status -ne 0 ] || return 0
    printf '   FAILED with status %s\n' $status
    local setup=$machine$place/$1/build/setup.log
    [ ! -f "$setup" ] || { printf '   the set-up:\n' && tail -n 40 "$setup"; }
    failed=1
}

folder=
if [ "${1:-}" = --keep ]; then
    folder=${2:?which folder}
    shift 2
fi
release=${1:-}
makeRoot "$folder" "$release" "$tree/build/try-fresh.log"
shift
(umask 077 && makeUser) || fail "no user could be made"
if [ $# -gt 0 ]; then
    try clone "$@"
else
    # The first time it sets up, the second time it only runs.
    try archive ./run list-calendars
    try archive ./run list-calendars
    try archive ./test
    try clone ./run list-calendars
    try clone ./test
fi
[ $failed = 0 ]
