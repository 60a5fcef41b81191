#!/usr/bin/env bash
# Formats every C++ file that git tracks, with the one version of clang-format that the project uses.
# usage: scripts/format.sh [--check]     --check changes nothing and fails on a difference
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

formatter=clang-format-14
command -v "$formatter" >/dev/null || scripts/install_dependencies.sh format

case "${1:-}" in
  "") mode=(-i) ;;
  --check) mode=(--dry-run -Werror) ;;
  *) echo "usage: scripts/format.sh [--check]" >&2; exit 1 ;;
esac

git ls-files -z '*.h' '*.cpp' | xargs -0 --no-run-if-empty "$formatter" "${mode[@]}"
echo "== format: $(git ls-files '*.h' '*.cpp' | wc -l) files ${1:-formatted}"
