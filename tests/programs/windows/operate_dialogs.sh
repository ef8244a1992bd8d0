#!/usr/bin/env bash
# Operates the dialogs of the library, of programs that fail and that show progress, on a desktop of
# its own, as a user does, and checks what comes of it. The desktop is a virtual screen with a
# display number that is free, and a Wine prefix that only sees this screen: Wine keeps one desktop
# for a prefix, made by whoever comes first.
#
#   operate_dialogs.sh DIALOG_PROBE_EXE PANEVIEW64_DLL RUN_FOLDER WINE PROGRAMS_FOLDER OWN_WINDOW_EXE
#
# Leaves screenshots in RUN_FOLDER. Exit status 77: something is missing here.
set -u
probe=$(realpath "$1")
dll=$(realpath "$2")
run=$3
wine=$4
programs=$(realpath "$5")
own_window=$(realpath "$6")

for tool in Xvfb xdotool import "$wine"; do
  command -v "$tool" >/dev/null || {
    echo "Skipped: no $tool on this machine"
    exit 77
  }
done

mkdir -p "$run"
cd "$run" || exit 1
rm -f -- *.png *.txt *.out *.exe *.DLL display orders
cp "$probe" "$dll" "$programs"/{divide,traps,progress_steps}.exe "$programs/TARNLIBC64.DLL" "$own_window" . || exit 1

exec 3>display
# -r: a key held for long on a slow machine must not repeat.
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -r >/dev/null 2>&1 &
screen=$!
exec 3>&-
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" WINEPREFIX="$PWD/wine"
cleanup() {
  [ -n "${DISPLAY:-}" ] && timeout 20 wineserver -k
  kill "$screen"
  wait "$screen"
} 2>/dev/null
trap cleanup EXIT

fail() {
  echo "FAILED: $1"
  [ -f "$out" ] && sed 's/^/  | /' "$out"
  import -window root failed.png
  exit 1
}

# until_true SECONDS COMMAND...
until_true() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.1
  done
}

out=none
until_true 20 test -s display || fail "the virtual screen didn't start"
DISPLAY=:$(cat display)
export DISPLAY
if [ ! -e wine/system.reg ]; then
  timeout 120 "$wine" wineboot --init >/dev/null 2>&1 || fail "Wine made no prefix"
fi
# Wine draws the title bars itself: this screen has no window manager.
timeout 60 "$wine" reg add 'HKEY_CURRENT_USER\Software\Wine\X11 Driver' /v Managed /d N /f \
  >/dev/null 2>&1 || fail "Wine's registry"

# The window with this title is on top and has the keyboard; keys that are sent between two
# windows get lost. Wine gives a window the keyboard before the screen shows it, which fails when
# the screen is late, and no window manager mends that: so do as a user's click would.
shown() {
  local top
  top=$(xdotool search --onlyvisible --maxdepth 1 --name . | tail -n 1)
  xdotool getwindowname "$top" | grep -q -- "$1" || return 1
  [ "$(xdotool getwindowfocus)" = "$top" ] || { xdotool windowfocus "$top"; return 1; }
}
said() { tr -d '\r' <"$out" | grep -qx -- "$1"; }
clipboard() { timeout 60 "$wine" ./dialog_probe.exe 2>/dev/null | tr -d '\r'; }
# The place of a control of the report, by the end of its line.
places=
place() { sed -n "s/^at \([0-9]* [0-9]*\) .*$1\$/\1/p" <<<"$places"; }
move_to() { xdotool mousemove $(place "$1"); }

# press KEY CONDITION...: presses until the condition holds.
press() {
  local key=$1
  shift
  for _ in 1 2 3 4 5; do
    xdotool key "$key"
    until_true 4 "$@" && return
  done
  fail "$key didn't lead to: $*"
}

# picture NAME COLOUR: a screenshot, on which the dialog's colour tells that it is drawn.
drawn() { import -window root -depth 8 -format %c histogram:info:- | grep -i "#$1" >/dev/null; }
picture() {
  until_true 10 drawn "$2" || fail "no $2 on the screen"
  import -window root "$1.png" || fail "no screenshot"
}

# begin PROGRAM TITLE
begin() {
  out=$1.out
  timeout 120 "$wine" "./$1.exe" >"$out" 2>/dev/null </dev/null &
  program=$!
  until_true 60 shown "$2" || fail "no window '$2' with the keyboard"
}

ended() { ! kill -0 "$program" 2>/dev/null; }
finish() {
  until_true 20 ended || fail "the program goes on"
  wait "$program" || fail "the program ended with status $?"
}

# save_as NAME: in the file dialog, whose keys get lost while it still opens.
save_as() {
  for _ in 1 2 3 4 5; do
    sleep 1
    xdotool key ctrl+a
    xdotool type --delay 40 "$1"
    xdotool key Return
    until_true 5 test -s "$1.txt" || continue
    until_true 20 shown 'Details written' && return
  done
  fail "no file was saved as $1"
}

echo "The report, by keyboard"
begin divide 'exception report on divide.exe'
picture report C8C8C8
said 'Splitting the bill' || fail "the output before the failure is lost"
xdotool key ctrl+c
press d shown 'Program details'
picture details C0FFC0
press o shown 'exception report'
press alt+w shown 'Exception dump file'
press Escape shown 'exception report'
press w shown 'Exception dump file'
save_as saved
press Return shown 'exception report'
clipboard >copied.txt
for file in copied.txt saved.txt; do
  grep -q '^in main in line [0-9]*, at address' "$file" || fail "$file lacks the traceback"
done
grep -q '^Floating point divide by zero (c000008e) at address 140' copied.txt ||
  fail "Ctrl+C didn't copy the report"
press Escape ended # is QUIT
finish

echo "The report of an ordinary program, whose own window gets no messages meanwhile"
begin own_window 'exception report on own_window.exe'
sleep 0.5
picture ordinary C8C8C8
press Escape ended
wait "$program"
[ $? = 5 ] || fail "its status is not the exception's"

echo "The report, by mouse, and Tab"
begin divide 'exception report on divide.exe'
places=$(timeout 60 "$wine" ./dialog_probe.exe 'exception report' 2>/dev/null | tr -d '\r')
press Tab true
press Tab true
press Tab true # box, WRITE, DETAILS
press space shown 'Program details'
press Return shown 'exception report'
move_to 'Edit.*'
xdotool mousemove_relative -- -60 -30 click --repeat 2 --delay 60 1 # selects a word
sleep 0.3
xdotool click 3
sleep 0.5
import -window root menu.png
xdotool key Down Return
sleep 0.3
[ "$(clipboard | wc -w)" = 1 ] || fail "the menu copied $(clipboard), not the one word selected"
move_to DETAILS
xdotool click 1
until_true 10 shown 'Program details' || fail "a click on DETAILS"
press o shown 'exception report'
move_to WRITE
sleep 1.5
import -window root help.png
move_to QUIT
xdotool click 1
finish

echo "The notice about underflows"
begin traps Information
picture notice BEFFBE
press Return ended
finish

echo "The progress window"
out=progress.out
mkfifo orders
timeout 120 "$wine" ./progress_steps.exe >"$out" 2>/dev/null <orders &
program=$!
exec 4>orders
order() { printf '%s\n' "$@" >&4; }
title='^Progress of a job$'
is_up() { xdotool search --name "$title"; }
is_gone() { ! is_up; }
bar() { # COLUMNS: so many of its 242 are full, one more or less
  local blue
  blue=$(import -window root -depth 8 -format %c histogram:info:- | sed -n 's/^ *\([0-9]*\):.*#3096FA.*/\1/p')
  [ $((${blue:-0} / 14)) -ge $(($1 - 1)) ] && [ $((${blue:-0} / 14)) -le $(($1 + 1)) ]
}
order 'window 200 Compiling merle.f90: ' 'at 84' 'counts 2 1 0' 'say begun'
until_true 30 is_up || fail "no progress window"
until_true 10 bar 99 || fail "the bar isn't at 41 percent"
picture progress 3096FA
xdotool search --name "$title" getwindowgeometry --shell >place.txt
. ./place.txt
[ "$WIDTH" = 257 ] || fail "the window is $WIDTH wide"
[ $((2 * X + WIDTH - 1024)) -ge -1 ] && [ $((2 * X + WIDTH - 1024)) -le 1 ] ||
  fail "the window isn't in the middle, but at $X"
order 'at 150'
until_true 10 bar 180 || fail "the bar doesn't follow"
xdotool mousemove $((X + WIDTH - 13)) $((Y + 10)) click 1
until_true 10 is_gone || fail "its close button doesn't close it"
order 'at 160' 'say alive' 'close' 'window 400 Again' 'at 190'
until_true 10 said alive || fail "the job ended with its window"
until_true 30 is_up || fail "no second window"
order 'close'
until_true 10 is_gone || fail "the second window stays"
exec 4>&-
finish
said end || fail "the program didn't come to its end"

echo "Without a display nobody waits"
out=no_window.out
{
  printf 'window 100 text\nat 10\n'
  sleep 0.8
  printf 'at 20\nclose\n'
} | env -u DISPLAY timeout 60 "$wine" ./progress_steps.exe >"$out" 2>/dev/null || fail "status $?"
said end || fail "a job without a window doesn't come to its end"
echo passed
