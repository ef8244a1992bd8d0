#!/usr/bin/env bash
# failures.sh ... image expected
#
# Each failure of failures.f90, on both targets, against `expected`: what was written
# before it, the report with its lines, the status. Left out are addresses and the folders
# of files.
. "$(dirname "$0")/../../support/targets.sh"
program=$1 expected=$2

show() {
  timeout 120 "$runner" "$programs/$program" "$1" </dev/null >"$1.out" 2>"$1.err"
  local status=$?
  echo "== $1: status $status"
  cat "$1.out" "$1.err" | tr -d '\r' | sed -E "
    s/,? at address [0-9a-f]+$//; s/$program/IMAGE/
    s/file [^ ]*(failures\.f90)/file \1/; s/'[^']*gfortrantmp[^']*'/'SCRATCH'/" |
    if [ "$1" = stack_overflow ]; then sed -n '1,3p; 4,/failing:/{/failing:/p}'; else cat; fi
}

visit() {
  mkdir temporary
  export TMPDIR=$PWD/temporary
  for name in end_of_file bad_number not_connected no_file wrong_format bounds freed_twice \
    allocated_twice null_pointer float_divide overflow invalid aborted stack_overflow \
    error_stop quiet_stop stop; do
    show $name
  done >report
  [ -z "$(ls temporary | grep gfortran)" ] || fail "scratch files are left"
  diff "$expected" report || fail "the reports differ"
  export TARNENVAR=other,QUIET_STOP
  [ "$(show error_stop | tail -n +2)" = "beforeERROR STOP 3" ] || fail "quiet_stop shows a trace"
  unset TARNENVAR
}

on_targets
exit $failed
