#!/bin/bash
# Links the program that check.sh has configured, with the archives of ICU that Homebrew would have and
# stubs of the system's libraries: link.sh FOLDER. The program is FOLDER/quenbrook.
set -eu

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
folder=$(cd "$1" && pwd -P)
libraries=$folder/homebrew/icu4c/lib
export PATH="$folder/tools:$PATH"

quietly() { "$@" >"$folder/link.log" 2>&1 || { cat "$folder/link.log" >&2 && exit 1; }; }

quietly cmake --build "$folder/release" --target quenbrook_program quenbrook_eventkit \
    src/CMakeFiles/quenbrook.dir/main.cpp.o
quietly cmake --build "$folder/dev" --target quenbrook_vdir

# ICU's archives, made anew only for other sources or other tools.
mkdir -p "$folder/icu-build"
(
    cd "$folder/release"
    ninja -t inputs src/quenbrook | grep '\.o$' | grep -v 'data\.o$' |
        xargs python3 "$root/tests/darwin/icu_sources.py" "$folder/icu"
) >"$folder/icu-build/sources"
quietly cmake -S "$root/tests/darwin/icu" -B "$folder/icu-build" -G Ninja \
    --toolchain "$root/tests/darwin/toolchain.cmake" -DQUENBROOK_DARWIN_TOOLS="$folder/tools" \
    -DICU_FOLDER="$folder/icu" -DICU_SOURCES="$folder/icu-build/sources" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_OSX_ARCHITECTURES=arm64 -DCMAKE_OSX_DEPLOYMENT_TARGET=14.0
quietly cmake --build "$folder/icu-build"

for part in uc i18n; do
    cmp -s "$folder/icu-build/libicu$part.a" "$libraries/libicu$part.a" ||
        cp "$folder/icu-build/libicu$part.a" "$libraries"
done
quietly cmake --build "$folder/release" --target quenbrook
cp "$folder/release/src/quenbrook" "$folder/quenbrook"
