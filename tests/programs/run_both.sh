#!/usr/bin/env bash
# run_both.sh ... image case
#
# Runs an image by tarnrun and under Wine, each in an empty folder of its own,
# and compares: standard output byte for byte between the two and with
# case.expected, the exit status with case.status (0), standard error with
# case.stderr. case.args and case.input are given to the program;
# case.prepare is sourced in the folder before the run.
. "$(dirname "$0")/../support/targets.sh"
image=$1 case=$2
arguments=()
[ -f "$case.args" ] && mapfile -t arguments <"$case.args"
input=/dev/null
[ -f "$case.input" ] && input=$case.input
wanted_status=0
[ -f "$case.status" ] && wanted_status=$(<"$case.status")

# case.sed rewrites what may differ from build to build, such as addresses, in
# both outputs.
rewrite() {
  if [ -f "$case.sed" ]; then sed -f "$case.sed" "$1"; else cat "$1"; fi
}

with_crlf() { sed 's/$/\r/' "$1"; }

# Wine says so, in pieces, when a process ends while another of its threads asks the server for
# something.
without_wine() { sed 's/wine client error:[0-9a-f]*: //; /^sendmsg: Bad file descriptor$/d'; }

visit() {
  local out=../$target.out err=../$target.err
  [ -f "$case.prepare" ] && . "$case.prepare"
  timeout 120 "$runner" "$image" ${arguments[@]+"${arguments[@]}"} <"$input" >$out 2>$err
  local status=$?
  [ "$status" = "$wanted_status" ] || fail "exit status $status, wanted $wanted_status"
  if [ -f "$case.expected" ] && ! with_crlf "$case.expected" | cmp -s - <(rewrite $out); then
    fail "standard output differs from $(basename "$case").expected"
    diff <(with_crlf "$case.expected") <(rewrite $out) | cat -A | head -40
  fi
  if [ -f "$case.stderr" ] && ! diff "$case.stderr" <(rewrite $err | tr -d '\r' | without_wine); then
    fail "standard error differs from $(basename "$case").stderr"
  fi
  [ "$failed" = 0 ] || { echo "standard error:"; head -20 $err; }
}

on_targets
[ -z "$wine" ] || cmp "$folder"/{tarnrun,wine}.out || fail "the two targets print different bytes"
exit $failed
