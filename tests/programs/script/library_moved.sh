#!/usr/bin/env bash
# library_moved.sh ... finish_image
. "$(dirname "$0")/../../support/targets.sh"
cd "$programs" || exit 1
"$1" --list TARNLIBC64.DLL | sed -n 's/^.* relocate 0x\([0-9a-f]*\).*$/\1/p' >library_moved.txt
exec "$wine" ./library_moved.exe library_moved.txt
