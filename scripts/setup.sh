#!/bin/bash
# Prepares what one of the commands needs: scripts/setup.sh run|test|bench|evolution-bench|ci|fresh
#
# Installs the packages that are missing (scripts/packages.txt), configures and builds. Whatever
# the tools have to say goes to build/setup.log; a failure is told in one line on standard error,
# with exit status 70. When that is a terminal, one line tells what goes on, and is gone at the end.
# Several may be started at once: they take turns.
#
# Kept to what bash 3.2 knows, the one macOS has.
set -u

command=${1:?run, test, bench, evolution-bench, ci or fresh}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
log=$root/build/setup.log

onTerminal() { [ -t 3 ] && [ "${TERM:-dumb}" != dumb ]; }

# Shows a text in place of the last one.
show() {
    onTerminal && printf '\r\033[K%s' "${1:+quenbrook: $1}" >&3
}

# Shows what a step has come to, as its tools count it, until it is killed.
follow() {
    while sleep 0.2 && kill -0 "$$"; do
        show "$1$(awk '
            /^== / { done = all = "" }
            / newly installed/ { all = $3 }
            /^Setting up / { ++done }
            /^\[[0-9]+\/[0-9]+\]/ { split($1, count, /[^0-9]+/); done = count[2]; all = count[3] }
            END { if (done && all) { print ", " done " of " all } }' "$log")"
    done
}
follower=

unfollow() {
    [ -z "$follower" ] || { kill "$follower" && wait "$follower"; }
    follower=
    show ""
}

fail() {
    unfollow
    printf 'quenbrook: set-up failed while %s; the log is %s\n' "$1" "$log" >&3
    exit 70
}

# The lock and the message channel stay out of every tool: a service that a package starts would
# otherwise hold them for good.
step() {
    local what=$1 begun=$SECONDS
    shift
    printf '== %s: %s\n' "$what" "$*"
    if onTerminal; then
        follow "$what" 9>&- &
        follower=$!
    fi
    "$@" 3>&- 9>&- || fail "$what"
    unfollow
    printf '== %s: %d seconds\n' "$what" $((SECONDS - begun))
}

takeTurn() {
    if command -v flock; then
        flock 9
    else
        perl -MFcntl=:flock -e 'open(my $lock, ">&=", 9) or die; flock($lock, LOCK_EX) or die'
    fi
}

# Prints one column of the package table for this command: 1 Debian's, 2 Homebrew's.
packages() {
    local needed debian homebrew
    while read -r needed debian homebrew; do
        case $needed:$command in
        run:* | test:test | test:*bench | test:ci | ci:ci | bench:bench | fresh:fresh) ;;
        *) continue ;;
        esac
        if [ "$1" = 1 ]; then echo "$debian"; else echo "$homebrew"; fi
    done <"$root/scripts/packages.txt" | grep -v '^-$'
}

# Prints the lines of its first argument that its second lacks.
missing() {
    grep -vxF -f <(printf '%s\n' "$2") <<<"$1"
}

# shellcheck disable=SC2317
asRoot() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# Prints what NN stands for. Only one release of libc++ can be installed: one that is there stays. Before
# apt has its lists there is none.
libcxxRelease() {
    {
        dpkg-query -W -f='${db:Status-Status} ${Package}\n' 'libc++-*-dev' | sed -n 's/^installed //p'
        apt-cache pkgnames libc++- | sort -V
    } | awk -F- '/^libc\+\+-[0-9]+-dev$/ && $2 >= 16 && !found++ { print $2 }'
}

absentDebianPackages() {
    local wanted present
    wanted=$(packages 1)
    wanted=${wanted//NN/$(libcxxRelease)}
    # shellcheck disable=SC2086
    present=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' $wanted |
        sed -n 's/^installed //p')
    # Node.js brings its own npm, wherever it comes from.
    if command -v npm >/dev/null; then
        present="$present
npm"
    fi
    missing "$wanted" "$present"
}

installDebianPackages() {
    [ -n "$(absentDebianPackages)" ] || return 0
    # Asked for here, a password is not asked for under a line that comes again and again.
    asRoot true 3>&- 9>&- || fail "asking for the rights to install"
    step "fetching the package lists" asRoot apt-get -o DPkg::Lock::Timeout=600 update
    # shellcheck disable=SC2046
    step "installing packages" asRoot env DEBIAN_FRONTEND=noninteractive apt-get \
        -o DPkg::Lock::Timeout=600 install -y --no-install-recommends $(absentDebianPackages)
}

# A formula may be installed under the name of one of its versions (icu4c is icu4c@NN): whether it is,
# the folder tells that Homebrew keeps for it under either name.
installHomebrewFormulae() {
    local wanted absent="" formula folder
    wanted=$(packages 2)
    # shellcheck disable=SC2086
    while read -r formula folder; do
        [ -d "$folder" ] || absent="$absent $formula"
    done < <(paste -d ' ' <(printf '%s\n' $wanted) <(brew --prefix $wanted))
    # shellcheck disable=SC2086
    [ -z "$absent" ] || step "installing formulae" brew install $absent
    # Homebrew keeps its ICU out of the folders that a compiler searches.
    CMAKE_PREFIX_PATH=$(brew --prefix icu4c):$(brew --prefix)
    export CMAKE_PREFIX_PATH
}

installPackages() {
    if [ "$(uname)" = Darwin ]; then
        installHomebrewFormulae
    elif command -v apt-get; then
        installDebianPackages
    fi
}

# Prints the files of the shared libraries that a program is linked with, those of the system left
# out that no upgrade takes away.
sharedLibraries() {
    if [ "$(uname)" = Darwin ]; then
        otool -L "$1" | sed -n 's/^[[:space:]]*\(\/[^ ]*\) (.*/\1/p' |
            grep -v -e '^/usr/lib/' -e '^/System/'
    else
        ldd "$1" | sed -n 's/.* => \(\/[^ ]*\) (.*/\1/p'
    fi
}

# build PRESET [CMAKE-BUILD-ARGUMENT…]
build() {
    local preset=$1 folder=$root/build/$1 options=()
    shift
    # Instrumented code makes GCC warn of what is not there, in its own headers even.
    if [ "$command" = ci ] && [ "$preset" != tsan ]; then
        options=(-DQUENBROOK_WERROR=ON)
    fi
    # A folder that was moved along with the tree, or set up by other presets, is configured afresh:
    # what CMake remembers of it may no longer hold.
    if [ ! -f "$folder/build.ninja" ] || [ "$command" = ci ] ||
        [ "$root/CMakePresets.json" -nt "$folder/build.ninja" ] ||
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
        step "configuring $preset" cmake --fresh --preset "$preset" ${options[@]+"${options[@]}"}
    fi
    # What is edited from now on may have missed this build.
    step "marking the time" touch "$folder/.started"
    step "building $preset" cmake --build "$folder" "$@"
    # What ./run looks for before it starts the program.
    if [ -x "$folder/src/quenbrook" ]; then
        sharedLibraries "$folder/src/quenbrook" >"$folder/.libraries"
        touch -r "$folder/.started" "$folder/.libraries"
        mv "$folder/.libraries" "$folder/.started"
    fi
    step "marking the time" mv "$folder/.started" "$folder/.current"
}

exec 3>&2
mkdir -p "$root/build" 2>/dev/null || fail "making the build folder"
exec 9>>"$root/build/setup.lock" || fail "opening the lock"
trap unfollow EXIT
show "waiting for another set-up"
takeTurn >/dev/null || fail "waiting for another set-up"
exec >"$log" 2>&1 || fail "opening the log"
cd "$root" || fail "entering $root"

installPackages
case $command in
run)
    build release --target quenbrook
    ;;
bench)
    build bench --target bench_programs
    ;;
evolution-bench)
    build evolution --target quenbrook
    build bench --target bench_measure
    build dev --target ecal_client
    ;;
test)
    build release --target quenbrook
    build dev
    ;;
ci)
    build release --target quenbrook
    build dev
    build asan-ubsan
    build tsan --target quenbrook vdir_unit_tests contract_vdir
    step "bringing the headers of macOS" bash tests/darwin/toolchain.sh build/darwin
    ;;
esac
exit 0
