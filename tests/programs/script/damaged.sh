#!/usr/bin/env bash
# damaged.sh programs folder finish_image tarnrun wine
#
# A DLL with an unknown opcode where its script begins: one line names the image, the
# address and what it was doing, and the status is 1.
set -uo pipefail
programs=$1 folder=$2 finish_image=$3 tarnrun=$4 wine=$5
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
dll=script_early_part.dll
cp "$programs"/{TARNLIBC64.DLL,PANEVIEW64.DLL,script_early.exe,$dll} .
script=$((16#$("$finish_image" --list $dll | head -1 | cut -c 1-8)))
read -r start raw < <(x86_64-w64-mingw32-objdump -h $dll |
  awk '$2 == ".tarnscr" { print $4, $6 }')
base=$(x86_64-w64-mingw32-objdump -p $dll | awk '/^ImageBase/ { print $2 }')
printf '\377' | dd of=$dll bs=1 conv=notrunc status=none \
  seek=$((script - (16#$start - 16#$base) + 16#$raw))

failed=0
for runner in "$tarnrun" "$wine"; do
  [[ -z $runner || $runner == *NOTFOUND ]] && continue
  timeout 60 "$runner" script_early.exe >out 2>err </dev/null
  status=$?
  said=$(tr -d '\r' <err | sed 's/at address [0-9a-f]\{5,\}/at address ADDRESS/')
  if [ $status != 1 ] || [ -s out ] || [ "$said" != "$dll: Attempt to execute privileged \
instruction (c0000096) at address ADDRESS in its start-up script, before the library was up: Within file $dll" ]; then
    echo "FAILED: $runner: status $status, says: $said $(cat out)"
    failed=1
  fi
done
exit $failed
