#!/usr/bin/env bash
# The report on a real terminal, by its keys: details, a file that cannot be
# written, a link, a file that can, quit. The saved file is checked line by line, and printed
# with its sources.
. "$(dirname "$0")/../../support/tmux.sh"

operate() {
  wait_for "\[W\] WRITE  \[D\] DETAILS  \[Q\] QUIT" || return
  screen | grep -q '^in raised in line [0-9]*, at address [0-9a-f]*$' || fail "no traceback"
  press d
  wait_for "Program details at point of exception" && wait_for "int       9" || return
  wait_for '^Modules: gallery.exe at 140000000, .*' && wait_for '^Library: TARNLIBC64.DLL [0-9]' || return
  press Enter
  press w
  wait_for "Exception dump file \[" || return
  press "no_such_folder/report.txt" Enter
  wait_for "could not be written to file no_such_folder/report.txt" || return
  if [ "$target" = tarnrun ]; then
    echo mine >../own && ln -s ../own link.txt
    press w
    wait_for "Exception dump file \[.*\]: *$" || return
    press "link.txt" Enter
    wait_for "could not be written to file link.txt, which is a link" || return
    [ "$(cat ../own)" = mine ] && rm link.txt || fail "the link was followed"
  fi
  press w
  wait_for "Exception dump file \[.*\]: *$" || return
  press "no name" Escape Enter
  wait_for "QUIT.*$" || return
  press w
  wait_for "Exception dump file \[" || return
  press "reprot" BSpace BSpace BSpace "ort.txt" Enter
  wait_for "Full details of exception written to file report.txt" || return
  press q
  wait_for "STATUS 0"
  [ "$(ls)" = report.txt ] || fail "there are other files than report.txt"
}

# Line by line: a pattern, or "" for an empty line.
check_file() {
  local patterns=(
    '^Brackenmoor 64-bit exception report on Z:\\.*gallery\.exe  [A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] ..:..:.. 20..$'
    '' ''
    '^ALLOCATE was unable to obtain sufficient storage at address [0-9a-f]*$'
    ''
    '^Within file gallery\.exe$'
    '^in raised in line [0-9]*, at address [0-9a-f]*$'
    '^in run in line [0-9]*, at address [0-9a-f]*$'
    '^in main in line [0-9]*, at address [0-9a-f]*$'
    '' ''
    '^RAX = 0000000000000198   RBX = [0-9a-f]\{16\}   RCX = [0-9a-f]\{16\}   RDX = [0-9a-f]\{16\}$'
    '^RBP = .*   RSI = .*   RDI = .*   RSP = [0-9a-f]\{16\}$'
    '^R8  = .*   R9  = .*   R10 = .*   R11 = [0-9a-f]\{16\}$'
    '^R12 = .*   R13 = .*   R14 = .*   R15 = [0-9a-f]\{16\}$'
    ''
    '^[0-9a-f]*) int       9$'
    ''
    '^Sources:$'
    '^[^ ]*gallery\.c:[0-9]*: in raised$'
    '^[^ ]*gallery\.c:[0-9]*: in run$'
    '^[^ ]*gallery\.c:[0-9]*: in main$'
    ''
    '^Modules: gallery\.exe at 140000000, .*'
  )
  local last=(
    ''
    '^Command line: .*gallery\.exe"* raised *$'
    '^Library: TARNLIBC64\.DLL [0-9.]*$'
  )
  local lines number=0
  mapfile -t lines < <(tr -d '\r' <report.txt)
  for pattern in "${patterns[@]}"; do
    grep -q "${pattern:-^$}" <<<"${lines[number]-}" || fail "line $((number + 1)): ${lines[number]-}"
    number=$((number + 1))
  done
  number=-${#last[@]}
  for pattern in "${last[@]}"; do
    grep -q "${pattern:-^$}" <<<"${lines[number]-}" || fail "line $number: ${lines[number]-}"
    number=$((number + 1))
  done
  [ "$(grep -c $'\r$' report.txt)" = ${#lines[@]} ] || fail "lines do not end with CR LF"
}

print_it() {
  local tool sources said
  tool=$(dirname "$(dirname "$tarnrun")")/tarnreport/tarnreport
  sources=$(cd "$(dirname "$0")/../.." && pwd)
  said=$("$tool" -c 1 --source "$sources" report.txt) || fail "tarnreport: status $?"
  [[ $said == *"gallery.c:"*": in raised"*"  >    "*" | "*"ALLOCATE"*": in run"* ]] || fail "tarnreport: $said"
  said=$("$tool" --source / <(printf '%s\033[2J: it\302\233\n\nSources:\n/no/a\nb\033c.c:1: in b\n' \
    'Brackenmoor 64-bit exception report on ') 2>&1)
  [ "$said" = 'Brackenmoor 64-bit exception report on ?[2J: it?

Sources:
/no/a
b?c.c:1: in b
tarnreport: note: no b?c.c here (--source says where)' ] || fail "tarnreport: $said"
  head -c -1 report.txt >cut.txt
  for refused in 'cut.txt=damaged: its end is missing' "$0=not a saved report" '/dev/zero=larger than any'; do
    said=$("$tool" "${refused%%=*}" 2>&1) && fail "tarnreport takes ${refused%%=*}"
    [[ $said == "tarnreport: ${refused/=/: }"* ]] || fail "tarnreport: $said"
  done
}

visit() {
  open_page report 110 50 "'$runner' '$programs/gallery.exe' raised"
  operate
  if [ -f report.txt ]; then check_file && print_it; else failed=1; fi
}

on_targets
exit $failed
