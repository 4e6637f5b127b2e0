#!/bin/bash
# Builds for another processor and tries what was built, before a release:
# scripts/try-cross.sh [--keep FOLDER] arm64|armhf|i386|s390x [RELEASE]
#
# In a root of its own, with the distribution's cross compiler and libraries: makes the packages, which are left
# in build/cross/ARCHITECTURE, and puts their program through the conformance suite; runs the unit and contract
# tests. The processor is qemu's user emulation; i386 is built and run as it is, in a root of its own kind.
# RELEASE is 12 or 13.
set -u

# shellcheck source=scripts/root.sh
. "$(dirname "${BASH_SOURCE[0]}")/root.sh"
sources=/root/quenbrook
failed=0

# try TITLE COMMAND…: runs a command in the sources there, and tells what it took; what it says is shown where
# it fails.
try() {
    local begun=$SECONDS title=$1 said=$log.${1// /-}
    shift
    if inRoot root "$sources" "$@" >"$said" 2>&1; then
        printf 'ok: %s, %d seconds%s\n' "$title" $((SECONDS - begun)) \
            "$(sed -n -e 's/^100% tests passed.* out of \([0-9]*\)$/, \1 tests/p' -e 's/^\([0-9]* cases\).*/, \1/p' "$said")"
    else
        tail -n 40 "$said"
        printf 'FAILED: %s; the log is %s\n' "$title" "$said"
        failed=1
        return 1
    fi
}

folder=
if [ "${1:-}" = --keep ]; then
    folder=${2:?which folder}
    shift 2
fi
architecture=${1:-}
case $architecture in
arm64) emulator=qemu-aarch64-static ;;
armhf) emulator=qemu-arm-static ;;
s390x) emulator=qemu-s390x-static ;;
i386) emulator= ;;
*) fail "which processor, arm64, armhf, i386 or s390x?" ;;
esac
output=$tree/build/cross/$architecture
rm -rf "$output"
mkdir -p "$output" || exit
log=$output/log

foreign=()
[ -n "$emulator" ] || foreign=(--arch="$architecture")
makeRoot "$folder" "${2:-12}" "$log.root" ${foreign[@]+"${foreign[@]}"}
mkdir "$machine$sources" && git -C "$tree" archive HEAD | tar -x -C "$machine$sources" || exit

# apt TITLE ARGUMENT…
apt() {
    try "$1" env DEBIAN_FRONTEND=noninteractive apt-get -y --no-install-recommends "${@:2}" || exit 1
}
[ -z "$emulator" ] || chroot "$machine" dpkg --add-architecture "$architecture" || exit
apt lists update
apt tools install dpkg-dev python3 ${emulator:+qemu-user-static "crossbuild-essential-$architecture"}
# For a foreign processor the libraries of the tests are left out.
apt libraries build-dep --host-architecture="$architecture" "$sources"
apt "libraries of the tests" install "libgtest-dev:$architecture" "libgmock-dev:$architecture"

# Without CC it compares with this machine's compiler, and warns.
processor=$(CC=true chroot "$machine" dpkg-architecture -a "$architecture" -q DEB_HOST_GNU_CPU)
compiler=$(CC=true chroot "$machine" dpkg-architecture -a "$architecture" -q DEB_HOST_GNU_TYPE)-g++
options=(-DQUENBROOK_TESTS=unit -DQUENBROOK_STATIC_ICU=ON -DQUENBROOK_WERROR=ON -DCMAKE_UNITY_BUILD=ON
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG='-O1 -g1' -DCMAKE_CXX_COMPILER="$compiler"
    -DPKG_CONFIG_EXECUTABLE="/usr/bin/${compiler%g++}pkg-config")
if [ -n "$emulator" ]; then
    options+=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$processor"
        -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator")
fi
# An emulator has its own word on standard error where a process ends by a signal, which is where there must be
# none.
try configure cmake -G Ninja -B build/cross "${options[@]}" && try build cmake --build build/cross &&
    try tests ctest --test-dir build/cross -j"$(getconf _NPROCESSORS_ONLN)" --output-on-failure \
        ${emulator:+--exclude-regex 'EndsTheProcess|EndTheProcess'}

# The suite starts a program by its path. Of what it finds, an emulator's own word is no fault.
# shellcheck disable=SC2016
if try packages env DEB_BUILD_OPTIONS=nocheck packaging/build --linux build/packages --host-arch="$architecture" &&
    cp "$machine$sources"/build/packages/* "$output" &&
    dpkg-deb -x "$output"/quenbrook_*.deb "$machine$sources/build/installed"; then
    printf '#!/bin/sh\nexec %s %s/build/installed/usr/bin/quenbrook-vdir "$@"\n' "$emulator" "$sources" \
        >"$machine$sources/build/program" && chmod +x "$machine$sources/build/program" &&
        try conformance bash -c 'python3 -B tests/conformance/over.py vdir build/program | tee build/conformance
            faults=$(grep "^FAILED" build/conformance | { [ -z "$1" ] && cat || grep -v "ends by a signal"; })
            grep -q " cases, " build/conformance && [ -z "$faults" ]' conformance "$emulator"
fi
[ $failed = 0 ]
