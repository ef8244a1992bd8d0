# Sourced: a quiet Wine with a prefix of its own in the build folder.
export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$PWD/build/wine}"
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
if command -v wine >/dev/null && [ ! -e "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$(dirname "$WINEPREFIX")"
  wine wineboot --init >/dev/null 2>&1 || true
fi
