#!/usr/bin/env bash
# Looks with valgrind for reads of memory that was never written and for memory that is lost: runs the
# unit tests, the tests of the library, and the four programs on each seed movie of the fuzz targets.
# Takes a quarter of an hour on two cores. Status 1 when valgrind or a test reports an error.
# usage: scripts/valgrind.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install_dependencies.sh build tests valgrind

configure=()
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
out=build/valgrind
mkdir -p "$out"
echo "== build: preset dev"
{ cmake --preset dev "${configure[@]}"; cmake --build --preset dev --parallel "$(nproc)"; } >"$out/build.log"
build/dev/tests/fuzz/make_seeds "$out/seeds"

# memcheck NAME COMMAND...: statuses below 99 are the program's own.
memcheck() {
  local status=0 name=$1
  shift
  valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
    --suppressions=scripts/valgrind.supp "$@" >"build/valgrind/$name.log" 2>&1 </dev/null || status=$?
  [ "$status" -lt 99 ] || { echo "$name: FAILED, see build/valgrind/$name.log"; return 1; }
}

run_test() {
  local name
  name=$(basename "$1")
  memcheck "$name" "$1" --gtest_brief=1 || return 1
  ! grep -q 'FAILED' "build/valgrind/$name.log" || { echo "$name: a test failed"; return 1; }
}

run_programs() {
  local movie=$1 name
  name=$(basename "$1" .mov)
  memcheck "convert-$name" build/dev/quarrypack --input-file "$movie" --output-file "$movie.mp4" &&
    memcheck "embed-$name" build/dev/quarrypack-embed --replace "$movie" "$movie.embedded.mp4" &&
    memcheck "captions-$name" build/dev/quarrypack-captions --format json "$movie" &&
    memcheck "check-$name" build/dev/quarrypack-check --html "$movie.html" "$movie"
}
export -f memcheck run_test run_programs

tests=$(find build/dev/tests/unit build/dev/tests/library -type f -executable \
  \( -name 'unit_*' -o -name 'library_*' \) | sort)
echo "== valgrind: $(wc -l <<<"$tests") test programs"
xargs -P "$(nproc)" -I{} bash -c 'run_test {}' <<<"$tests"
movies=$(find "$out/seeds/movies" -name '*.mov' | sort)
echo "== valgrind: four programs on $(wc -l <<<"$movies") movies"
xargs -P "$(nproc)" -I{} bash -c 'run_programs {}' <<<"$movies"
echo "== valgrind: nothing found"
