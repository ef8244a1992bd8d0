#!/usr/bin/env bash
# Runs a program with a console: on a terminal of its own, whose output is
# dropped, while the program's goes where this script's goes.
#
#   on_console.sh PROGRAM ARGUMENTS...
set -u
output=$(mktemp)
trap 'rm -f "$output"' EXIT
export TERM=xterm-256color
script -qec "stty rows 24 cols 80; $(printf '%q ' "$@") >$(printf '%q' "$output")" /dev/null </dev/null >/dev/null
status=$?
cat "$output"
exit $status
