#!/bin/bash
# Prepares what one of the commands needs:
# scripts/setup.sh run|run-evolution|test|bench|evolution-bench|fresh|ci-STAGE (a stage of .ci/run)
#
# Installs the packages that are missing (scripts/packages.txt), configures and builds. Whatever
# the tools have to say goes to build/setup.log; a failure is told in one line on standard error, with
# what the failing tool said and exit status 70. When that is a terminal, one line tells what goes on, and
# is gone at the end. Several may be started at once: they take turns.
#
# Kept to what bash 3.2 knows, the one macOS has.
set -u

command=${1:?run, run-evolution, test, bench, evolution-bench, fresh or ci-STAGE}
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

# Prints the line of the log that tells best why the last step failed: the first error of a compiler, of
# CMake or of apt, or else the last line. Where a package is unknown because no list of packages could be
# fetched, the step before has the reason.
reason() {
    awk '
        function note(text) { if (error == "") { error = text } }
        /^== [a-z].*: / { error = last = ""; next }
        /^W: Failed to fetch / && unfetched == "" { unfetched = $0 }
        /^[[:space:]]*$/ || /^ninja: build stopped/ { next }
        heading != "" { note(heading $0); heading = "" }
        /^CMake Error.*:$/ { heading = $0 " " }
        /[Nn]o space left on device/ { error = $0 }
        /^E: (Unable to locate package|Package .* has no installation candidate)/ && unfetched != "" {
            note(unfetched)
        }
        /^E: |(^|[: ])error: |undefined reference to |: cannot find |^Error: / { note($0) }
        { last = $0 }
        END { print error != "" ? error : last }' "$log" |
        tr -d '[:cntrl:]' | sed -e 's/^.*: line [0-9]*: //' -e 's/[[:space:]][[:space:]]*/ /g' |
        cut -c 1-400
}

# fail STEP [REASON]
fail() {
    unfollow
    printf 'quenbrook: set-up failed while %s%s; the log is %s\n' "$1" "${2:+: $2}" "$log" >&3
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
    "$@" 3>&- 9>&- || fail "$what" "$(reason)"
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

# Prints one column of the package table for this command: 1 Debian's, 2 Homebrew's, 3 what it is called
# elsewhere.
packages() {
    local needed debian homebrew elsewhere
    while read -r needed debian homebrew elsewhere; do
        case $needed:$command in
        run:* | evolution:*evolution* | fresh:fresh) ;;
        evolution:test | evolution:bench | evolution:ci-*) ;;
        test:test | test:*bench | test:ci-* | ci:ci-* | bench:bench) ;;
        *) continue ;;
        esac
        case $1 in
        1) echo "$debian" ;;
        2) echo "$homebrew" ;;
        3) echo "$elsewhere" ;;
        esac
    done <"$root/scripts/packages.txt" | grep -v -e '^-$' -e '^$'
}

# Prints the lines of its first argument that its second lacks.
missing() {
    grep -vxF -f <(printf '%s\n' "$2") <<<"$1"
}

# shellcheck disable=SC2317
asRoot() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# release BEFORE AFTER LEAST: prints the oldest release, LEAST or later, of the packages whose names have it
# between BEFORE and AFTER. One that is installed stays: some can be there in one release only. Before apt has
# its lists there is none.
release() {
    {
        dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$1*$2" | sed -n 's/^installed //p'
        apt-cache pkgnames "$1" | sort -V
    } | awk -v before="$1" -v after="$2" -v least="$3" '
        index($0, before) == 1 {
            number = substr($0, length(before) + 1)
            sub(/[^0-9].*/, "", number)
            if (number + 0 >= least + 0 && $0 == before number after && !found++) { print number }
        }'
}

absentDebianPackages() {
    local wanted present
    wanted=$(packages 1)
    wanted=${wanted//NN/$(release libc++- -dev 16)}
    wanted=${wanted//MM/$(release lld- "" 19)}
    # shellcheck disable=SC2086
    present=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' $wanted |
        sed -n 's/^installed //p')
    # Node.js may come from elsewhere, and brings its own npm.
    if command -v node >/dev/null; then
        present="$present
nodejs"
    fi
    if command -v npm >/dev/null; then
        present="$present
npm"
    fi
    missing "$wanted" "$present"
}

installDebianPackages() {
    [ -n "$(absentDebianPackages)" ] || return 0
    # Asked for here, a password is not asked for under a line that comes again and again.
    asRoot true 3>&- 9>&- || fail "asking for the rights to install" "$(reason)"
    step "fetching the package lists" asRoot apt-get -o DPkg::Lock::Timeout=600 update
    # shellcheck disable=SC2046
    step "installing packages" asRoot env DEBIAN_FRONTEND=noninteractive apt-get \
        -o DPkg::Lock::Timeout=600 install -y --no-install-recommends $(absentDebianPackages)
}

# A formula may be installed under the name of one of its versions (icu4c is icu4c@NN): whether it is,
# the folder tells that Homebrew keeps for it under either name.
installHomebrewFormulae() {
    local wanted absent="" formula folder
    xcode-select -p || fail "looking for the Command Line Tools, which come first (xcode-select --install)"
    command -v brew || fail "looking for Homebrew, which comes first (https://brew.sh)"
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
    else
        hasInstaller=false
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

# Where nothing could be installed, what is missing is no error of CMake's.
configure() {
    if $hasInstaller; then
        step "configuring $2" cmake --fresh "$@"
    elif ! cmake --fresh "$@"; then
        fail "looking for what it is built with" \
            "neither apt-get nor Homebrew is here to install it: $(packages 3 | paste -s -d , - | sed 's/,/, /g')"
    fi
}

# build PRESET [CMAKE-BUILD-ARGUMENT…]
build() {
    local preset=$1 folder=$root/build/$1 options=()
    shift
    # Instrumented code makes GCC warn of what is not there, in its own headers even.
    case $command:$preset in
    ci-*:tsan) ;;
    ci-*) options=(-DQUENBROOK_WERROR=ON) ;;
    esac
    # The tests that know the program only from outside start the one that ships.
    case $preset in
    dev) options+=("-DQUENBROOK_TESTED_PROGRAM=$root/build/release/src/quenbrook") ;;
    esac
    # A folder that was moved along with the tree, or set up by other presets, is configured afresh:
    # what CMake remembers of it may no longer hold.
    if [ ! -f "$folder/build.ninja" ] ||
        [ "$root/CMakePresets.json" -nt "$folder/build.ninja" ] ||
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
        configure --preset "$preset" ${options[@]+"${options[@]}"}
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

hasInstaller=true
exec 3>&2
said=$(mkdir -p "$root/build" 2>&1) || fail "making the build folder" "${said##*: }"
said=$({ : >>"$root/build/setup.lock"; } 2>&1) || fail "opening the lock" "${said##*: }"
exec 9>>"$root/build/setup.lock"
trap unfollow EXIT
show "waiting for another set-up"
takeTurn >/dev/null || fail "waiting for another set-up"
said=$({ : >"$log"; } 2>&1) || fail "opening the log" "${said##*: }"
exec >"$log" 2>&1
cd "$root" || fail "entering $root"

installPackages
case $command in
run)
    build release --target quenbrook
    ;;
run-evolution)
    build evolution --target quenbrook
    ;;
bench)
    build bench --target bench_programs
    ;;
evolution-bench)
    build evolution --target quenbrook
    build bench --target bench_measure
    build dev --target ecal_client
    ;;
ci-lint)
    # It asks the build how each file is compiled, and needs nothing that comes of it.
    build dev --target build.ninja
    ;;
test | ci-test)
    build release --target quenbrook
    build dev
    ;;
ci-sanitizers)
    build asan-ubsan --target in_process_tests
    ;;
ci-threads)
    build tsan --target files_unit_tests vdir_unit_tests contract_vdir
    ;;
ci-macos)
    step "bringing the headers of macOS" bash tests/darwin/toolchain.sh build/darwin/tools
    step "bringing the sources of ICU" bash tests/darwin/icu-sources.sh build/darwin/icu
    ;;
esac
exit 0
