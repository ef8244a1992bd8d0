#!/usr/bin/env bash
# The sources as they should be: formatted, and without findings.
set -euo pipefail
cd "$(dirname "$0")/.."
status=0
mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.c' | grep -vE '^src/(failure/catalogue.cpp|platform/assembly.h|numerics/slatec_names.h)$')
if command -v clang-format >/dev/null && [ ${#sources[@]} -gt 0 ]; then
  clang-format --dry-run --Werror "${sources[@]}" || status=1
fi
# The library by clang-tidy, where the fuzz build has recorded how clang compiles it.
if command -v run-clang-tidy >/dev/null && [ -f build/fuzz/compile_commands.json ]; then
  run-clang-tidy -p build/fuzz -quiet '/(src|paneview)/[^:]*\.cpp$' >build/clang-tidy.log 2>&1 || {
    grep -E 'error:|warning:' build/clang-tidy.log | sort -u | head -40
    status=1
  }
fi
exit $status
