#!/usr/bin/env bash
# torture.sh tests host-build windows-build run-folder wine
#
# GCC's own execution tests as hosted programs: each that a plain static program of the
# cross compiler passes under Wine ends with status 0 by tarnrun and under Wine, and
# prints the same, but for the exceptions in torture_exceptions.txt. Every 11th at -O2;
# with TARN_EVERY_TORTURE=1 each at -O0, -O1, -O2, -O3 and -Os.
set -uo pipefail
tests=$1 host=$2 windows=$3 folder=$4 wine=$5
exceptions=$(dirname "$0")/torture_exceptions.txt
tarncc=$folder/prefix/bin/tarncc tarnrun=$folder/prefix/bin/tarnrun
[ -d "$tests/gcc.dg" ] || { echo "GCC's tests are not there; scripts/fetch_gcc_tests.sh brings them"; exit 77; }

step=11 levels=(-O2)
[ "${TARN_EVERY_TORTURE:-0}" = 1 ] && step=1 levels=(-O0 -O1 -O2 -O3 -Os)
rm -rf "$folder"
mkdir -p "$folder"

# What a test says of its own compilation, and its folder for all in it.
options_of() {
  sed -nE '/ia32/d; s/.*dg-(additional-)?options "([^"]*)" *(\}|\{ *target [^}]*x86_64).*/\2/p' "$1"
  case $1 in
  */ieee/*)
    echo -fno-inline
    grep -ohE -- '-fno-trapping-math' "${1%.c}.x" 2>/dev/null
    ;;
  esac
}

sources_of() {
  echo "$1"
  sed -nE 's/.*dg-additional-sources "?([^" }]*).*/\1/p' "$1" | sed "s,^,$(dirname "$1")/,"
}

# Whether the test, compiled in the ordinary way, passes under Wine.
plain_passes() {
  x86_64-w64-mingw32-gcc -static -w "${words[@]}" -o "$name.plain.exe" >/dev/null 2>&1 &&
    timeout 60 "$wine" "$name.plain.exe" </dev/null >/dev/null 2>&1
}

run_hosted() {
  "$tarncc" --hosted --no-dlls -w "${words[@]}" -o "$name.exe" >"$name.log" 2>&1 ||
    { echo "is not built"; return 1; }
  timeout 60 "$tarnrun" "$name.exe" </dev/null >"$name.host" 2>"$name.log" ||
    { echo "ends with status $? by tarnrun"; return 1; }
  timeout 60 "$wine" "$name.exe" </dev/null >"$name.wine" 2>"$name.log" ||
    { echo "ends with status $? under Wine"; return 1; }
  cmp -s "$name.host" "$name.wine" || { echo "prints something else under Wine"; return 1; }
}

one() {
  local source=$1 level=$2 name words outcome
  name=${source#"$tests"/}
  name=${name//\//_}$level
  mapfile -t words < <(options_of "$source" | xargs -n 1; sources_of "$source")
  words=("$level" "${words[@]}")
  if ! outcome=$(run_hosted) && plain_passes; then
    echo "FAILED ${source#"$tests"/} at $level: $outcome: $(head -n 3 "$name.log")"
  fi
  rm -f "$name".*
}
export -f one options_of sources_of plain_passes run_hosted
export tests tarncc tarnrun wine

for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$folder/prefix" >/dev/null || exit 1
done
cd "$tests" || exit 1
{
  ls gcc.c-torture/execute/*.c gcc.c-torture/execute/ieee/*.c
  grep -lE 'dg-do +run' gcc.dg/torture/*.c
} | sed -n "0~${step}p" | grep -vxFf <(sed 's/ .*//' "$exceptions") | sed "s,^,$tests/," >"$folder/list"
cd "$folder" || exit 1
cp prefix/lib/tarnlib/*.DLL .
for level in "${levels[@]}"; do
  while read -r source; do printf '%s\0%s\0' "$source" "$level"; done <list
done | xargs -0 -n 2 -P "$(nproc)" bash -c 'one "$@"' one | tee failures
[ -s failures ] && exit 1
echo "$(wc -l <list) tests of GCC pass on both targets at ${levels[*]}"
