#!/usr/bin/env bash
# Sets up, builds, and runs every test on both targets.
set -euo pipefail
cd "$(dirname "$0")"
./build.sh
. scripts/wine_environment.sh

passed=0
failed=0
skipped=0

# Runs the tests of one build folder and counts them.
run_tests() {
  local report="build/$1.tests.log"
  echo "Tests: $2"
  ctest --test-dir "build/$1" --output-on-failure --timeout 300 -j "$(nproc)" >"$report" 2>&1 || true
  local total bad left_out
  total=$(sed -n 's/^.*% tests passed, [0-9]* tests* failed out of \([0-9]*\).*$/\1/p' "$report")
  bad=$(sed -n 's/^.*% tests passed, \([0-9]*\) tests* failed out of .*$/\1/p' "$report")
  left_out=$(grep -c 'Skipped' "$report" || true)
  if [ -z "$total" ]; then
    cat "$report"
    failed=$((failed + 1))
    return
  fi
  [ "$bad" = 0 ] || cat "$report"
  passed=$((passed + total - bad - left_out))
  failed=$((failed + bad))
  skipped=$((skipped + left_out))
}

run_tests host "host target"
if [ -d build/windows ] && command -v wine >/dev/null; then
  run_tests windows "Windows target under Wine, and the same programs on both targets"
else
  echo "Left out: the Windows target and the program images (no cross compiler or no Wine)"
fi

sanitized() {
  echo "Building with sanitizers"
  cmake --preset host-asan >build/host-asan.log 2>&1 &&
    cmake --build build/host-asan >>build/host-asan.log 2>&1 || {
    tail -n 60 build/host-asan.log >&2
    failed=$((failed + 1))
    return
  }
  run_tests host-asan "host target under AddressSanitizer and UndefinedBehaviorSanitizer"
}
sanitized

fuzzed() {
  command -v clang++ >/dev/null || { echo "Left out: fuzzing (no clang)"; return; }
  echo "Building the fuzz targets"
  cmake --preset fuzz >build/fuzz.log 2>&1 && cmake --build build/fuzz >>build/fuzz.log 2>&1 || {
    tail -n 60 build/fuzz.log >&2
    failed=$((failed + 1))
    return
  }
  run_tests fuzz "fuzz targets, five seconds each"
}
fuzzed

scripts/check_sources.sh || failed=$((failed + 1))

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
