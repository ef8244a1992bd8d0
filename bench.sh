#!/usr/bin/env bash
# Builds, and prints the table of speeds: ./bench.sh [--row TEXT]... [--runs N] [--json];
# bench/table.py says how it is measured.
set -euo pipefail
cd "$(dirname "$0")"
scripts/setup.sh --check 2>/dev/null || scripts/setup.sh >&2
./build.sh >&2
bench/foreign_programs.sh >&2
. scripts/wine_environment.sh
[ -z "$wine" ] || keep_wine_server
bench/table.py "$@"
