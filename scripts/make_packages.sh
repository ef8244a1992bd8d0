#!/usr/bin/env bash
# make_packages.sh [FOLDER [HOST_BUILD WINDOWS_BUILD]]: makes packages of both builds in
# FOLDER, by default build/packages, which is emptied first:
#
#   tarnrun, tarnrun-binfmt, tarnlib-tools, tarnlib-dev, tarnlib-doc   for Debian
#   tarnlib-VERSION-linux-x86_64.tar.xz      a prefix, for any Linux
#   tarnlib-VERSION-windows-x86_64.zip       a prefix, for Windows
#   tarnlib-VERSION-symbols.tar.xz           what was stripped off
#
# The same sources, compilers and last commit give the same bytes. Packages that name the
# folder of the sources or of the builds are refused, and those of which lintian has
# something to say.
set -euo pipefail
case ${1-} in -*)
  echo "usage: scripts/make_packages.sh [FOLDER [HOST_BUILD WINDOWS_BUILD]]" >&2
  exit 2
  ;;
esac
sources=$(cd "$(dirname "$0")/.." && pwd)
packages=$(realpath -m "${1:-$sources/build/packages}")
host=$(realpath "${2:-$sources/build/host}")
windows=$(realpath "${3:-$sources/build/windows}")
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$host/CMakeCache.txt")
export TZ=UTC LC_ALL=C
umask 022
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$sources" log -1 --format=%ct)}

rm -rf "$packages"
mkdir -p "$packages"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() {
  local log
  log=$(mktemp -p "$work")
  "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    echo "make_packages: failed: $*" >&2
    exit 1
  }
}

# What the folder $2 in $work holds as the archive $1, all of it of the last commit's time.
pack() {
  find "$work/$2" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  cd "$work/$2"
  case $1 in
    *.zip) find * | sort | quietly zip -X -q "$packages/$1" -@ ;;
    *) tar --sort=name --owner=0 --group=0 --numeric-owner --format=gnu -c * | xz -T1 >"$packages/$1" ;;
  esac
  cd "$sources"
}

# Prefixes, and what is stripped off the programs in them. The DLLs are built stripped.
name=tarnlib-$version
linux=$work/linux/$name symbols=$work/symbols/$name-symbols
quietly cmake --install "$host" --prefix "$linux"
quietly cmake --install "$windows" --component program --prefix "$linux"
quietly cmake --install "$windows" --prefix "$work/windows/$name"
mkdir -p "$symbols"
cp "$windows"/stripped/*.debug "$symbols"
for program in "$linux"/bin/*; do
  debug=$symbols/$(basename "$program").debug
  objcopy --only-keep-debug "$program" "$debug"
  objcopy --strip-all --add-gnu-debuglink="$debug" "$program"
done
{
  pack "$name-linux-x86_64.tar.xz" linux
  pack "$name-windows-x86_64.zip" windows
  pack "$name-symbols.tar.xz" symbols
} &
archives=$!

# Debian's packages; packaging/debian/rules installs from the builds.
debian=$work/debian
mkdir "$debian"
cp -r "$sources/packaging/debian" "$debian/debian"
cat >"$debian/debian/changelog" <<END
tarnlib ($version) unstable; urgency=medium

  * See CHANGELOG.md.

 -- $(sed -n 's/^Maintainer: //p' "$debian/debian/control")  $(date -R -d "@$SOURCE_DATE_EPOCH")
END
(
  cd "$debian"
  export DEB_RULES_REQUIRES_ROOT=no TARN_SOURCE=$sources TARN_HOST=$host TARN_WINDOWS=$windows
  export TARN_PACKAGES=$packages
  quietly debian/rules binary
)

mkdir "$work/unpacked"
wait $archives

# No package knows where it was built. The folder may be called as the installed ones are:
# /tarnlib in the container.
for package in "$packages"/*.deb; do
  dpkg-deb -R "$package" "$work/unpacked/$(basename "$package")"
done
underlined() { sed 's/[^A-Za-z0-9]/[_&]/g' <<<"$1"; } # also as a symbol has it
if grep -rlE "$(underlined "$sources/")(src|crt|tools|paneview|build)|$(underlined "$windows")" \
  "$work"/{linux,windows,symbols,unpacked}; then
  echo "make_packages: these files name the folder of the build" >&2
  exit 1
fi
if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error,warning "$packages"/*.deb || {
    echo "make_packages: lintian refuses the packages" >&2
    exit 1
  }
fi
