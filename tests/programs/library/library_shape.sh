#!/usr/bin/env bash
# library_shape.sh TARNLIBC64.DLL docs/exports.md export_list finish_image
#
# What the DLL promises to those who load it: imports from the system and the
# sibling library only, no relocations for the system to apply, the mark of a
# finished image, a script that does the relocations, and every name of the
# reference list.
set -uo pipefail
export LC_ALL=C # names have bytes of no encoding
dll=$1 list=$2 export_list=$3 finish_image=$4
headers=$(x86_64-w64-mingw32-objdump -p "$dll")
failed=0
fail() {
  echo "FAILED: $*"
  failed=1
}

imports=$(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$headers" | tr a-z A-Z | sort | tr '\n' ' ')
[ "$imports" = "KERNEL32.DLL PANEVIEW64.DLL " ] || fail "imports from $imports"

grep -Eq "^Entry 5 0+ 0+ Base Relocation" <<<"$headers" ||
  fail "the relocation directory is not empty: $(grep "^Entry 5" <<<"$headers")"

grep -q 'relocations stripped' <<<"$headers" && fail "the DLL cannot be loaded at another base"

x86_64-w64-mingw32-objdump -h "$dll" | grep -A1 ' \.rdata ' | grep -q READONLY ||
  fail "its constants are writable"

[ "$(dd if="$dll" bs=1 skip=16 count=11 2>/dev/null)" = BRACKENMOOR ] || fail "no mark"

relocations=$("$finish_image" --list "$dll" | grep -ci relocate)
[ "$relocations" -gt 400 ] || fail "the script relocates $relocations cells only"

diff "$list" <("$export_list" --markdown) >/dev/null ||
  fail "docs/exports.md is not what the table says; make it anew: export_list --markdown > docs/exports.md"
wanted=$(grep -c '^- ' "$list")
found=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$headers" | grep -c '^[[:space:]]*\[ *[0-9]')
[ "$wanted" = "$found" ] || fail "$found names are exported, $wanted are listed"
exit $failed
