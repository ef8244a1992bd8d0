#!/usr/bin/env bash
# The console on a real terminal: the tour's pages, its pause and its input, lines
# and keys. What the terminal shows on both targets must be the same.
. "$(dirname "$0")/../../support/tmux.sh"

# start page program [argument...]: in a terminal of 80 by 25. Wine's own console
# process gives the terminal its modes back, which may be after the program's end.
start() {
  local page=$1
  shift
  open_page "$page" 80 25 "before=\$(stty -g); '$runner' '$programs'/$*; status=\$?
    for i in 1 2 3 4 5 6 7 8 9; do [ \"\$before\" = \"\$(stty -g)\" ] && break; sleep 0.2; done
    [ \"\$before\" = \"\$(stty -g)\" ] || echo the terminal is not as it was; (exit \$status)"
}

# Keeps what the page shows, to be compared.
keep() { screen >>"$page"; }

visit() {
  # All begin at once: a start under Wine takes a while.
  start boxes console_tour.exe boxes
  start input console_tour.exe colours lines input
  start pause console_tour.exe pause
  start answers answers.exe go
  start keys keys.exe

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
  wait_for '^line\? *$' && press größe Enter && wait_for '^0 5 \[größe\]'
  wait_for '^working' && press 'aheaad' BSpace BSpace d Enter
  sleep 0.3
  screen | grep ahead && fail 'what is typed ahead is echoed'
  touch go
  wait_for '^line\? ahead' && wait_for '^0 5 \[ahead\]'
  press Enter && wait_for '^0 0 \[\]'
  press "longer than twenty bytes" Enter && wait_for '^0 20 \[longer than twenty b\]'
  wait_for '^line. 0 4 \[ytes\]'
  wait_for '^key\?' && press a && wait_for '^key 97' && press F5 && wait_for '^key 0'
  wait_for '^╔═╗ past the cells'
  wait_for '^STATUS 0' && keep

  page=keys
  wait_for '^key\?' && press a F5 && wait_for '^polling' && sleep 0.3 && press Up x &&
    wait_for '224 72' && press line Enter && wait_for '^größe\?' &&
    press longer Enter && wait_for '^long 4' && press € ö Up && wait_for '^ö' &&
    press '2 abcde' Enter 9 Enter && wait_for '^20ac' && wait_for '^enter\?' && press Enter &&
    wait_for '^again\?' && press Enter && wait_for '^STATUS 0' && keep

  for page in boxes input pause answers keys; do
    screen | grep -q 'not as it was' && fail "the terminal is not restored"
  done
}

on_targets
[ -z "$wine" ] || diff -r "$folder/tarnrun" "$folder/wine" || fail "not the same on both"
exit $failed
