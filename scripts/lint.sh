#!/bin/bash
# Checks what no compiler does: format, layering, scripts, static analysis, the
# Debian package. Needs build/dev and build/release.
set -u

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
cd "$root" || exit
failed=0

# report TITLE FINDINGS: fails when there are any.
report() {
    [ -n "$2" ] || return 0
    printf '%s:\n%s\n' "$1" "$2"
    failed=1
}

sources() {
    find "$@" \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' -o -name '*.m' \) -print
}

# forbid FOLDER PATTERN…: the #include lines in FOLDER must match none of the patterns.
forbid() {
    local folder=$1 pattern
    shift
    for pattern in "$@"; do
        report "$folder must not include" "$(
            grep -rnE --include='*.h' --include='*.cpp' --include='*.mm' \
                "^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*[<\"]$pattern" "$folder"
        )"
    done
}

# allow FOLDER HOUSE ROOM…: of what lies below HOUSE, FOLDER may include only these.
allow() {
    local folder=$1 house=$2 room pattern=
    shift 2
    for room in "$@"; do pattern+="|$room"; done
    report "$folder may include of $house only $*" "$(
        grep -rnE --include='*.h' --include='*.cpp' --include='*.mm' "^#include \"$house/" "$folder" |
            grep -vE "\"$house/(${pattern#|})"
    )"
}

# shellcheck disable=SC2046
clang-format --dry-run -Werror $(sources src platform tests) || failed=1

forbid src 'platform/[^>"]*/' 'tests/' 'libical/' 'unicode/' 'nlohmann/'
forbid platform 'src/' 'tests/'
allow platform/icalendar/text platform/icalendar text/
allow platform/icalendar/recurrence platform/icalendar recurrence/
allow platform/icalendar/time platform/icalendar time/ text/ recurrence/
allow platform/icalendar/event platform/icalendar event/ time/ text/ recurrence/
allow platform/vdir platform/icalendar CalendarReader.h CalendarEdit.h
allow platform/evolution platform/icalendar CalendarReader.h CalendarEdit.h EventTexts.h
forbid platform/icalendar 'platform/(vdir|eventkit|evolution)/' 'filesystem>' 'fstream>' 'sys/' 'fcntl\.h' 'dirent\.h'
forbid platform/vdir 'platform/(eventkit|evolution)/' 'libical/' 'unicode/' 'nlohmann/'
forbid platform/eventkit 'platform/(vdir|icalendar|evolution)/' 'libical/' 'nlohmann/'
forbid platform/evolution 'platform/(vdir|eventkit)/' 'libical/' 'libecal/' 'glib' 'unicode/' 'nlohmann/'
report "what the program sees must not include a store's header" "$(
    grep -nE '^#include "platform/[^"]*/' platform/*.h
)"

report "every branch has braces" "$(
    # shellcheck disable=SC2046
    grep -nE '^ *(\} )?(else )?(if|for|while) .*\)$|^ *(\} )?else$' $(sources src platform tests)
)"
report "namespaces open on lines that follow each other" "$(
    # shellcheck disable=SC2046
    awk '/^namespace \{/ && last == "" && before ~ /^namespace/ { print FILENAME ":" FNR }
        { before = last; last = $0 }' $(sources src platform tests)
)"

report "no test is skipped" "$(
    grep -rnE --include='*.h' --include='*.cpp' --include='*.mm' --include='*.py' \
        'GTEST_[S]KIP|DISABLE[D]_|[s]kipTest|unittest\.[s]kip|[S]kipTest' tests
)"

# What a Mac runs keeps to the bash 3.2 that it has.
on_a_mac=(run test scripts/setup.sh scripts/ctest.sh tests/eventkit/check-macos-program.sh)
newer='(declare|local|typeset|readonly) -[a-z]*[Aglnu]|\<(mapfile|readarray|coproc|globstar|lastpipe)\>'
newer+='|\$\{[^}]*(\^|,,|@[A-Za-z]\})|\[-[0-9]+\]|&>>|\|&|;;?&|wait -n|\[\[? -v '
newer+='|%\([^)]*\)T|BASHPID|EPOCH(SECONDS|REALTIME)|\{[a-z_]+\}[<>]|printf -v [a-z_]+\['
report "newer than bash 3.2" "$(
    grep -nE "$newer" "${on_a_mac[@]}" /dev/null
    for script in "${on_a_mac[@]}"; do bash --posix -n "$script" 2>&1; done
)"

shellcheck run test .ci/run scripts/*.sh platform/icu/*.sh packaging/build tests/bench/run \
    tests/evolution/bench/run \
    tests/eventkit/*.sh tests/darwin/*.sh tests/fuzz/smoke tests/fuzz/long tests/fuzz/options \
    packaging/completions/quenbrook.bash || failed=1

# Style is clang-tidy's affair; system headers are not looked for. A cppcheck that can be told how deep
# to look is told to look as deep as one that cannot.
depth=()
if cppcheck --check-level=exhaustive --version >/dev/null 2>&1; then
    depth=(--check-level=exhaustive)
fi
report "cppcheck" "$(
    cppcheck -j "$(getconf _NPROCESSORS_ONLN)" --std=c++20 --language=c++ \
        --enable=warning,performance,portability --inline-suppr --suppress=missingIncludeSystem \
        --quiet ${depth[@]+"${depth[@]}"} -I. platform src 2>&1
)"

# tidy FOLDER CHECKS: clang-tidy's findings in the files that standard input names, read with the options
# of a build.
tidy() {
    xargs -n 1 -P "$(getconf _NPROCESSORS_ONLN)" clang-tidy -p "$1" --quiet --checks="$2" 2>/dev/null
}

# Most checks read over and over what a file includes, so they read the files as build/dev compiles
# them, several as one. The analyzer looks at nothing but the very file that it is given, and it sees
# when that lacks an include.
compiled=$(sed -n "s,.*\"file\": \"\($root/build/dev/[sp].*\)\".*,\1,p" build/dev/compile_commands.json)
report "build/dev does not compile" "$(
    # shellcheck disable=SC2086
    comm -23 <(find src platform -name '*.cpp' | sort) \
        <(sed -n "s,^#include \"$root/\(.*\)\",\1,p" $compiled | sort -u)
)"
report "clang-tidy" "$(tidy build/dev '-clang-analyzer-*,-bugprone-suspicious-include' <<<"$compiled")"
cmake --preset dev -B build/lint -DCMAKE_UNITY_BUILD=OFF >/dev/null || failed=1
report "clang-tidy's analyzer" "$(
    find src platform -name '*.cpp' |
        tidy build/lint "-*,$(grep -o 'clang-analyzer-[a-z]*\.\*' .clang-tidy | paste -s -d ,)"
)"
report "a source is not included" "$(
    grep -rnE '^[[:space:]]*#[[:space:]]*include.*\.(cpp|mm)[>"]' src platform tests
)"

packages=$(mktemp -d) || exit
packaging/build build/release "$packages" &&
    lintian --allow-root --fail-on error,warning "$packages"/*.deb || failed=1
rm -rf "$packages"

exit "$failed"
