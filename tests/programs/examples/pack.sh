#!/usr/bin/env bash
# Packs and unpacks on each target, compares the packed files of the two, and
# lets the program refuse: nothing is lost, and nothing is left behind.
. "$(dirname "$0")/../../support/targets.sh"
image=$programs/pack.exe

# Runs the program and compares status and standard error.
expect() {
  local status=$1 message=$2
  shift 2
  "$runner" "$image" "$@" >out.txt 2>err.txt
  local got=$?
  [ "$got" = "$status" ] || fail "pack $*: status $got: $(cat err.txt)"
  [ "$(tr -d '\r' <err.txt)" = "$message" ] || fail "pack $*: $(cat err.txt)"
}

visit() {
  for _ in 1 2 3; do cat "$image" "$0"; done | head -c 700000 >data
  : >empty
  for name in data empty; do
    expect 0 "" "$name" "$name.packed"
    tr -d '\r' <out.txt >"$name.out"
    expect 0 "" -u "$name.packed" "$name.back"
    cmp "$name" "$name.back" || fail "$name came back changed"
  done
  [ "$(stat -c %s data.packed)" -lt 500000 ] || fail "data were not packed"

  size=$(stat -c %s data.packed)
  head -c $((size - 7)) data.packed >cut
  { cat data.packed; echo; } >longer
  cp data.packed damaged
  printf '\xAA\x55' | dd of=damaged bs=1 seek=40000 conv=notrunc 2>/dev/null
  echo kept >kept
  expect 1 "pack: data: it is not a packed file" -u data kept
  expect 1 "pack: empty: it is not a packed file" -u empty kept
  expect 1 "pack: cut: it is cut short" -u cut kept
  expect 1 "pack: longer: there is more after the packed file" -u longer kept
  expect 1 "pack: damaged: it is damaged" -u damaged kept
  expect 1 "pack: missing: it cannot be opened" missing kept
  expect 2 $'usage: pack FILE PACKED\n       pack -u PACKED FILE' data
  [ "$(cat kept)" = kept ] || fail "a refusal changed the result's place"
  [ -z "$(ls | grep '\.new$')" ] || fail "left behind: $(ls ./*.new)"
}

on_targets
if [ -n "$wine" ]; then
  for name in data.packed data.out empty.packed; do
    cmp "$folder/tarnrun/$name" "$folder/wine/$name" || fail "the targets differ in $name"
  done
fi
exit $failed
