#!/usr/bin/env bash
# Puts the published SLATEC routines that the special functions call into
# build/slatec, from the upstream tarball of Debian's source package maxima.
# Does nothing if they are already there. If they cannot be fetched, says so in one
# line and fails. TARN_WITHOUT_SLATEC=1 asks for a library without them,
# on a machine that cannot fetch. --check only says
# whether they are there.
#
# Uses the machine's own package sources, read as source repositories in a
# folder of its own; nothing in the system's configuration changes.
set -uo pipefail
cd "$(dirname "$0")/.."

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
mkdir -p "$scratch"/{sources,lists/partial,cache/archives/partial,fortran} "$cache"
tarball=$cache/$package.orig.tar.gz

has_digest() { echo "$tarball_sha256  $1" | sha256sum --check --status 2>/dev/null; }

# The configured package sources, as source repositories.
list_sources() {
  local file
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
    case $file in
      *.list) sed -n -E 's/^[[:space:]]*deb([[:space:]])/deb-src\1/p' "$file" ;;
    esac
  done 2>/dev/null >"$scratch/sources/from_lists.list"
  for file in /etc/apt/sources.list.d/*.sources; do
    [ -r "$file" ] || continue
    sed -E 's/^Types:.*/Types: deb-src/' "$file" >"$scratch/sources/$(basename "$file")"
  done
}

own_apt() {
  apt-get -q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$scratch/sources" \
    -o Dir::State::lists="$scratch/lists" -o Dir::Cache="$scratch/cache" \
    -o APT::Sandbox::User=root -o Acquire::Languages=none \
    -o Acquire::http::Timeout=20 -o Acquire::https::Timeout=20 -o Acquire::Retries=1 "$@"
}

if ! has_digest "$tarball"; then
  command -v apt-get >/dev/null || not_available "no apt-get"
  list_sources
  own_apt update >"$scratch/log" 2>&1
  (cd "$scratch" && own_apt source --download-only --tar-only "$package") >>"$scratch/log" 2>&1 ||
    not_available "the source package $package cannot be fetched"
  found=$(find "$scratch" -maxdepth 1 -name "${package}_*.orig.tar.*" | head -n 1)
  [ -n "$found" ] || not_available "the source package $package has no upstream tarball"
  has_digest "$found" || not_available "the tarball of $package is not the expected one"
  mv "$found" "$tarball"
fi

for routine in $routines; do
  echo "*/$folder/$routine.f"
done >"$scratch/wanted"
tar -xf "$tarball" -C "$scratch/fortran" --wildcards --transform='s:.*/::' -T "$scratch/wanted" 2>/dev/null
complete "$scratch/fortran" || not_available "a routine is missing in the tarball of $package"
mv "$scratch"/fortran/*.f "$cache/"
