#!/usr/bin/env bash
# Ctrl+C at a terminal: the program's routine takes the first; the second, which
# the routine leaves, ends the program as the system ends it. A failure of the
# routine, on the thread that runs it, is reported.
. "$(dirname "$0")/../../support/tmux.sh"

visit() {
  open_page break 80 24 "trap : INT; '$runner' '$programs/break.exe'"
  wait_for '^none before: 1' && wait_for '^ready' &&
    press C-c && wait_for 'taken' &&
    press C-c && wait_for 'STATUS [0-9]'
  open_page failing 80 24 "trap : INT; '$runner' '$programs/break.exe' fails"
  wait_for '^ready' && press C-c && wait_for '^in on_break in line' &&
    press q && wait_for 'STATUS 0'
}

on_targets
exit $failed
