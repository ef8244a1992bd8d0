#!/usr/bin/env bash
# Builds, and prints one table: each row the library against a named peer, as
# a ratio of times (ours / peer) with the limit it is held to.
set -uo pipefail
cd "$(dirname "$0")"
scripts/setup.sh --check 2>/dev/null || scripts/setup.sh || exit 1
./build.sh || exit 1
. scripts/wine_environment.sh
status=0
host=build/host programs=build/windows/programs
"$host/bench/library_bench" || status=1
"$host/bench/number_bench" || status=1
"$host/bench/console_bench" || status=1
"$host/bench/parallel_bench" || status=1
"$host/bench/compression_bench" || status=1
"$host/bench/sort_bench" || status=1
if [ -d "$programs" ]; then
  "$host/bench/start_time" "tarnrun, empty program" 3.0 200 \
    "$host/tools/tarnrun/tarnrun" "$programs/empty_program.exe" -- "$host/bench/empty_native" || status=1
  "$host/bench/start_time" "memcpy, memset of 8 to 32 bytes" 1.2 9 \
    "$host/tools/tarnrun/tarnrun" "$programs/small_blocks.exe" 30000000 -- \
    "$host/bench/small_blocks_native" 30000000 || status=1
  # The text of a report of ten frames, by the difference of 1 and 201 of them.
  nanoseconds() {
    local start
    start=$(date +%s%N)
    "$host/tools/tarnrun/tarnrun" "$programs/report_time.exe" "$1" >/dev/null || status=1
    echo $(($(date +%s%N) - start))
  }
  report=$((($(nanoseconds 201) - $(nanoseconds 1)) / 200000))
  printf '%-34s %-24s %10s\n' "report, ten frames, as text" "(microseconds; aim 2000)" "$report"
  if [ -n "$wine" ]; then
    keep_wine_server
    (cd "$programs" && "$wine" heap_on_windows.exe 2>/dev/null | tr -d '\r') || status=1
    "$host/bench/start_time" "Wine, empty program" 1.5 40 \
      wine "$programs/empty_program.exe" -- wine "$programs/empty_mingw.exe" || status=1
  fi
fi
exit $status
