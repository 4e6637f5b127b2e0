#!/bin/bash
# Tries ./run of both stores as an ordinary user does: without root's rights, with Debian's login PATH and
# next to nothing else in the environment, a umask that shuts everybody out, a source archive without git,
# and a blank and an umlaut in its path. The packages have to be there already.
set -u

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
place=$(mktemp -d) || exit
trap 'rm -rf "$place"' EXIT
tree="$place/my sources für Kalender"
failed=0

user=()
if [ "$(id -u)" = 0 ]; then
    user=(setpriv --reuid=65534 --regid=65534 --clear-groups --no-new-privs)
    chown 65534:65534 "$place" || exit
fi

asUser() {
    "${user[@]}" env -i HOME="$place" LANG=C.UTF-8 \
        PATH=/usr/local/bin:/usr/bin:/bin:/usr/local/games:/usr/games "$@"
}

# expect STATUS STREAM START STORE: runs ./run list-calendars; its one line begins with START.
expect() {
    local status
    # shellcheck disable=SC2016
    asUser QUENBROOK_STORE="$4" sh -c 'umask 077; exec "$0" list-calendars </dev/null >"$1/out" 2>"$1/err"' \
        "$tree/run" "$place"
    status=$?
    case $status:$(cat "$place/$2") in
    "$1:$3"*) printf 'ok: QUENBROOK_STORE=%s ./run list-calendars\n' "$4" ;;
    *)
        printf 'QUENBROOK_STORE=%s ./run list-calendars ends with %s:\n' "$4" "$status"
        cat "$place/out" "$place/err"
        tail -n 20 "$tree/build/setup.log"
        failed=1
        ;;
    esac
}

asUser mkdir -m 700 "$tree" || exit
# shellcheck disable=SC2016
tar -c --exclude=./.git --exclude=./build -C "$root" . |
    asUser sh -c 'umask 077; exec tar -x --no-same-permissions -C "$0"' "$tree" || exit

expect 0 out '{"calendars":[{"color":"#1BADF8","id":"local\/calendar"' ''
expect 0 out '{"calendars":[{"color":"#1BADF8","id":"local\/calendar"' ''
# Nobody has started a desktop for this user.
expect 1 err '{"code":"ACCESS_DENIED"' evolution

exit "$failed"
