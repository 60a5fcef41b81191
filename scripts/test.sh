#!/usr/bin/env bash
# Builds everything with warnings as errors and runs all tests. Installs what it needs first.
# usage: scripts/test.sh [--preset NAME] [--browser] [--films]
#   --preset NAME   a preset of CMakePresets.json, "dev" unless given
#   --browser       also plays the movies in headless Chromium and hls.js, and compares the tables of
#                   all tools with those in doc/player-matrix.md; opens reports in Chromium
#   --films         the same for the films of quarrypack-embed, which play for eight minutes
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=dev
browser=
films=
groups=(build tests media players batch)
while [ $# -gt 0 ]; do
  case "$1" in
    --preset)
      [ $# -ge 2 ] || { echo "test.sh: --preset needs a name" >&2; exit 1; }
      preset=$2
      shift ;;
    --browser) browser=yes ;;
    --films)
      browser=yes
      films=yes ;;
    *)
      echo "test.sh: unknown argument '$1'" >&2
      exit 1 ;;
  esac
  shift
done

case "$preset" in
  fuzz) groups+=(fuzz) ;;
  coverage) groups+=(coverage) ;;
  tidy) groups+=(tidy) ;;
esac

if [ -n "$browser" ]; then
  groups+=(browser)
  # An npm from elsewhere works too, and often conflicts with that of Debian.
  command -v npm >/dev/null || groups+=(npm)
fi

scripts/install_dependencies.sh "${groups[@]}"

configure=()
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

echo "== configure: preset $preset"
cmake --preset "$preset" "${configure[@]}"
echo "== build"
cmake --build --preset "$preset" --parallel "$(nproc)"
echo "== test"
# Tests that include the browser run once, below, with all tools. Reports need the packages of npm.
elsewhere='^$'
[ -z "$browser" ] || elsewhere='^(Media\.PlayersShow|Browser\.ReportsShowTheirCues$)'
[ -z "$films" ] || elsewhere+='|^Media\.EmbeddedFilms'
ctest --preset "$preset" --parallel "$(nproc)" --exclude-regex "$elsewhere"

if [ -n "$browser" ]; then
  echo "== test in the browser"
  modules=build/browser
  mkdir -p "$modules"
  cp tests/browser/package.json tests/browser/package-lock.json "$modules"
  # Without its packages the browser is left out, and the other tools still run.
  judges=()
  if (cd "$modules" && npm ci --no-audit --no-fund); then
    judges+=(--browser "$modules" --document doc/player-matrix.md)
  else
    echo "== skipped: Chromium and hls.js, because npm did not get its packages"
  fi
  ctest --preset "$preset" --tests-regex '^Browser\.ReportsShowTheirCues$'
  python3 tests/media/player_test.py "build/$preset/quarrypack" \
    --table build/player-matrix.md "${judges[@]}"
  [ -z "$films" ] || python3 tests/media/embed_test.py "build/$preset/quarrypack-embed" \
    --table build/player-matrix-embed.md "${judges[@]}"
fi
echo "== all tests passed ($preset)"
