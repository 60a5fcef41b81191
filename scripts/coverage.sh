#!/usr/bin/env bash
# Line and branch coverage of the product's own code by all tests, as a table and as HTML pages.
# usage: scripts/coverage.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/coverage
# Counters of an earlier run would be added to the new ones.
if [ -d "$build" ]; then
  find "$build" -name '*.gcda' -delete
fi
scripts/test.sh --preset coverage

# Branches taken only when an exception passes through belong to the compiler, not to the code.
measure=(gcovr --root . --object-directory "$build"
  --filter 'src/' --filter 'config/' --filter 'kaf/' --filter 'kav/' --filter 'tarn/'
  --filter 'captions/' --filter 'check/' --filter 'companions/' --filter 'embed/' --filter 'sources/'
  --filter 'check/' --filter 'process/'
  --exclude-throw-branches --exclude-unreachable-branches)
mkdir -p "$build/html"
echo "== lines, and pages in $build/html/index.html"
"${measure[@]}" --print-summary --html-details "$build/html/index.html"
"${measure[@]}"
echo "== branches"
"${measure[@]}" --branches
