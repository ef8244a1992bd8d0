#!/usr/bin/env bash
# pipes.sh ... case
#
# The program of redirected.c between pipes, its input in pieces: the same bytes
# come out as with files. The end of a pipe is a failed read, told with the last
# line, and shows nothing.
. "$(dirname "$0")/../../support/targets.sh"
case=$1

in_pieces() {
  head -c 6 "$case.input"
  sleep 0.1  # so that the first read ends between CR and LF
  tail -c +7 "$case.input"
}

say() { "$runner" "$programs/redirected.exe" 2>/dev/null; }

visit() {
  in_pieces | say | cat >out
  sed 's/$/\r/' "$case.expected" | cmp - out || fail "not as with files"
  printf 'one\ntwo\n' | say | tr -d '\r' | sed -n '/^> /,$p' >end
  printf '> 0 3 [one]\n> 1 3 [two]\n> 0 -1 []\n' | cmp - end || fail "the end of a pipe"
}

on_targets
exit $failed
