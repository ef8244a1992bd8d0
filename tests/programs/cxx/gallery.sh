#!/usr/bin/env bash
# gallery.sh ... gallery.cpp gallery.expected
#
# Each failure of the gallery at -O0 and -O2 on both targets: the head of the report and
# its first two frames, which are the program's, with the same lines in all four runs.
. "$(dirname "$0")/../../support/targets.sh"
source=$1 expected=$2
names=$(grep -o '{"[a-z]*", ' "$source" | tr -d '{", ')

visit() {
  local level name
  for level in 0 2; do
    for name in $names; do
      timeout 60 "$runner" "$programs/cpp_gallery_$level.exe" "$name" </dev/null >report 2>&1
      [ $? = 1 ] || fail "$name -O$level: the exit status"
      echo "$name"
      tr -d '\r' <report | sed -n '3s/ at address [0-9a-f]*$//p'
      tr -d '\r' <report | sed -n 's/^in \(.*\) in line \([0-9]*\), at .*/  \2 \1/p' |
        grep -v '^  [0-9]* main' | head -2
    done >shown
    diff "$expected" shown || fail "the reports at -O$level"
  done
}

on_targets
exit $failed
