#!/usr/bin/env bash
# Measures the release build: makes movies, runs cp, ffmpeg and the converter on them in turn, and
# prints each figure beside its target. Installs what it needs first. Takes 7 GB and some minutes.
# usage: scripts/bench.sh [--pairs N] [--only converter|captions|embed] [--programs]
# --programs runs those in bench/ too.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

programs=no
measure=()
while [ $# -gt 0 ]; do
  case "$1" in
    --pairs)
      [ $# -ge 2 ] || { echo "bench.sh: --pairs needs a number" >&2; exit 1; }
      measure+=(--pairs "$2")
      shift ;;
    --only)
      [ $# -ge 2 ] || { echo "bench.sh: --only needs a program" >&2; exit 1; }
      measure+=(--only "$2")
      shift ;;
    --programs) programs=yes ;;
    *)
      echo "bench.sh: unknown argument '$1'" >&2
      exit 1 ;;
  esac
  shift
done

build=build/bench
scripts/install_dependencies.sh build tests media bench

configure=()
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

echo "== build: release, in $build"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUARRYPACK_BENCH=ON "${configure[@]}"
cmake --build "$build" --parallel "$(nproc)" --target quarrypack quarrypack-captions quarrypack-embed bench

echo "== machine: $(nproc) processors, $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1)"
python3 tools/measure_conversion.py "$build/quarrypack" "$build/movies" "${measure[@]}"

if [ "$programs" = yes ]; then
  for program in "$build"/bench/bench_*; do
    [ -x "$program" ] && [ -f "$program" ] || continue
    echo "== $(basename "$program")"
    "$program"
  done
fi
