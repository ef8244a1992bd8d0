#!/usr/bin/env bash
# gallery.sh ... gallery.exe gallery.c
#
# Each failure of the gallery, on both targets: the report's description, the
# three routines with the lines at which they stand in the source, the program's
# output before it, and the same bytes on both but for addresses in the library.
. "$(dirname "$0")/../../support/targets.sh"
program=$1 source=$2
image=$programs/$program

# The name of the case and of its routine; the description. Where the library is
# the place of the failure, its address is shown as LIBRARY.
cases='
read_null       Access violation (c0000005) at address 140
write_null      Access violation (c0000005) at address 140
call_null       Access violation (c0000005) at address 0
jump_wild       Access violation (c0000005) at address 7123456789a0
breakpoint      Breakpoint (80000003) at address 140
single_step     Single step (80000004) at address 140
denormal        Denormalised operand (c000008d) at address 140
float_divide    Floating point divide by zero (c000008e) at address 140
precision       Loss of precision (c000008f) at address 140
invalid         Invalid floating point operation (c0000090) at address 140
square_root     Negative argument to square root at address 140
overflow        Floating point overflow (c0000091) at address 140
x87_stack       Floating point stack fault (c0000092) at address 140
underflow       Floating point underflow (c0000093) at address 140
integer_divide  Integer divide by zero (c0000094) at address 140
divide_overflow Integer overflow (c0000095) at address 140
privileged      Attempt to execute privileged instruction (c0000096) at address 140
illegal         Attempt to execute illegal instruction (c000001d) at address 140
stack_overflow  Stack overflow (c00000fd) at address 140
raised          ALLOCATE was unable to obtain sufficient storage at address LIBRARY
missing         Call to missing routine - SOLVE_QUICKLY at address LIBRARY
closed_stream   Invalid FILE structure at address LIBRARY
pure_virtual    Attempt to call a pure virtual function implicitly at address LIBRARY
bad_jump        Invalid long jump at address LIBRARY
no_label        Run out of heap space at address LIBRARY
trap_faults     Access violation (c0000005) at address 140
smashed         Access violation (c0000005) at address 140
double_free     Attempt to free unallocated storage at address LIBRARY
inside_free     Attempt to free part of a storage block at address LIBRARY
realloc_static  Attempt to free unallocated storage at address LIBRARY
hurt_heap       the heap is ?[31mhurt Â?31m at address LIBRARY
text            the spider has 8 legs at address LIBRARY
library_fault   Access violation (c0000005) at address LIBRARY
region_over     Overflow off expanding region WORK SPACE at address 140
region_under    Underflow off expanding region WORK SPACE at address 140
'

# The line at which a routine fails, or calls the one that does: its last statement.
line_of() {
  case $1 in
  run) grep -n 'failures\[i\].routine()' "$source" | cut -d: -f1 ;;
  main) grep -n 'run(argv' "$source" | cut -d: -f1 ;;
  *)
    awk -v start="[ *]$1[(]" '
      !inside && $0 ~ start && !/;$/ { inside = 1; if (/}$/) { print NR; exit } }
      inside && /^  [^ }]/ { last = NR }
      inside && /^}/ { print last; exit }' "$source"
    ;;
  esac
}

check_frame() {
  local report=$1 routine=$2 line
  line=$(sed -n "s/^in $routine in line \([0-9]*\), at address [0-9a-f]*\$/\1/p" "$report" | head -1)
  [ -n "$line" ] && [ "$line" = "$(line_of "$routine")" ] ||
    fail "$report: routine $routine in line '$line', not $(line_of "$routine")"
}

# The report of a case goes to a file of its name.
run_case() {
  local name=$1 wanted=$2
  timeout 120 "$runner" "$image" "$name" </dev/null 2>&1 | tr -d '\r' >"$name"
  local status=${PIPESTATUS[0]}
  [ "$status" = 1 ] || fail "$name: exit status $status"
  [ -z "$(sed -n 2p "$name")" ] || fail "$name: the report has no line of its own"
  sed -i 2d "$name"
  # Where the windows of the report fail on the heap, it says so after the report.
  [ "$name" = hurt_heap ] && sed -i '/^Exception \|^Fatal error!/d' "$name"
  [[ $wanted == *LIBRARY ]] && sed -i '3s/at address [0-9a-f]*$/at address LIBRARY/' "$name"
  # The handler that called the routine, and the system's ways to it.
  [ "$name" = trap_faults ] && sed -i "/^Within file TARNLIBC64/,/^Within file $program/d" "$name"
  [[ "$(head -3 "$name")" == "before
Brackenmoor exception report on $program
$wanted"* ]] || fail "$name, not '$wanted': $(head -3 "$name")"
  grep -q '^after' "$name" && fail "$name: the program went on"
  case $name in
  smashed) [ "$(grep -c '^in ' "$name")" = 1 ] || fail "$name: not one frame" ;;
  stack_overflow) [ "$(grep -c '^in deeper in line' "$name")" = 10 ] || fail "$name: not ten frames" ;;
  *)
    grep -q "^Within file $program$" "$name" || fail "$name: no module line"
    for routine in "$name" run main; do check_frame "$name" "$routine"; done
    ;;
  esac
  if [ "$name" = library_fault ]; then
    [[ $(sed -n 5,6p "$name") == $'Within file TARNLIBC64.DLL\nin strlen at address '* ]] ||
      fail "$name: the library's routine is not shown"
  else
    grep -q 'TARNLIBC64' "$name" && fail "$name: the library's frames are shown"
  fi
}

visit() {
  local name wanted output
  while read -r name wanted; do
    [ -z "$name" ] || run_case "$name" "$wanted"
  done <<<"$cases"
  # kill_dialogbox: one line and status 1. no_traceback: no frames.
  output=$(TARNENVAR=Kill_DialogBox timeout 60 "$runner" "$image" float_divide 2>/dev/null </dev/null)
  [ $? = 1 ] || fail "kill_dialogbox: the exit status"
  [ "$(tr -d '\r' <<<"$output")" = "$(printf 'before\nFloating point divide by zero (c000008e)')" ] ||
    fail "kill_dialogbox prints: $output"
  output=$(TARNENVAR="no_traceback;other" timeout 60 "$runner" "$image" raised 2>/dev/null </dev/null)
  grep -q 'in raised' <<<"$output" && fail "no_traceback shows frames"
}

on_targets
[ -z "$wine" ] || diff -r "$folder/tarnrun" "$folder/wine" || fail "the two targets report differently"
exit $failed
