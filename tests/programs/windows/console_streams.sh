#!/usr/bin/env bash
# console_streams.sh console_streams.exe run-folder wine
#
# Random streams against the model, on consoles of several sizes.
set -uo pipefail
program=$1 folder=$2 wine=$3
command -v tmux >/dev/null || { echo "Skipped: no tmux"; exit 77; }
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
socket=tarn_streams_$$
failed=0
sizes=(90x30 40x8)
for size in "${sizes[@]}"; do
  tmux -L "$socket" -f /dev/null new-session -d -s "$size" -x "${size%x*}" -y "${size#*x}" \
    "timeout --foreground 60 '$wine' '$program' 10 $size.result; echo ended >$size.ended"
done
for size in "${sizes[@]}"; do
  for _ in $(seq 600); do
    [ -f "$size.ended" ] && break
    sleep 0.1
  done
  wanted="${size%x*} by ${size#*x}: no difference"
  found=$(tr -d '\r' <"$size.result" 2>/dev/null)
  [ "$found" = "$wanted" ] || { echo "FAILED on a console of $size: ${found:-no result}"; failed=1; }
done
tmux -L "$socket" kill-server 2>/dev/null
exit $failed
