# A machine that has nothing but Debian's base system: a root made afresh from the mirror that this machine's
# apt uses. Read by the scripts that try something there. It is gone when they end, unless --keep FOLDER says
# where it is to be made and stays.
# shellcheck shell=bash

tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
machine=
kept=
child=

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$1" >&2
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

# makeRoot FOLDER RELEASE LOG [OPTION-OF-DEBOOTSTRAP…]: makes a root, in FOLDER where one is named.
makeRoot() {
    local suite mirror include=sudo log=$3
    case $2 in
    12) suite=bookworm ;;
    13) suite=trixie ;;
    *) fail "which release of Debian, 12 or 13?" ;;
    esac
    [ "$(id -u)" = 0 ] || fail "only root can make a root"
    bash "$tree/scripts/setup.sh" fresh </dev/null || exit

    kept=$1
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

    printf '== Debian %s: making the root\n' "$2"
    # A proxy of apt's is debootstrap's as well, and that of the apt inside.
    eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
    export http_proxy
    # Where there is none, debootstrap knows one.
    mirror=$(apt-get indextargets --format "\$(REPO_URI)" 'Created-By: Packages' 'Origin: Debian' \
        'Label: Debian' | head -n 1)
    case $mirror in https:*) include+=,ca-certificates ;; esac
    apart debootstrap --variant=minbase --include="$include" "${@:4}" "$suite" "$machine" ${mirror:+"$mirror"} \
        >"$log" 2>&1 || { tail -n 20 "$log" >&2 && fail "no root could be made; the log is $log"; }
    # As an installer leaves it: sudo looks its machine up.
    printf '127.0.0.1 localhost\n127.0.1.1 %s\n' "$(uname -n)" >"$machine/etc/hosts" || exit
    [ -z "${http_proxy:-}" ] ||
        printf 'Acquire::http::Proxy "%s";\n' "$http_proxy" >"$machine/etc/apt/apt.conf.d/90proxy"
}

# inRoot USER FOLDER COMMAND…: runs a command there, after a login. It is the whole machine to that command: in
# a chroot nobody may have a user namespace.
inRoot() {
    local command
    printf -v command '%q ' "${@:3}"
    # shellcheck disable=SC2016
    apart bash -c '
        root=$1
        mount --bind "$root" "$root" && mount -t proc proc "$root/proc" && mount -t sysfs -o ro sysfs "$root/sys" &&
            mount -t devpts -o newinstance,gid=5,mode=620,ptmxmode=666 devpts "$root/dev/pts" &&
            mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm" &&
            cd "$root" && pivot_root . mnt && umount -l /mnt || exit
        exec env -i TERM=dumb su --login "$2" --command "$3"' inRoot "$machine" "$1" \
        "cd $(printf %q "$2") && exec $command"
}
