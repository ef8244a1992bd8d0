#!/usr/bin/env bash
# held_file.sh image folder tarnrun wine
# One process holds held.txt until a line arrives; a second one is refused and
# loses nothing; after the first one's end a third one opens the file.
set -uo pipefail
image=$1 folder=$2 tarnrun=$3 wine=$4
failed=0
for runner in "$tarnrun" ${wine:+"$wine"}; do
  [[ $runner == *NOTFOUND ]] && continue
  rm -rf "$folder" && mkdir -p "$folder" && cd "$folder" || exit 1
  mkfifo line
  "$runner" "$image" hold <line >holder.txt &
  holder=$!
  exec 3>line
  for _ in $(seq 100); do [ -s holder.txt ] && break; sleep 0.05; done
  "$runner" "$image" second >second.txt
  status=$?
  [ "$status" = 1 ] && grep -q 'second: refused' second.txt ||
    { echo "FAILED: $runner let a second process open a held file"; failed=1; }
  echo go >&3
  exec 3>&-
  wait $holder
  printf 'written\r\n' | cmp - held.txt || { echo "FAILED: $runner lost what was written"; failed=1; }
  "$runner" "$image" third | grep -q 'third: opened' ||
    { echo "FAILED: $runner still refuses after the holder's end"; failed=1; }
done
exit $failed
