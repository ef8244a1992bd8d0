#!/usr/bin/env bash
# Puts the published SLATEC routines that the special functions call into
# build/slatec, from the upstream tarball of Debian's source package maxima.
# Does nothing if they are already there. If they cannot be fetched, says so in one
# line and fails. TARN_WITHOUT_SLATEC=1 asks for a library without them,
# on a machine that cannot fetch. --check only says
# whether they are there.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/package_source.sh

cache=build/slatec
package=maxima
# What was published: the upstream tarball of maxima 5.46.0.
tarball_sha256=7390f06b48da65c9033e8b2f629b978b90056454a54022db7de70e2225aa8b07
folder=src/numerical/slatec/fortran
routines=$(cat src/numerics/slatec_routines.txt)

if [ "${TARN_WITHOUT_SLATEC:-0}" = 1 ]; then
  echo "slatec: left out as asked; DGAMMA@, DLOG_GAMMA@ and the Bessel functions raise error 29"
  exit 0
fi

not_available() {
  echo "slatec: not available ($1); TARN_WITHOUT_SLATEC=1 builds without gamma and Bessel functions" >&2
  exit 1
}

complete() {
  local routine
  for routine in $routines; do
    [ -s "$1/$routine.f" ] || return 1
  done
}
complete "$cache" && exit 0
[ "${1:-}" != --check ] || not_available "not fetched yet"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/fortran" "$cache"
tarball=$cache/$package.orig.tar.gz
fetch_package_source "$package" "$tarball_sha256" "$tarball" || not_available "$fetch_failure"

for routine in $routines; do
  echo "*/$folder/$routine.f"
done >"$scratch/wanted"
tar -xf "$tarball" -C "$scratch/fortran" --wildcards --transform='s:.*/::' -T "$scratch/wanted" 2>/dev/null
complete "$scratch/fortran" || not_available "a routine is missing in the tarball of $package"
mv "$scratch"/fortran/*.f "$cache/"
