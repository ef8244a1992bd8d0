#!/usr/bin/env bash
# Sets up, builds, and runs every test on both targets.
#
#   ./test.sh          minutes
#   ./test.sh --long   hours: a minute for each fuzz target, the soak tests a
#                      million times, failures at every call of the platform,
#                      GCC's execution tests at every level, all tests of
#                      foreign programs, the host's unit tests under valgrind,
#                      the packages of a build in another folder
set -euo pipefail
cd "$(dirname "$0")"
fuzz_seconds=5
time_limit=300
long=0
case "${1:-}" in
  "") ;;
  --long)
    long=1
    fuzz_seconds=60
    time_limit=14400
    ;;
  *)
    echo "usage: $0 [--long]" >&2
    exit 2
    ;;
esac
scripts/setup.sh --check 2>/dev/null || scripts/setup.sh || TARN_HOST_ONLY=1 scripts/setup.sh
./build.sh
. scripts/wine_environment.sh

passed=0
failed=0
skipped=0

# Runs the tests of one build folder and counts them.
run_tests() {
  local report="build/$1.tests.log"
  echo "Tests: $2"
  ctest --test-dir "build/$1" --output-on-failure --timeout "$time_limit" -j "$(nproc)" >"$report" 2>&1 || true
  local total bad left_out
  total=$(sed -n 's/^.*% tests passed, [0-9]* tests* failed out of \([0-9]*\).*$/\1/p' "$report")
  bad=$(sed -n 's/^.*% tests passed, \([0-9]*\) tests* failed out of .*$/\1/p' "$report")
  left_out=$(grep -c '\*\*\*Skipped' "$report" || true)
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

if [ $long = 1 ]; then
  export TARN_SOAK=1000000 TARN_EVERY_FAILURE=1 TARN_EVERY_TORTURE=1 TARN_EVERY_PROGRAM=1
fi
run_tests host "host target"
if [ -d build/windows ] && [ -n "$wine" ]; then
  keep_wine_server
  run_tests windows "Windows target under Wine, and the same programs on both targets"
else
  echo "Left out: the Windows target and the program images (no cross compiler or no Wine)"
fi

unset TARN_SOAK TARN_EVERY_FAILURE TARN_EVERY_TORTURE TARN_EVERY_PROGRAM

memory_checked() {
  command -v valgrind >/dev/null || { echo "Left out: valgrind (it is not installed)"; return; }
  echo "Tests: unit tests of the host under valgrind"
  local test name excluded report=build/host.valgrind.log
  excluded=$(ctest --test-dir build/host -N -L '^no_valgrind$')
  : >"$report"
  for test in build/host/tests/unit/*_test; do
    name=$(basename "$test")
    if grep -q ": unit\.$name\$" <<<"$excluded"; then
      skipped=$((skipped + 1))
    elif (cd build/host/tests/unit &&
      timeout "$time_limit" valgrind -q --error-exitcode=99 "./$name") >>"$report" 2>&1; then
      passed=$((passed + 1))
    else
      echo "Failed under valgrind: $name, see $report"
      failed=$((failed + 1))
    fi
  done
}
[ $long = 0 ] || memory_checked

# The packages are the same when the last commit is built in another folder.
built_elsewhere() {
  [ -z "$(git status --porcelain)" ] || { echo "Left out: packages built elsewhere (there are changes)"; return; }
  echo "Building in another folder: the same packages"
  local scratch
  scratch=$(mktemp -d)
  if git clone -q . "$scratch/another/folder" && mkdir "$scratch/another/folder/build" &&
    cp -r build/slatec build/musl "$scratch/another/folder/build" &&
    (cd "$scratch/another/folder" && ./build.sh && scripts/make_packages.sh "$scratch/there") &&
    scripts/make_packages.sh "$scratch/here" && diff -r "$scratch/here" "$scratch/there"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
  fi >build/elsewhere.log 2>&1
  grep -a '^Binary files\|^make_packages' build/elsewhere.log || true
  rm -rf "$scratch"
}
[ $long = 0 ] || built_elsewhere

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
  cmake --preset fuzz -DTARN_FUZZ_SECONDS=$fuzz_seconds >build/fuzz.log 2>&1 &&
    cmake --build build/fuzz >>build/fuzz.log 2>&1 || {
    tail -n 60 build/fuzz.log >&2
    failed=$((failed + 1))
    return
  }
  run_tests fuzz "fuzz targets, $fuzz_seconds seconds each"
}
fuzzed

scripts/check_sources.sh || failed=$((failed + 1))

# What this run compiled, it compiled without a warning.
if grep -h 'warning: ' build/{host,windows,host-asan,fuzz}.log 2>/dev/null | sort -u | grep .; then
  failed=$((failed + 1))
fi

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
