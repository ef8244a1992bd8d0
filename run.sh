#!/usr/bin/env bash
# Sets the machine up, builds, and shows the main job on both targets.
set -euo pipefail
cd "$(dirname "$0")"
[ $# -eq 0 ] || {
  echo "usage: ./run.sh" >&2
  exit 2
}
scripts/setup.sh --check 2>/dev/null || scripts/setup.sh || TARN_HOST_ONLY=1 scripts/setup.sh
./build.sh
. scripts/wine_environment.sh

programs=build/windows/programs
[ -z "$wine" ] || keep_wine_server
[ -d "$programs" ] || {
  echo "Nothing to run: program images need the cross compiler (see above)"
  exit 1
}

show() {
  echo
  echo "\$ $1 ${*:2}"
  echo "-- on Linux, by tarnrun"
  (cd "$programs" && ../../host/tools/tarnrun/tarnrun "$1.exe" "${@:2}") || echo "(exit status $?)"
  if [ -n "$wine" ]; then
    echo "-- on Windows, by Wine"
    (cd "$programs" && "$wine" "$1.exe" "${@:2}" 2>/dev/null) || echo "(exit status $?)"
  fi
}

cp /usr/share/common-licenses/GPL-3 "$programs/licence.txt"
side_by_side() {
  (cd "$programs" && ../../host/tools/tarnrun/tarnrun "$1.exe" >"$1.linux" 2>&1) || true
  (cd "$programs" && "$wine" "$1.exe" >"$1.windows" 2>&1) || true
  echo
  echo "\$ $1                        on Linux, by tarnrun | on Windows, by Wine"
  tr -d '\r' <"$programs/$1.linux" | pr -m -t -w 130 - <(tr -d '\r' <"$programs/$1.windows")
}

# The main job: a line of output, a failure, and its report on both targets.
if [ -n "$wine" ]; then side_by_side divide; else show divide; fi
show arguments one 'two words' '/a/b' "'quoted text'"
show word_count licence.txt
show common_blocks
