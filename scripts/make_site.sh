#!/usr/bin/env bash
# Makes the documentation site of README.md and docs/ in build/site, and checks it.
# To read it with its search: python3 -m http.server -d build/site
set -euo pipefail
cd "$(dirname "$0")/.."
pages=build/site-pages
rm -rf "$pages"
mkdir -p "$pages"
# The repository's own layout, so that a link leads to the same place here and there.
for name in README.md CONTRIBUTING.md CHANGELOG.md LICENSE NOTICE SECURITY.md docs examples; do
  [ ! -e "$name" ] || ln -s "$PWD/$name" "$pages/$name"
done
cp scripts/site.css "$pages/site.css"
PYTHONWARNINGS=ignore mkdocs build --quiet --strict --clean
python3 scripts/check_site.py build/site
