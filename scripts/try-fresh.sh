#!/bin/bash
# Tries the two commands on a Debian that has nothing but its base system, before a release:
# scripts/try-fresh.sh [--keep FOLDER] RELEASE [COMMAND…]
#
# RELEASE is 12 or 13. The machine is a root made afresh from the mirror that this machine's apt uses,
# with a clone of what is committed here in its /root/quenbrook. Another command, .ci/run perhaps, is
# run there instead of the two. With --keep the root is made in that folder and stays.
set -u

fail() {
    printf 'try-fresh: %s\n' "$1" >&2
    exit 70
}

# Waits for a command whose mounts, and whatever else it starts, end with it.
apart() {
    unshare --mount --pid --fork --kill-child --mount-proc "$@" </dev/null &
    child=$!
    wait "$child"
    local status=$?
    child=
    return $status
}

cleanUp() {
    if [ -n "$child" ]; then
        kill -KILL "$child"
        wait "$child"
    fi
    [ -n "$kept" ] || rm -rf "$machine" || { sleep 1 && rm -rf "$machine"; }
}

makeRoot() {
    local mirror options=(--variant=minbase)
    # A proxy of apt's is debootstrap's as well, and that of the apt inside.
    eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
    export http_proxy
    # Where there is none, debootstrap knows one.
    mirror=$(apt-get indextargets --format "\$(REPO_URI)" 'Created-By: Packages' 'Origin: Debian' \
        'Label: Debian' | head -n 1)
    case $mirror in https:*) options+=(--include=ca-certificates) ;; esac
    apart debootstrap "${options[@]}" "$suite" "$machine" ${mirror:+"$mirror"} >"$log" 2>&1 ||
        { tail -n 20 "$log" >&2 && fail "no root could be made; the log is $log"; }
    git clone --quiet --no-hardlinks "$tree" "$machine/root/quenbrook" || fail "no clone could be made"
}

# Runs a command in the clone, with the environment of somebody who has just logged in.
inside() {
    # shellcheck disable=SC2016
    apart bash -c '
        root=$1
        shift
        mount -t proc proc "$root/proc" && mount -t sysfs -o ro sysfs "$root/sys" &&
            mount -t devpts -o newinstance,gid=5,mode=620,ptmxmode=666 devpts "$root/dev/pts" &&
            mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm" || exit
        exec chroot "$root" env -i "$@"' inside "$machine" \
        HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        ${http_proxy:+http_proxy="$http_proxy"} \
        bash -c 'cd /root/quenbrook && exec "$@"' inside "$@"
}

# Runs a command there and tells what it took.
try() {
    local status TIMEFORMAT='   took %lR, in the processors %lU and %lS'
    printf '== Debian %s: %s\n' "$release" "$*"
    time inside "$@"
    status=$?
    [ $status -ne 0 ] || return 0
    printf '   FAILED with status %s\n' $status
    local setup=$machine/root/quenbrook/build/setup.log
    [ ! -f "$setup" ] || { printf '   the set-up:\n' && tail -n 40 "$setup"; }
    failed=1
}

tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
log=$tree/build/try-fresh.log
child=
failed=0
kept=
if [ "${1:-}" = --keep ]; then
    kept=${2:?which folder}
    shift 2
fi
release=${1:-}
case $release in
12) suite=bookworm ;;
13) suite=trixie ;;
*) fail "which release, 12 or 13?" ;;
esac
shift
[ "$(id -u)" = 0 ] || fail "only root can make a root"
bash "$tree/scripts/setup.sh" fresh </dev/null || exit

if [ -n "$kept" ]; then
    mkdir -p "$kept" && machine=$(cd "$kept" && pwd -P) || exit
    [ -z "$(ls -A "$machine")" ] || fail "$machine is not empty"
else
    machine=$(mktemp -d) || exit
fi
trap cleanUp EXIT
trap 'exit 143' TERM
trap 'exit 130' INT
chmod 755 "$machine" || exit

printf '== Debian %s: making the root\n' "$release"
makeRoot
if [ $# -gt 0 ]; then
    try "$@"
else
    # The first time it sets up, the second time it only runs.
    try ./run list-calendars
    try ./run list-calendars
    try ./test
fi
[ $failed = 0 ]
