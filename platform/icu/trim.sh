#!/bin/bash
# Writes the assembly of an ICU data library that holds a few items only:
# trim.sh STATIC-LIBRARY OUTPUT ITEM…
#
# Needs ICU's own tools (icupkg, genrb, genccode) and the binutils on the path.
set -eu

library=$1
output=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/whole" "$work/items/brkitr"

# The library is one object, all of it bytes, and its name tells ICU's version and byte order.
object=$(ar t "$library")
name=${object%_dat.*}
ar p "$library" "$object" >"$work/$object"
objcopy -O binary -j .rodata "$work/$object" "$work/whole/$name.dat"

for item in "$@"; do
    icupkg -x "$item" -d "$work/items" "$work/whole/$name.dat"
    echo "$item"
done >"$work/items.txt"
# ICU's table of ways to break a text names files that are left out here; this one has grapheme
# clusters only.
echo 'root{ boundaries{ grapheme:process(dependency){"char.brk"} } }' >"$work/root.txt"
genrb -q -s "$work" -d "$work/items/brkitr" root.txt
echo brkitr/root.res >>"$work/items.txt"

icupkg -s "$work/items" -a "$work/items.txt" new "$work/$name.dat"
genccode -q -a gcc -e "${name%?}" -d "$work" "$work/$name.dat"
mv "$work/${name}_dat.S" "$output"
