# Sourced as targets.sh is: programs on real terminals, by tmux. What is done and seen is on the
# page $page; each target has a tmux of its own.
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
. "$(dirname "${BASH_SOURCE[0]}")/targets.sh"
trap 'for target in tarnrun wine; do tmux kill-server 2>/dev/null; done' EXIT
page=none

tmux() { command tmux -u -L "tarn_$$_$target" -f /dev/null "$@"; }

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
