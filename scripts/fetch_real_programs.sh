#!/usr/bin/env bash
# Brings the sources of the programs in scripts/real_programs.txt into build/real-programs,
# as the upstream tarballs of Debian's source packages. They are built and run as hosted
# programs by a test and are no part of anything that is built. Does nothing where they are
# already there. --check only says whether they are.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/package_source.sh

cache=build/real-programs
not_available() {
  echo "real programs: not available ($1)" >&2
  exit 1
}
wanted=()
while read -r package digest; do
  [ -s "$cache/$package.tar" ] || wanted+=("$package" "$digest" "$cache/$package.tar")
done < <(grep -v '^#' scripts/real_programs.txt)
[ ${#wanted[@]} -gt 0 ] || exit 0
[ "${1:-}" != --check ] || not_available "not fetched yet"
fetch_package_source "${wanted[@]}" || not_available "$fetch_failure"
