#!/usr/bin/env bash
# The dialog on a terminal: its row comes up after half a second, follows the
# job, and is gone at the close, or at the end of the process by a signal.
. "$(dirname "$0")/../../support/tmux.sh"
wine=

last_row_is() {
  for _ in $(seq 150); do
    screen | sed -n 8p | grep -qx -- "$1" && return
    sleep 0.1
  done
  fail "the last row never is: $1"
}
scrolls_all() {
  [ "$(tmux display -p -t "$page" '#{scroll_region_lower}')" = 7 ] || fail "the scrolling is not as before"
}
order() { printf '%s\n' "$@" >&4; }
begin() {
  open_page "$1" 64 8 "'$runner' '$programs/progress_steps.exe' <orders"
  exec 4>orders
}

visit() {
  mkfifo orders
  begin two_jobs
  order 'window 200 Compiling: ' 'at 84' 'counts 2 1 0' 'say begun'
  last_row_is 'Progress of a job: Compiling: 2 errors, 1 warning ███░░░░░ (41%)'
  order 'say one' 'say two' 'say three' 'say four' 'say five' 'say six' 'say seven' 'at 150' 'at 90'
  wait_for '^seven$'
  last_row_is 'Progress of a job: Compiling: 2 errors, 1 warning .* (75%)'
  order 'close' 'say closed'
  wait_for '^closed$' && last_row_is '' && scrolls_all
  # The next one begins where this one ended, and goes when its job is done.
  order 'window 400 ' 'at 20'
  last_row_is 'Progress of a job .* (37%)'
  order 'at 1000'
  last_row_is ''
  exec 4>&-
  wait_for '^STATUS 0'

  begin killed
  order 'window 100 ' 'at 10'
  last_row_is 'Progress of a job .* (10%)'
  kill "$(pgrep -P "$(tmux display -p -t "$page" '#{pane_pid}')" tarnrun)"
  wait_for '^STATUS 143' && scrolls_all
  screen | sed -n 8p | grep Progress && fail "a signal leaves the row"
}

on_targets
exit $failed
