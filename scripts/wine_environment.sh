# Sourced: a quiet Wine with a prefix of its own in the build folder.
export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$PWD/build/wine}"
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
if command -v wine >/dev/null && [ ! -e "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$(dirname "$WINEPREFIX")"
  wine wineboot --init >/dev/null 2>&1 || true
fi

# Wine's server ends with the last of its programs, and drops one that comes at
# that moment: for a run of many programs one server stays until the shell ends.
keep_wine_server() {
  timeout 60 wineserver -w || true
  wineserver -p || true
  trap 'wineserver -k || true' EXIT
}
