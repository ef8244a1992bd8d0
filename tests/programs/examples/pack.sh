#!/usr/bin/env bash
# pack.sh image folder tarnrun wine
#
# Packs and unpacks on each target, compares the packed files of the two, and
# lets the program refuse: nothing is lost, and nothing is left behind.
set -uo pipefail
image=$1 folder=$2 tarnrun=$3 wine=$4
failed=0
fail() {
  echo "FAILED: $*"
  failed=1
}

# Runs the program and compares status and standard error.
expect() {
  local status=$1 message=$2
  shift 2
  "$runner" "$image" "$@" >out.txt 2>err.txt
  local got=$?
  [ "$got" = "$status" ] || fail "$target: pack $*: status $got: $(cat err.txt)"
  [ "$(tr -d '\r' <err.txt)" = "$message" ] || fail "$target: pack $*: $(cat err.txt)"
}

for target in tarnrun wine; do
  runner=${!target}
  [ -n "$runner" ] && [[ $runner != *NOTFOUND ]] || continue
  rm -rf "$folder/$target"
  mkdir -p "$folder/$target"
  cd "$folder/$target" || exit 1
  for _ in 1 2 3; do cat "$image" "$0"; done | head -c 700000 >data
  : >empty
  for name in data empty; do
    expect 0 "" "$name" "$name.packed"
    tr -d '\r' <out.txt >"$name.out"
    expect 0 "" -u "$name.packed" "$name.back"
    cmp "$name" "$name.back" || fail "$target: $name came back changed"
  done
  [ "$(stat -c %s data.packed)" -lt 500000 ] || fail "$target: data were not packed"

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
  [ "$(cat kept)" = kept ] || fail "$target: a refusal changed the result's place"
  [ -z "$(ls | grep '\.new$')" ] || fail "$target: left behind: $(ls ./*.new)"
done
if [ -d "$folder/wine" ]; then
  for name in data.packed data.out empty.packed; do
    cmp "$folder/tarnrun/$name" "$folder/wine/$name" || fail "the targets differ in $name"
  done
fi
rm -rf "$folder"
exit $failed
