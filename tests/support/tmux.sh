# Sourced: programs on real terminals, by tmux. What is done and seen is on the
# page $page of the target $target; each target has a tmux of its own.
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
failed=0
target=none page=none

tmux() { command tmux -L "tarn_$$_$target" -f /dev/null "$@"; }

# open_page PAGE COLUMNS ROWS COMMAND: the page ends with the command's status.
open_page() {
  page=$1
  tmux new-session -d -s "$1" -x "$2" -y "$3" "$4; echo STATUS \$?; sleep 60"
}

screen() { tmux capture-pane -p -t "$page"; }

press() { tmux send-keys -t "$page" "$@"; }

fail() {
  echo "FAILED on $target, $page: $*"
  screen | grep .
  failed=1
  return 1
}

# Waits until the page shows the pattern: each step needs the one before.
wait_for() {
  for _ in $(seq 300); do
    screen | grep -qE -- "$1" && return 0
    sleep 0.05
  done
  fail "the screen never shows: $1"
}

# on_targets TARNRUN WINE: calls visit TARGET RUNNER for tarnrun, and for Wine
# where there is one.
on_targets() {
  target=tarnrun
  visit "$target" "$1"
  tmux kill-server 2>/dev/null
  [[ -z $2 || $2 == *NOTFOUND ]] && return
  target=wine
  visit "$target" "$2"
  tmux kill-server 2>/dev/null
}
