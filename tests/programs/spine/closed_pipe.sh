#!/usr/bin/env bash
# closed_pipe.sh image tarnrun wine
# A program whose reader goes away ends as a filter does; one that asks for the
# state of its stream goes on as long as it likes.
set -uo pipefail
image=$1
shift
failed=0
for runner in "$@"; do
  [ -z "$runner" ] || [[ $runner == *NOTFOUND ]] && continue
  for case in printf:141 console:141 line:141 heeded:3; do
    line=$(timeout 60 "$runner" "$image" "${case%:*}" 2>&1 </dev/null | { head -1; })
    status=$?
    [ "$status" = "${case#*:}" ] && [ "$line" = $'y\r' ] ||
      { echo "FAILED: $case with $runner: '$line', status $status"; failed=1; }
  done
done
exit $failed
