#!/usr/bin/env bash
# progress_row.sh progress_steps.exe run-folder tarnrun
#
# The dialog on a terminal: its row comes up after half a second, follows the
# job, and is gone at the close, or at the end of the process by a signal.
set -uo pipefail
image=$1 folder=$2 tarnrun=$3
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
mkfifo orders
tmux() { command tmux -u -S "$folder/socket" -f /dev/null "$@"; }
trap 'tmux kill-server' EXIT

screen() { tmux capture-pane -p; }
fail() {
  echo "FAILED: $*"
  screen
  exit 1
}
until_true() {
  for _ in $(seq 150); do
    "$@" && return
    sleep 0.1
  done
  fail "never true: $*"
}
last_row_is() { screen | sed -n 8p | grep -qx -- "$1"; }
shows() { screen | grep -qx -- "$1"; }
scrolls_all() { [ "$(tmux display -p '#{scroll_region_lower}')" = 7 ]; }
order() { printf '%s\n' "$@" >&4; }
begin() {
  tmux respawn-pane -k "$(printf '%q %q <orders; echo status $?; read' "$tarnrun" "$image")"
  exec 4>orders
}

tmux new-session -d -x 64 -y 8 'cat' || exit 1
begin
order 'window 200 Compiling: ' 'at 84' 'counts 2 1 0' 'say begun'
until_true last_row_is 'Progress of a job: Compiling: 2 errors, 1 warning ███░░░░░ (41%)'
order 'say one' 'say two' 'say three' 'say four' 'say five' 'say six' 'say seven' 'at 150' 'at 90'
until_true shows seven
until_true last_row_is 'Progress of a job: Compiling: 2 errors, 1 warning .* (75%)'
order 'close' 'say closed'
until_true shows closed
last_row_is '' || fail "the row stays"
scrolls_all || fail "the terminal doesn't scroll as before"
# The next one begins where this one ended, and goes when its job is done.
order 'window 400 ' 'at 20'
until_true last_row_is 'Progress of a job .* (37%)'
order 'at 1000'
until_true last_row_is ''
exec 4>&-
until_true shows 'status 0'

begin
order 'window 100 ' 'at 10'
until_true last_row_is 'Progress of a job .* (10%)'
kill "$(pgrep -P "$(tmux display -p '#{pane_pid}')" tarnrun)"
until_true shows 'status 143'
scrolls_all || fail "a signal leaves the row taken"
last_row_is 'Progress.*' && fail "a signal leaves the row"
echo passed
