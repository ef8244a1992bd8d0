#!/usr/bin/env bash
# A program whose reader goes away ends as a filter does; one that asks for the
# state of its stream goes on as long as it likes.
. "$(dirname "$0")/../../support/targets.sh"

visit() {
  for case in printf:141 console:141 line:141 heeded:3; do
    line=$(timeout 60 "$runner" "$programs/closed_pipe.exe" "${case%:*}" 2>&1 </dev/null | { head -1; })
    status=$?
    [ "$status" = "${case#*:}" ] && [ "$line" = $'y\r' ] || fail "$case: '$line', status $status"
  done
}

on_targets
exit $failed
