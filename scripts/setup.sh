#!/usr/bin/env bash
# Installs everything the project needs from Debian's packages, without
# questions. Does nothing if all is installed.
#   TARN_HOST_ONLY=1   leave out the cross compiler and Wine
#   --check            install and fetch nothing; say what is missing, and fail
set -euo pipefail
cd "$(dirname "$0")/.."
case $* in '' | --check) ;; *)
  echo "usage: scripts/setup.sh [--check]" >&2
  exit 2
  ;;
esac

host_packages=(
  g++ gfortran cmake ninja-build make git pkg-config
  libgtest-dev googletest libbenchmark-dev libmpfr-dev libopenblas-dev libncurses-dev
  liblz4-dev
  clang clang-format clang-tidy libclang-rt-14-dev tmux valgrind gdb python3
  mkdocs mkdocs-material
  debhelper lintian help2man binfmt-support zip xz-utils
)
windows_packages=(
  g++-mingw-w64-x86-64-posix gfortran-mingw-w64-x86-64-posix wine64 wine
  tcl xvfb xdotool imagemagick x11-utils ed
)

packages=("${host_packages[@]}")
[ "${TARN_HOST_ONLY:-0}" = 1 ] || packages+=("${windows_packages[@]}")

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
    missing+=("$package")
done
if [ "${1:-}" = --check ]; then
  scripts/fetch_slatec.sh --check >/dev/null 2>&1 || missing+=("SLATEC (or TARN_WITHOUT_SLATEC=1)")
  scripts/fetch_musl.sh --check >/dev/null 2>&1 || missing+=("the sources of musl")
  [ ${#missing[@]} -eq 0 ] && exit 0
  echo "Missing: ${missing[*]}; run scripts/setup.sh" >&2
  exit 1
fi
if [ ${#missing[@]} -eq 0 ]; then
  scripts/fetch_slatec.sh
  scripts/fetch_musl.sh
  scripts/fetch_gcc_tests.sh || true
  scripts/fetch_real_programs.sh || true
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "setup: run as root, or install: ${missing[*]}" >&2
    exit 1
  }
  as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "setup: installing ${missing[*]}"
if ! { "${as_root[@]}" apt-get update &&
  "${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup: could not install: ${missing[*]}" >&2
  exit 1
fi
scripts/fetch_slatec.sh
scripts/fetch_musl.sh
# Without them tests are left out.
scripts/fetch_gcc_tests.sh || true
scripts/fetch_real_programs.sh || true
