#!/usr/bin/env bash
# library_moved.sh programs-folder finish_image wine
set -euo pipefail
cd "$1"
"$2" --list TARNLIBC64.DLL | sed -n 's/^.* relocate 0x\([0-9a-f]*\).*$/\1/p' >library_moved.txt
exec "$3" ./library_moved.exe library_moved.txt
