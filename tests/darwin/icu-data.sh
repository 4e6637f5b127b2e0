#!/bin/bash
# Makes an archive of ICU's whole data for arm64 macOS, one object as ICU's own build leaves it, of that
# which Debian has: icu-data.sh FOLDER. Leaves an archive alone that is there.
set -eu

folder=$(cd "$1" && pwd -P)
made=$folder/homebrew/icu4c/lib/libicudata.a
[ ! -s "$made" ] || exit 0

archive=$(gcc -print-file-name=libicudata.a)
object=$(ar t "$archive")
name=${object%_dat.*}
symbol=_${name%?}_dat

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ar p "$archive" "$object" >elf.o
objcopy -O binary -j .rodata elf.o data
printf '.const\n.globl %s\n.balign 16\n%s:\n.incbin "data"\n' "$symbol" "$symbol" >data.S
"$folder/tools/c++" -arch arm64 -mmacosx-version-min=14.0 -c data.S -o "${name}_dat.o"
mkdir -p "${made%/*}"
"$folder/tools/ar" cr "$made" "${name}_dat.o"
