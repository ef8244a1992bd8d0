#!/usr/bin/env bash
# run_both.sh image case run-folder tarnrun wine
#
# Runs an image by tarnrun and under Wine, each in an empty folder of its own,
# and compares: standard output byte for byte between the two and with
# case.expected, the exit status with case.status (0), standard error with
# case.stderr. case.args and case.input are given to the program;
# case.prepare is sourced in the folder before the run.
set -uo pipefail
image=$1 case=$2 folder=$3 tarnrun=$4 wine=$5

arguments=()
[ -f "$case.args" ] && mapfile -t arguments <"$case.args"
input=/dev/null
[ -f "$case.input" ] && input=$case.input
wanted_status=0
[ -f "$case.status" ] && wanted_status=$(<"$case.status")
failures=0

fail() {
  echo "FAILED on $1: $2"
  failures=$((failures + 1))
}

# case.sed rewrites what may differ from build to build, such as addresses, in
# both outputs.
rewrite() {
  if [ -f "$case.sed" ]; then sed -f "$case.sed" "$1"; else cat "$1"; fi
}

with_crlf() { sed 's/$/\r/' "$1"; }

run() {
  local target=$1 runner=$2
  rm -rf "$folder/$target"
  mkdir -p "$folder/$target"
  cd "$folder/$target" || exit 1
  [ -f "$case.prepare" ] && . "$case.prepare"
  timeout 120 "$runner" "$image" ${arguments[@]+"${arguments[@]}"} \
    <"$input" >"$folder/$target.out" 2>"$folder/$target.err"
  local status=$?
  [ "$status" = "$wanted_status" ] || fail "$target" "exit status $status, wanted $wanted_status"
  if [ -f "$case.expected" ] && ! with_crlf "$case.expected" | cmp -s - <(rewrite "$folder/$target.out"); then
    fail "$target" "standard output differs from $(basename "$case").expected"
    diff <(with_crlf "$case.expected") <(rewrite "$folder/$target.out") | cat -A | head -40
  fi
  if [ -f "$case.stderr" ] && ! diff "$case.stderr" <(rewrite "$folder/$target.err" | tr -d '\r'); then
    fail "$target" "standard error differs from $(basename "$case").stderr"
  fi
  [ "$failures" = 0 ] || { echo "standard error:"; head -20 "$folder/$target.err"; }
}

run tarnrun "$tarnrun"
if [ -n "$wine" ] && [[ $wine != *NOTFOUND ]]; then
  run wine "$wine"
  cmp "$folder/tarnrun.out" "$folder/wine.out" || fail both "the two targets print different bytes"
fi
[ "$failures" = 0 ]
