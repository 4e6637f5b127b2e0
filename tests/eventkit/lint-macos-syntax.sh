#!/bin/sh
# Checks that a file is Objective-C++ for the runtime of macOS, too, as far as its grammar and the
# stand-in's declarations tell: lint-macos-syntax.sh COMPILER FILE OPTION…
#
# The options tell the compiler where the framework's headers are.
set -eu

compiler=$1
file=$2
shift 2
root=$(cd "$(dirname "$0")/../.." && pwd -P)

# A check that finds nothing wrong in what is wrong would be none: the macOS runtime alone knows
# subscripts, so this probe tells that it was really asked for.
for runtime in macosx-14.0 gcc; do
    if printf '%s\n' '#import <Foundation/Foundation.h>' 'id first(NSArray* a) { return a[0]; }' |
        "$compiler" -x objective-c++ -fobjc-runtime=$runtime -fsyntax-only "$@" - 2>/dev/null
    then
        accepted="${accepted:-}$runtime "
    fi
done
if [ "${accepted:-}" != "macosx-14.0 " ]; then
    echo "the compiler does not tell the runtimes apart: '${accepted:-}'" >&2
    exit 1
fi

exec "$compiler" -x objective-c++ -std=c++20 -fblocks -fno-objc-arc -fobjc-exceptions -fexceptions \
    -fobjc-runtime=macosx-14.0 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Wconversion "$@" \
    -I "$root" -I "$root/tests/eventkit/stand-in" "$file"
