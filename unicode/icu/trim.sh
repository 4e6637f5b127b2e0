#!/bin/bash
# Writes the assembly of an ICU data library that holds a few items only, and the bytes that it takes in, in
# a file beside it: trim.sh FORMAT STATIC-LIBRARY OUTPUT ITEM…
#
# FORMAT is that of the objects: elf, or mach-o on a Mac. AR, ICUPKG and GENRB name the tools: some of ICU's
# are in /usr/sbin, which an ordinary login's PATH does not have. What shows the inside of an object is OBJCOPY,
# or OTOOL on a Mac; like AR it knows the library's processor, which may be another than this machine's.
#
# Kept to what bash 3.2 knows, the one macOS has.
set -eu

format=$1
library=$2
output=$3
shift 3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/whole" "$work/items/brkitr"

# Prints the bytes of a Mach-O object's data: where they begin and how many they are, otool tells.
machOData() {
    local offset size
    read -r offset size < <("$OTOOL" -l "$1" | awk '
        $1 == "sectname" { wanted = $2 == "__const" }
        wanted && $1 == "size" { size = $2 }
        wanted && $1 == "offset" { print $2, size; exit }')
    tail -c "+$((offset + 1))" "$1" | head -c "$((size))"
}

# The library is one object, all of it bytes, and its name tells ICU's version and byte order.
object=$("$AR" t "$library" | grep '_dat\.')
name=${object%_dat.*}
type=${name#"${name%?}"}
"$AR" p "$library" "$object" >"$work/$object"
case $format in
mach-o) machOData "$work/$object" >"$work/whole/$name.dat" ;;
*) "$OBJCOPY" -O binary -j .rodata "$work/$object" "$work/whole/$name.dat" ;;
esac

for item in "$@"; do
    "$ICUPKG" -x "$item" -d "$work/items" "$work/whole/$name.dat"
    echo "$item"
done >"$work/items.txt"
# ICU's table of ways to break a text names files that are left out here; this one has grapheme
# clusters only.
echo 'root{ boundaries{ grapheme:process(dependency){"char.brk"} } }' >"$work/root.txt"
"$GENRB" -q -s "$work" -d "$work/items/brkitr" root.txt
echo brkitr/root.res >>"$work/items.txt"

# The table has this machine's byte order so far.
"$ICUPKG" -t"$type" -s "$work/items" -a "$work/items.txt" new "$work/$name.dat"
mv "$work/$name.dat" "$output.dat"
symbol=${name%?}_dat
case $format in
mach-o)
    cat <<END
    .section __TEXT, __const
    .p2align 4
    .globl _$symbol
    .private_extern _$symbol
_$symbol:
    .incbin "$output.dat"
END
    ;;
*)
    cat <<END
    .section .rodata
    .balign 16
    .globl $symbol
    .hidden $symbol
    .type $symbol, %object
$symbol:
    .incbin "$output.dat"
    .size $symbol, . - $symbol
    .section .note.GNU-stack, "", %progbits
END
    ;;
esac >"$output"
