#!/usr/bin/env bash
# terminal.sh programs-folder run-folder tarnrun wine
#
# The console on a real terminal: the tour's pages, its pause and its input, lines
# and keys. What the terminal shows on both targets must be the same.
set -uo pipefail
programs=$1 folder=$2 tarnrun=$3 wine=$4
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
failed=0

screen() { tmux -L "$socket" capture-pane -p -t "$page"; }

fail() {
  echo "FAILED on $target, $page: $1"
  screen | grep .
  failed=1
  return 1
}

wait_for() {
  for _ in $(seq 300); do
    screen | grep -qE -- "$1" && return 0
    sleep 0.05
  done
  fail "the screen never shows: $1"
}

press() { tmux -L "$socket" send-keys -t "$page" "$@"; }

# start page program [argument...]: in a terminal of 80 by 25
start() {
  page=$1
  shift
  tmux -L "$socket" -f /dev/null new-session -d -s "$page" -x 80 -y 25 \
    "before=\$(stty -g); '$runner' '$programs'/$*; echo STATUS \$?
     [ \"\$before\" = \"\$(stty -g)\" ] || echo the terminal is not as it was; sleep 60"
}

# Keeps what the page shows, to be compared.
keep() { screen >>"$target.$page"; }

run() {
  target=$1 runner=$2
  socket=tarn_console_$$_$target
  # All begin at once: a start under Wine takes a while.
  start boxes console_tour.exe boxes
  start input console_tour.exe colours lines input
  start pause console_tour.exe pause
  start answers answers.exe

  page=boxes
  wait_for '^STATUS 0' && keep

  page=pause
  wait_for '\*\*\* PAUSED - Press any key to continue \(ESC to quit\) \*\*\*' && keep
  press Up && wait_for '^row 66' && wait_for 'PAUSED' && keep
  press Escape && wait_for '^STATUS 0' && keep
  screen | grep -q PAUSED && fail "the pause stays"

  page=input
  wait_for '^Your name:' && press Ada Enter && wait_for '^STATUS 0' && keep

  page=answers
  wait_for '^line\? *$' && press one Enter && wait_for '^0 3 \[one\]'
  press Enter && wait_for '^0 0 \[\]'
  press "longer than twenty bytes" Enter && wait_for '^0 20 \[longer than twenty b\]'
  wait_for '^line. 0 4 \[ytes\]'
  wait_for '^key\?' && press a && wait_for '^key 97' && press F5 && wait_for '^key 0'
  wait_for '^STATUS 0' && keep

  for page in boxes input pause answers; do
    screen | grep -q 'not as it was' && fail "the terminal is not restored"
  done
  tmux -L "$socket" kill-server 2>/dev/null
}

run tarnrun "$tarnrun"
if [[ -n $wine && $wine != *NOTFOUND ]]; then
  run wine "$wine"
  for page in boxes input pause answers; do
    diff "tarnrun.$page" "wine.$page" || { echo "FAILED: $page differs"; failed=1; }
  done
fi
exit $failed
