#!/usr/bin/env bash
# Brings GCC's own execution tests for C (gcc.c-torture/execute, gcc.dg/torture), for
# Fortran (gfortran.dg, gfortran.fortran-torture/execute) and for C++ (g++.dg, and those of
# the library, libstdc++), under the GNU General Public License, into build/gcc-tests, from
# Debian's package gcc-12-source. They are run as hosted programs and are no part of
# anything that is built. Does nothing where they are already there. --check only says
# whether they are.
set -uo pipefail
cd "$(dirname "$0")/.."
cache=build/gcc-tests
last=libstdc++/util/testsuite_tr1.h

not_available() {
  echo "GCC's tests: not available ($1)" >&2
  exit 1
}
[ -s "$cache/$last" ] && exit 0
[ "${1:-}" != --check ] || not_available "not fetched yet"
command -v apt-get >/dev/null || not_available "no apt-get"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
(cd "$scratch" && apt-get -q download gcc-12-source) >"$scratch/log" 2>&1 ||
  not_available "the package gcc-12-source cannot be fetched"
mkdir -p "$cache"
dpkg-deb --fsys-tarfile "$scratch"/gcc-12-source_*.deb |
  tar -x -C "$scratch" --wildcards './usr/src/gcc-12/gcc-*.tar.xz' &&
  tar -x -C "$cache" --wildcards \
    --transform 's,[^/]*/gcc/testsuite/,,;s,[^/]*/libstdc++-v3/testsuite/,libstdc++/,' \
    "*/gcc/testsuite/gcc.c-torture/execute/*" "*/gcc/testsuite/gcc.dg/torture/*" \
    "*/gcc/testsuite/gfortran.dg/*" "*/gcc/testsuite/gfortran.fortran-torture/execute/*" \
    "*/gcc/testsuite/g++.dg/*" "*/libstdc++-v3/testsuite/*" \
    -f "$scratch"/usr/src/gcc-12/gcc-*.tar.xz || not_available "the package has other contents"
[ -s "$cache/$last" ] || not_available "a test is missing in the package"
