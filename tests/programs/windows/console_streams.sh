#!/usr/bin/env bash
# console_streams.sh ... console_streams.exe
#
# Random streams against the model, on consoles of several sizes.
. "$(dirname "$0")/../../support/tmux.sh"
sizes=(90x30 40x8)
for size in "${sizes[@]}"; do
  open_page "$size" "${size%x*}" "${size#*x}" \
    "timeout --foreground 60 '$wine' '$1' 10 $size.result; echo ended >$size.ended"
done
for size in "${sizes[@]}"; do
  for _ in $(seq 600); do [ -f "$size.ended" ] && break; sleep 0.1; done
  wanted="${size%x*} by ${size#*x}: no difference"
  found=$(tr -d '\r' <"$size.result" 2>/dev/null)
  [ "$found" = "$wanted" ] || fail "a console of $size: ${found:-no result}"
done
exit $failed
