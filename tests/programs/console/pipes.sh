#!/usr/bin/env bash
# pipes.sh redirected.exe case run-folder tarnrun wine
#
# The program of redirected.c between pipes, its input in pieces: the same bytes
# come out as with files. The end of a pipe is a failed read, told with the last
# line, and shows nothing.
set -uo pipefail
image=$1 case=$2 folder=$3 tarnrun=$4 wine=$5
mkdir -p "$folder"
failed=0

in_pieces() {
  head -c 6 "$case.input"
  sleep 0.1  # so that the first read ends between CR and LF
  tail -c +7 "$case.input"
}

run() {
  in_pieces | "$2" "$image" 2>/dev/null | cat >"$folder/$1.out"
  sed 's/$/\r/' "$case.expected" | cmp - "$folder/$1.out" || { echo "FAILED on $1"; failed=1; }
  printf 'one\ntwo\n' | "$2" "$image" 2>/dev/null | tr -d '\r' | sed -n '/^> /,$p' >"$folder/$1.end"
  printf '> 0 3 [one]\n> 1 3 [two]\n> 0 -1 []\n' | cmp - "$folder/$1.end" ||
    { echo "FAILED on $1: the end of a pipe"; failed=1; }
}

run tarnrun "$tarnrun"
[[ -n $wine && $wine != *NOTFOUND ]] && run wine "$wine"
exit $failed
