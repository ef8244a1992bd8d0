# Sourced at the top: a quiet Wine with a prefix of its own in the build folder;
# $wine runs a program by it, and is empty where there is none.
export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$PWD/build/wine}"
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
# Wine takes the characters of names and terminals from the locale.
[ "$(locale charmap 2>/dev/null)" = UTF-8 ] || export LC_ALL=C.UTF-8
wine=$(command -v wine >/dev/null && echo "$PWD/scripts/run_wine" || true)
if [ -n "$wine" ] && [ ! -e "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$(dirname "$WINEPREFIX")"
  "$wine" wineboot --init >/dev/null 2>&1 || true
fi

# For a run of many programs. Wine's server ends with the last of its programs, and
# fails one that starts at that moment; and its services keep the output of the
# program that started them open while there are programs. So one program, without
# output, runs until the shell ends.
keep_wine_server() {
  timeout 60 wineserver -w || true
  mkfifo "$WINEPREFIX/stay.$$" || return 0
  exec {wine_stays}<>"$WINEPREFIX/stay.$$"
  rm "$WINEPREFIX/stay.$$"
  "$wine" cmd <&"$wine_stays" >/dev/null 2>&1 {wine_stays}<&- &
  trap 'wineserver -k || true' EXIT
  sleep 3
}
