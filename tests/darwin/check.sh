#!/bin/bash
# Configures the project as a Mac does, with what Homebrew has and with what it may lack, and looks at
# what CMake made of it: check.sh FOLDER, where the tools are (toolchain.sh). Leaves FOLDER/release to be
# built.
#
# Each source is compiled by itself: what one forgets to include is not to come from another.
set -u

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
folder=$(cd "$1" && pwd -P) || exit
tools=$folder/tools
export PATH="$tools:$PATH"

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# homebrew FOLDER: what Homebrew would have installed, with the headers of Debian's packages.
homebrew() {
    local headers
    mkdir -p "$1/include" "$1/icu4c/include" "$1/icu4c/lib"
    ln -sfn /usr/include/unicode "$1/icu4c/include/unicode"
    for headers in absl nlohmann gtest gmock; do
        [ -d "/usr/include/$headers" ] || fail "The headers of $headers are missing."
        ln -sfn "/usr/include/$headers" "$1/include/$headers"
    done
}
homebrew "$folder/homebrew"
homebrew "$folder/homebrew-shared"
# They need only be there to be found.
touch "$folder/homebrew/icu4c/lib/libicu"{data,uc,i18n}.a
touch "$folder/homebrew-shared/icu4c/lib/libicu"{data,uc,i18n}.dylib

# configure NAME HOMEBREW CMAKE-ARGUMENT…: what CMake has to say goes to a log.
configure() {
    local name=$1 homebrew=$folder/$2
    shift 2
    CMAKE_PREFIX_PATH=$homebrew/icu4c:$homebrew cmake -S "$root" -B "$folder/$name" --fresh \
        --toolchain "$root/tests/darwin/toolchain.cmake" -DQUENBROOK_DARWIN_TOOLS="$tools" \
        -DCMAKE_UNITY_BUILD=OFF -DQUENBROOK_WERROR=ON "$@" >"$folder/$name.log" 2>&1 ||
        fail "$(cat "$folder/$name.log")"
}

# expect WHAT FILE TEXT: the file must hold the text.
expect() {
    grep -qF -- "$3" "$2" || fail "$1: '$3' is not in $2"
}
refuse() {
    ! grep -qF -- "$3" "$2" || fail "$1: '$3' is in $2"
}

# What a formula builds: with no library but those that it links, which are ICU's.
absent=(-DCMAKE_DISABLE_FIND_PACKAGE_absl=ON -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON)
configure shared homebrew-shared --preset release "${absent[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
entitlement=com.apple.security.cs.disable-library-validation
expect "Shared libraries are linked" "$folder/shared/build.ninja" libicuuc.dylib
expect "They may be loaded" "$folder/shared/quenbrook.entitlements" "$entitlement"

configure release homebrew --preset release "${absent[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
refuse "ICU's archives are linked" "$folder/release/build.ninja" libicuuc.dylib
expect "ICU's archives are linked" "$folder/release/build.ninja" libicuuc.a
refuse "No other library may be loaded" "$folder/release/quenbrook.entitlements" "$entitlement"
expect "The program is signed with its entitlements" "$folder/release/build.ninja" \
    "codesign --force --sign - --identifier org.quenbrook.quenbrook --options runtime"
expect "The permission prompt has its text" "$folder/release/Info.plist" \
    NSCalendarsFullAccessUsageDescription

# What ./test builds. Of the tests that run the program, only those over a store of their own.
installed=("-Dabsl_DIR=$(dirname "$(find /usr/lib -name abslConfig.cmake)")"
    "-DGTest_DIR=$(dirname "$(find /usr/lib -name GTestConfig.cmake)")")
configure dev homebrew --preset dev -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON "${installed[@]}" \
    -DCMAKE_CXX_FLAGS_DEBUG=-O0
configure dev-vdir homebrew --preset dev -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON "${installed[@]}" \
    -DQUENBROOK_STORE=vdir
tests() {
    ctest --test-dir "$folder/$1" --show-only | sed -n 's/.*Test *#[0-9]*: \([a-z_]*\)\..*/\1/p' |
        sort -u | tr '\n' ' '
}
[ "$(tests dev)" = "eventkit scripts " ] || fail "The macOS program is run by: $(tests dev)"
[ "$(tests dev-vdir)" = "cli clients conformance docs roundtrip scripts " ] ||
    fail "The embedded store's program is run by: $(tests dev-vdir)"

# finds WHAT MESSAGE: what stands on standard input must be refused, and for that reason.
finds() {
    local found
    found=$("$tools/c++" -x objective-c++ -std=c++20 -fblocks -fno-objc-arc -Wall -Wconversion \
        -Werror -fsyntax-only -I "$root" -isystem "$folder/homebrew/icu4c/include" - 2>&1)
    case $found in
    *"$2"*) ;;
    *) fail "The compiler does not find $1:" "$found" ;;
    esac
}
store=$root/stores/eventkit/EventKitStore.mm
sed 's/calendarsForEntityType/calendarsForEntityTipe/' "$store" |
    finds "a misspelt selector" "calendarsForEntityTipe:' not found"
{ cat "$store" && echo 'int planted(NSArray* list) { return [list count]; }'; } |
    finds "a narrowing" "implicit conversion loses integer precision"

