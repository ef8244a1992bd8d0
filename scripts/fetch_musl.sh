#!/usr/bin/env bash
# Brings the routines of the C library musl that crt/musl_routines.txt lists (strings,
# wide strings, mathematics, time; under the MIT licence) into build/musl, from the
# upstream tarball of Debian's source package. Does nothing where they are already
# there. --check only tells whether they are.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/package_source.sh

cache=build/musl
# What was published: musl 1.2.3.
tarball_sha256=7d5b0b6062521e4627e099e4c9dc8248d32a30285e959b7eecaa780cf8cfd4a4
files=$(sed -e 's/#.*//' crt/musl_routines.txt)

not_available() {
  echo "musl: not available ($1)" >&2
  exit 1
}
complete() {
  local file
  for file in $files; do
    [ -s "$1/$file" ] || return 1
  done
}
complete "$cache" && exit 0
[ "${1:-}" != --check ] || not_available "not fetched yet"

mkdir -p "$cache"
fetch_package_source musl "$tarball_sha256" "$cache/musl.orig.tar.gz" || not_available "$fetch_failure"
tar -xf "$cache/musl.orig.tar.gz" -C "$cache" --strip-components=1
complete "$cache" || not_available "a routine is missing in the tarball"
