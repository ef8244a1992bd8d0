#!/usr/bin/env bash
# Builds both targets into build/host and build/windows, and installs both into
# build/tarnlib. Installs no packages: scripts/setup.sh does, once.
set -euo pipefail
cd "$(dirname "$0")"
[ $# -eq 0 ] || {
  echo "usage: ./build.sh" >&2
  exit 2
}

# Without the Windows packages the host target can be built all the same.
scripts/setup.sh --check || TARN_HOST_ONLY=1 scripts/setup.sh --check 2>/dev/null || exit 1

build() {
  cmake --preset "$1" >"build/$1.log" 2>&1 || {
    cat "build/$1.log" >&2
    exit 1
  }
  cmake --build "build/$1" >>"build/$1.log" 2>&1 || {
    tail -n 60 "build/$1.log" >&2
    exit 1
  }
}

mkdir -p build
echo "Building the host target"
build host
if command -v x86_64-w64-mingw32-g++-posix >/dev/null; then
  echo "Building the Windows target"
  build windows
else
  echo "Left out: the Windows target (no x86_64-w64-mingw32-g++-posix on this machine)"
fi
for target in host windows; do
  [ ! -f "build/$target/cmake_install.cmake" ] ||
    cmake --install "build/$target" --prefix build/tarnlib >"build/$target.install.log"
done
