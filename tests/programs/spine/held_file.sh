#!/usr/bin/env bash
# One process holds held.txt until a line arrives; a second one is refused and
# loses nothing; after the first one's end a third one opens the file.
. "$(dirname "$0")/../../support/targets.sh"
image=$programs/held_file.exe

visit() {
  mkfifo line
  "$runner" "$image" hold <line >holder.txt &
  exec 3>line
  for _ in $(seq 100); do [ -s holder.txt ] && break; sleep 0.05; done
  "$runner" "$image" second >second.txt
  [ $? = 1 ] && grep -q 'second: refused' second.txt || fail "a second process opened a held file"
  echo go >&3
  exec 3>&-
  wait $!
  printf 'written\r\n' | cmp - held.txt || fail "what was written is lost"
  "$runner" "$image" third | grep -q 'third: opened' || fail "still refused after the holder's end"
}

on_targets
exit $failed
