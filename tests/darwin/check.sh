#!/bin/bash
# Configures the project as a Mac does and compiles every source of its program for arm64 macOS, with
# the headers of macOS' C library and of libc++ 16, and with declarations of Apple's frameworks that
# follow the types of the SDK (sdk/): check.sh TOOLCHAIN-FOLDER BUILD-FOLDER
#
# Each source is compiled by itself: what one forgets to include is not to come from another.
#
# Nothing is linked: the libraries of macOS are not to be had here.
set -u

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
tools=$(cd "$1" && pwd -P) || exit
mkdir -p "$2" && folder=$(cd "$2" && pwd -P) || exit
homebrew=$folder/homebrew

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# A compiler and an archiver that CMake finds no different from a Mac's.
cat >"$tools/c++" <<END
#!/bin/sh
exec "$tools/zig" clang --target=arm64-apple-macos14.0 -nostdinc -nostdinc++ \
    -isystem "$tools/lib/libcxx/include" -isystem "$tools/lib/include" \
    -isystem "$tools/lib/libc/include/aarch64-macos.13-none" \
    -isystem "$tools/lib/libc/include/any-macos.13-any" \
    -isystem "$tools/lib/libc/include/any-macos-any" -isystem "$root/tests/darwin/sdk" "\$@"
END
printf '#!/bin/sh\nexec "%s/zig" ar "$@"\n' "$tools" >"$tools/ar"
chmod +x "$tools/c++" "$tools/ar"

# Homebrew's folders, with the headers of Debian's packages and libraries that are only names.
rm -rf "$homebrew"
mkdir -p "$homebrew/include" "$homebrew/icu4c/include" "$homebrew/icu4c/lib"
ln -s /usr/include/unicode "$homebrew/icu4c/include/unicode"
for headers in absl nlohmann gtest gmock; do
    [ -d "/usr/include/$headers" ] || fail "The headers of $headers are missing."
    ln -s "/usr/include/$headers" "$homebrew/include/$headers"
done

# configure NAME CMAKE-ARGUMENT…: what CMake has to say goes to a log.
configure() {
    local name=$1
    shift
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

libraries() {
    local part
    for part in data uc i18n; do
        touch "$homebrew/icu4c/lib/libicu$part.$1"
    done
}

# What a formula builds: with no library but those that it links, which are ICU's.
libraries dylib
absent=(-DCMAKE_DISABLE_FIND_PACKAGE_absl=ON -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON)
configure shared --preset release "${absent[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
entitlement=com.apple.security.cs.disable-library-validation
expect "Shared libraries are linked" "$folder/shared/build.ninja" libicuuc.dylib
expect "They may be loaded" "$folder/shared/quenbrook.entitlements" "$entitlement"

libraries a
configure release --preset release "${absent[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
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
configure dev --preset dev -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON "${installed[@]}" \
    -DCMAKE_CXX_FLAGS_DEBUG=-O0
configure dev-vdir --preset dev -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON "${installed[@]}" \
    -DQUENBROOK_STORE=vdir
tests() {
    ctest --test-dir "$folder/$1" --show-only | sed -n 's/.*Test *#[0-9]*: \([a-z_]*\)\..*/\1/p' |
        sort -u | tr '\n' ' '
}
[ "$(tests dev)" = "eventkit scripts " ] || fail "The macOS program is run by: $(tests dev)"
[ "$(tests dev-vdir)" = "cli conformance docs roundtrip scripts " ] ||
    fail "The embedded store's program is run by: $(tests dev-vdir)"

# finds WHAT MESSAGE: what stands on standard input must be refused, and for that reason.
finds() {
    local found
    found=$("$tools/c++" -x objective-c++ -std=c++20 -fblocks -fno-objc-arc -Wall -Wconversion \
        -Werror -fsyntax-only -I "$root" -isystem "$homebrew/icu4c/include" - 2>&1)
    case $found in
    *"$2"*) ;;
    *) fail "The compiler does not find $1:" "$found" ;;
    esac
}
store=$root/platform/eventkit/EventKitStore.mm
sed 's/calendarsForEntityType/calendarsForEntityTipe/' "$store" |
    finds "a misspelt selector" "calendarsForEntityTipe:' not found"
{ cat "$store" && echo 'int planted(NSArray* list) { return [list count]; }'; } |
    finds "a narrowing" "implicit conversion loses integer precision"

cmake --build "$folder/dev" --target quenbrook_program quenbrook_eventkit quenbrook_vdir \
    src/CMakeFiles/quenbrook.dir/main.cpp.o >"$folder/build.log" || fail "$(cat "$folder/build.log")"
echo "$(find "$folder/dev" -name '*.o' | wc -l) sources compile for arm64 macOS."
