#!/usr/bin/env bash
# release.sh [--dry-run] VERSION: checks that the sources are those of VERSION, makes the
# packages of what ./build.sh built, and tags the commit vVERSION. Nothing leaves the machine.
#   --dry-run   check, and say all that is amiss; make and tag nothing
# Before it: ./test.sh, and in CHANGELOG.md a heading "## VERSION, DATE" in the place of
# "## Unreleased".
set -euo pipefail
cd "$(dirname "$0")/.."
dry=0
if [ "${1:-}" = --dry-run ]; then
  dry=1
  shift
fi
version=${1:-}
[[ $# -eq 1 && $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || {
  echo "usage: $0 [--dry-run] MAJOR.MINOR.PATCH" >&2
  exit 2
}

amiss=0
wrong() {
  echo "release: $*" >&2
  amiss=1
}

[ -z "$(git status --porcelain)" ] || wrong "there are changes that are not committed"
! git rev-parse -q --verify "refs/tags/v$version" >/dev/null || wrong "there is a tag v$version"
newest=$(git tag --list 'v*' --sort=-v:refname | head -n 1)
if [ -n "$newest" ]; then
  [ "$(printf '%s\n' "${newest#v}" "$version" | sort -V | tail -n 1)" = "$version" ] ||
    wrong "the newest tag is $newest"
  git merge-base --is-ancestor "$newest" HEAD || wrong "this commit does not follow $newest"
fi

heading=$(grep -m 1 '^## ' CHANGELOG.md)
[[ $heading =~ ^"## $version, "[0-9]{4}-[0-9]{2}-[0-9]{2}$ ]] ||
  wrong "CHANGELOG.md begins with '$heading', not with '## $version, DATE'"
sed -n "/^## $version,/,/^## /p" CHANGELOG.md | grep -q '^- ' || wrong "CHANGELOG.md says nothing of $version"

# Where the version is written, and what has it.
stated() { [ "$2" = "$version" ] || wrong "$1 has version '$2'"; }
stated CMakeLists.txt "$(sed -n 's/^project(tarnlib VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"
stated packaging/vcpkg/tarnlib/vcpkg.json \
  "$(sed -n 's/^ *"version": "\([^"]*\)".*/\1/p' packaging/vcpkg/tarnlib/vcpkg.json)"
for tool in tarnrun tarncc; do
  stated "build/host's $tool" "$(build/host/tools/$tool/$tool --version 2>/dev/null | sed -n "s/^$tool //p")"
done

[ $amiss = 0 ] || exit 1
if [ $dry = 1 ]; then
  echo "release: $version can be made; tag v$version at $(git rev-parse --short HEAD)"
  exit 0
fi
scripts/make_packages.sh
git tag -a "v$version" -m "tarnlib $version"
echo "release: tagged v$version; its packages are in build/packages"
