#!/usr/bin/env bash
# torture.sh tests host-build windows-build run-folder wine
#
# GCC's own execution tests as hosted programs: each ends with status 0 by tarnrun and
# under Wine, and prints the same. Every 8th at -O2; with TARN_EVERY_TORTURE=1 each at
# -O0, -O1, -O2, -O3 and -Os.
set -uo pipefail
tests=$1 host=$2 windows=$3 folder=$4 wine=$5
tarncc=$folder/prefix/bin/tarncc tarnrun=$folder/prefix/bin/tarnrun
[ -d "$tests" ] || { echo "GCC's tests are not there; scripts/fetch_gcc_tests.sh brings them"; exit 77; }

# Not for this target, or not for any Windows: what each wants.
declare -A left_out=(
  [20010129-1]="-march=i686" [20101011-1]="-mcheck-zero-division" [nest-align-1]="-mno-eabi"
  [loop-2f]="sys/mman.h" [loop-2g]="sys/mman.h"
  [comp-goto-1]="a pointer in 32 bits" [pr36339]="a pointer in long"
  [930529-1]="four thousand million turns"
)
step=8 levels=(-O2)
[ "${TARN_EVERY_TORTURE:-0}" = 1 ] && step=1 levels=(-O0 -O1 -O2 -O3 -Os)
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1

one() {
  local source=$1 level=$2 name options
  name=$(basename "$source" .c)$level
  options=$(grep -ohE 'dg-(additional-)?options "[^"]*"' "$source" | sed 's/.*"\(.*\)"/\1/')
  "$tarncc" --hosted --no-dlls -w $level $options "$source" -o "$name.exe" >"$name.log" 2>&1 ||
    { echo "FAILED $name: $(head -n 3 "$name.log")"; return; }
  timeout 60 "$tarnrun" "$name.exe" </dev/null >"$name.host" 2>"$name.log" ||
    echo "FAILED $name by tarnrun: status $? $(head -n 3 "$name.log")"
  timeout 60 "$wine" "$name.exe" </dev/null >"$name.wine" 2>"$name.log" ||
    echo "FAILED $name under Wine: status $? $(head -n 3 "$name.log")"
  cmp -s "$name.host" "$name.wine" || echo "FAILED $name: the outputs differ"
  rm -f "$name".*
}
export -f one
export tarncc tarnrun wine

for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$folder/prefix" >/dev/null || exit 1
done
cp prefix/lib/tarnlib/*.DLL .
for level in "${levels[@]}"; do
  number=0
  for source in "$tests"/*.c; do
    number=$((number + 1))
    [ $((number % step)) = 0 ] && [ -z "${left_out[$(basename "$source" .c)]:-}" ] || continue
    printf '%s\0%s\0' "$source" "$level"
  done
done | xargs -0 -n 2 -P "$(nproc)" bash -c 'one "$@"' one >failures
cat failures
[ -s failures ] && exit 1
echo "All tests of GCC pass on both targets"
