#!/usr/bin/env bash
# reports.sh ... reports.exe reports.c
#
# Each failure of a hosted program on both targets: the description, and of each frame of
# the program's own the routine and the line. Each is saved where TARN_REPORT_FOLDER says, with
# the same frames, and what the library cannot save does not hide the report.
. "$(dirname "$0")/../../support/targets.sh"
image=$programs/$1 source=$2

# The case; the description; the frames as ROUTINE@MARK, where the source has the mark.
cases='
fault|Access violation (c0000005)|fault@fault run@run_fault main@main
abort|Abnormal end: abort was called|run@abort main@main
assert|Assertion failed: one == 2, file .*reports.c, line LINE|two_assertions@assert run@run_assert main@main
raise|Abnormal end (raise)|run@raise main@main
closed_twice|Invalid FILE structure|run@closed_twice main@main
closed_write|Invalid FILE structure|run@closed_write main@main
overwritten|The stack is overwritten beyond an array|overwritten@overwritten run@run_overwritten main@main
fortified|A copy is larger than its target|fortified@fortified run@run_fortified main@main
inside|Access violation (c0000005)|
handled|signal 11|run@handled main@main
left|signal 11|
thread|Access violation (c0000005)|fault@fault in_thread@in_thread
thread_overflow|Stack overflow (c00000fd)|
'

line_of() { grep -n "/\* @$1 \*/" "$source" | cut -d: -f1; }

visit() {
  export TARN_REPORT_FOLDER=saved
  mkdir saved
  local name description frames frame wanted
  while IFS='|' read -r name description frames; do
    [ -n "$name" ] || continue
    rm -f saved/*
    timeout 60 "$runner" "$image" "$name" </dev/null 2>&1 | tr -d '\r' >"$name"
    [ "${PIPESTATUS[0]}" = 1 ] || fail "$name: not status 1"
    description=${description/LINE/$(line_of assert)}
    grep -q "$description" "$name" || fail "$name: not '$description': $(cat "$name")"
    [[ $description == signal* ]] || grep -q "$description" saved/"$(basename "$image")"-20*-*-????????????????.txt ||
      fail "$name: not saved"
    [ "$name" != fault ] || {
      grep -q '^Access: writing to 0' saved/* || fail "$name: which access"
      grep -q "/reports.c:$(line_of fault): in fault, inlined" saved/* || fail "$name: which source"
    }
    diff <(grep '^in ' "$name" | tr -d '\r') <(cat saved/* | grep '^in ' | tr -d '\r') || fail "$name: saved frames"
    wanted=
    for frame in $frames; do wanted+="in ${frame%@*} in line $(line_of "${frame#*@}")"$'\n'; done
    [ -z "$frames" ] || diff <(printf %s "$wanted") <(sed -n 's/^\(in .*\) at address [0-9a-f]*$/\1/p' "$name" | tr -d ,) ||
      fail "$name: these frames"
    [[ $name != *overflow && $name != left ]] || [ "$(grep -c '^in deeper in line' "$name")" -gt 8 ] ||
      fail "$name: not the frames of deeper: $(cat "$name")"
  done <<<"$cases"
  rm -r saved
  timeout 60 "$runner" "$image" fault </dev/null 2>&1 | tr -d '\r' >unsaved
  [ "$(diff fault unsaved)" = "0a1
> The report could not be saved in saved: there is no such folder" ] || fail "without a folder: $(cat unsaved)"
  # A fault in a routine of the run-time that only others of it are to call, but for the program.
  [ "$(sed -n 's/^in \([^ ]*\).*/\1/p' inside | xargs)" = "__strtold run main" ] || fail "inside: $(cat inside)"
  [ "$(grep -c '^signal 11' left)" = 2 ] || fail "left: $(cat left)"
}

on_targets
exit $failed
