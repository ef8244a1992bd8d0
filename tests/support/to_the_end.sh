#!/usr/bin/env bash
# Runs a program of tests, and fails if it ends before its last test, with whatever
# status: a failure that the library reports ends a program with status 0.
#
#   to_the_end.sh PROGRAM ARGUMENTS...
set -u
export TEST_PREMATURE_EXIT_FILE=$PWD/unfinished.$$ # GoogleTest takes it away at the end
"$@"
status=$?
if [ -e "$TEST_PREMATURE_EXIT_FILE" ]; then
  rm "$TEST_PREMATURE_EXIT_FILE"
  echo "The program ended before its last test, with status $status."
  exit 1
fi
exit $status
