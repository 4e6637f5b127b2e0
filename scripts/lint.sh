#!/bin/bash
# Checks what no compiler does: format, layering, scripts, static analysis. Needs build/dev to be
# configured.
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

# includes FILES-OR-FOLDER… PATTERN: the #include lines there that match.
includes() {
    local pattern=${*: -1}
    grep -rnE --include='*.h' --include='*.cpp' --include='*.mm' \
        "^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*$pattern" "${@:1:$#-1}"
}

# arrows ROOM WHAT…: beside its own headers, a room may include these of the house and no others.
arrows() {
    local room=$1 allowed
    allowed="\"($(IFS='|' && echo "$*"))"
    report "$room may include only ${*:2}" "$(includes "$room" '"' | grep -vE "$allowed")"
}

# outside PATTERN ROOM…: only these rooms may include a library's headers.
outside() {
    report "only ${*:2} may include $1" "$(
        includes "${rooms[@]}" "<$1" | grep -vE "^($(IFS='|' && echo "${*:2}"))/"
    )"
}

rooms=(src stores model icalendar files json unicode)

# shellcheck disable=SC2046
clang-format --dry-run -Werror $(sources "${rooms[@]}" tests) || failed=1

face='[^/"]*"'
arrows src "stores/$face" model/ json/ "unicode/$face"
for store in stores/vdir stores/evolution stores/eventkit; do
    arrows "$store" "stores/$face" model/ "icalendar/$face" files/ "unicode/$face"
done
report "stores/*.h may include only model/" "$(includes stores/*.h '"' | grep -vE '"model/')"
arrows icalendar model/ "unicode/$face"
arrows icalendar/text "unicode/$face"
arrows icalendar/recurrence icalendar/time/LocalTime.h icalendar/time/TimeText.h "unicode/$face"
arrows icalendar/time icalendar/text/ icalendar/recurrence/ "unicode/$face"
arrows icalendar/event icalendar/time/ icalendar/text/ icalendar/recurrence/ model/ "unicode/$face"
arrows icalendar/stream icalendar/event/ icalendar/time/ icalendar/text/ icalendar/recurrence/ model/ "unicode/$face"
for room in model files json unicode; do
    arrows "$room"
done
outside unicode/ unicode stores/eventkit
outside nlohmann/ json
outside absl/ icalendar
outside dbus/ stores/evolution
report "icalendar/ knows no directory and no file" "$(
    includes icalendar '<(sys/|fcntl|dirent|unistd|fstream)'
)"

report "every branch has braces" "$(
    # shellcheck disable=SC2046
    grep -nE '^ *(\} )?(else )?(if|for|while) .*\)$|^ *(\} )?else$' $(sources "${rooms[@]}" tests)
)"
report "namespaces open on lines that follow each other" "$(
    # shellcheck disable=SC2046
    awk '/^namespace \{/ && last == "" && before ~ /^namespace/ { print FILENAME ":" FNR }
        { before = last; last = $0 }' $(sources "${rooms[@]}" tests)
)"

report "no test is skipped" "$(
    grep -rnE --include='*.h' --include='*.cpp' --include='*.mm' --include='*.py' \
        'GTEST_[S]KIP|DISABLE[D]_|[s]kipTest|unittest\.[s]kip|[S]kipTest' tests
)"

# What a Mac runs keeps to the bash 3.2 that it has.
on_a_mac=(run test scripts/setup.sh scripts/ctest.sh unicode/icu/trim.sh tests/eventkit/check-macos-program.sh)
newer='(declare|local|typeset|readonly) -[a-z]*[Aglnu]|\<(mapfile|readarray|coproc|globstar|lastpipe)\>'
newer+='|\$\{[^}]*(\^|,,|@[A-Za-z]\})|\[-[0-9]+\]|&>>|\|&|;;?&|wait -n|\[\[? -v '
newer+='|%\([^)]*\)T|BASHPID|EPOCH(SECONDS|REALTIME)|\{[a-z_]+\}[<>]|printf -v [a-z_]+\['
report "newer than bash 3.2" "$(
    grep -nE "$newer" "${on_a_mac[@]}" /dev/null
    for script in "${on_a_mac[@]}"; do bash --posix -n "$script" 2>&1; done
)"

shellcheck run test .ci/run scripts/*.sh unicode/icu/*.sh packaging/build packaging/try debian/linked \
    tests/bench/run \
    tests/evolution/bench/run tests/evolution/long \
    tests/eventkit/*.sh tests/darwin/*.sh tests/darwin/run tests/fuzz/smoke tests/fuzz/long tests/fuzz/options \
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
        --quiet ${depth[@]+"${depth[@]}"} -I. "${rooms[@]}" 2>&1
)"

# The files as build/dev compiles them, several as one: most checks read over and over what a file includes.
# clang-tidy's analyzer looks at nothing but the very file that it is given; `cmake --preset tidy` has it, too.
compiled=$(sed -n "s,.*\"file\": \"\($root/build/dev/[^t].*\)\".*,\1,p" build/dev/compile_commands.json)
report "build/dev does not compile" "$(
    # shellcheck disable=SC2086
    comm -23 <(find "${rooms[@]}" -name '*.cpp' | sort) \
        <(sed -n "s,^#include \"$root/\(.*\)\",\1,p" $compiled | sort -u)
)"
report "clang-tidy" "$(
    xargs -n 1 -P "$(getconf _NPROCESSORS_ONLN)" clang-tidy -p build/dev --quiet \
        --checks=-clang-analyzer-*,-bugprone-suspicious-include <<<"$compiled" 2>/dev/null
)"
report "a source is not included" "$(
    grep -rnE '^[[:space:]]*#[[:space:]]*include.*\.(cpp|mm)[>"]' "${rooms[@]}" tests
)"

exit "$failed"
