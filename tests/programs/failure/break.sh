#!/usr/bin/env bash
# break.sh break.exe run-folder tarnrun wine
#
# Ctrl+C at a terminal: the program's routine takes the first; the second, which
# the routine leaves, ends the program as the system ends it.
set -uo pipefail
image=$1 folder=$2 tarnrun=$3 wine=$4
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
mkdir -p "$folder"
failed=0

wait_for() {
  for _ in $(seq 150); do
    tmux -L "$socket" capture-pane -p -t break | grep -qE -- "$1" && return 0
    sleep 0.1
  done
  echo "FAILED on $target: the screen never shows: $1"
  tmux -L "$socket" capture-pane -p -t break | grep .
  failed=1
  return 1
}

run() {
  target=$1
  socket=tarn_break_$$_$target
  tmux -L "$socket" -f /dev/null new-session -d -s break -x 80 -y 24 \
    "trap : INT; '$2' '$image'; echo STATUS \$?; sleep 60"
  wait_for '^none before: 1' && wait_for '^ready' &&
    tmux -L "$socket" send-keys -t break C-c && wait_for 'taken' &&
    tmux -L "$socket" send-keys -t break C-c && wait_for 'STATUS [0-9]'
  tmux -L "$socket" kill-server 2>/dev/null
}

run tarnrun "$tarnrun"
[[ -n $wine && $wine != *NOTFOUND ]] && run wine "$wine"
exit $failed
