#!/usr/bin/env bash
# Ctrl+C at a terminal: the program's routine takes the first; the second, which
# the routine leaves, ends the program as the system ends it. A failure of the
# routine, on the thread that runs it, is reported. The same with signal in hosted
# programs.
. "$(dirname "$0")/../../support/tmux.sh"

start() {
  local name=$1
  shift
  open_page "$name" 80 24 "trap : INT; '$runner' '$programs'/$*"
}

# set NAME: what SIGINT does from now on.
set_to() { press "$1" Enter && wait_for "^set \[$1\]"; }

visit() {
  start break break.exe
  start failing break.exe fails
  start leaving interrupts.exe
  start jumping interrupts.exe
  start ending interrupts.exe

  page=break
  wait_for '^none before: 1' && wait_for '^ready' &&
    press C-c && wait_for 'taken' &&
    press C-c && wait_for 'STATUS [0-9]'
  page=failing
  wait_for '^ready' && press C-c && wait_for '^in on_break in line' &&
    press q && wait_for 'STATUS 0'
  page=leaving
  wait_for '^>' && press C-c && set_to ignore && press C-c && set_to take &&
    press C-c && wait_for 'aken 2 1' && set_to leave && press C-c && wait_for 'STATUS 2'
  page=jumping
  wait_for '^>' && set_to jump && press C-c && wait_for '^in jump in line' &&
    press q && wait_for 'STATUS 0'
  page=ending
  wait_for '^>' && set_to default && press C-c && wait_for 'STATUS [0-9]'
  screen | grep -q taken && fail "SIGBREAK's handler takes SIGINT"
}

on_targets
exit $failed
