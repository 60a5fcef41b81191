#!/usr/bin/env bash
# Builds the last commit twice, in other folders and under other circumstances, and compares the programs
# and what they write. Static libraries are not compared: beside their code they contain what the optimizer
# needs, and in that g++ names the folder.
# usage: scripts/reproducible.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install_dependencies.sh build media

programs=(quarrypack quarrypack-embed quarrypack-captions quarrypack-check)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Builds a clone. A cache of objects would give both builds the same ones.
build() {
  local sources=$1 build=$2 jobs=$3 log=$work/build.log
  echo "== build in $build"
  mkdir -p "$(dirname "$sources")"
  git clone --quiet "file://$PWD" "$sources"
  if ! { CCACHE_DISABLE=1 cmake -S "$sources" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release &&
         CCACHE_DISABLE=1 cmake --build "$build" --parallel "$jobs" --target "${programs[@]}"
       } >"$log" 2>&1; then
    cat "$log" >&2
    echo "reproducible.sh: the build failed" >&2
    exit 1
  fi
}

first=$work/a/build/release
second=$work/objects
(umask 022; TZ=UTC LC_ALL=C build "$work/a" "$first" "$(nproc)")
(umask 077; TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 HOME=$work \
  build "$work/another/and/longer/folder" "$second" "$(($(nproc) + 1))")

differences=0
compare() {
  if cmp --silent "$1" "$2"; then
    echo "$(sha256sum <"$1" | cut -c 1-64)  $3"
  else
    echo "DIFFERENT  $3"
    differences=$((differences + 1))
  fi
}

echo "== programs"
for program in "${programs[@]}"; do
  compare "$first/$program" "$second/$program" "$program"
done

echo "== movies"
QUARRYPACK=$first/quarrypack scripts/demo.sh >"$work/demo.log" 2>&1 ||
  { cat "$work/demo.log" >&2; exit 1; }

# Writes all that the programs of a build make of the movies into a folder. They run in a folder of one
# name, because the converter prints the whole path of its input.
write_outputs() {
  local build=$1 outputs=$work/outputs movie format
  mkdir "$outputs"
  for movie in demo film; do
    cp "build/demo/movie/$movie.mov" "$outputs"
    (
      cd "$outputs"
      "$build/quarrypack" --input-file $movie.mov --output-file $movie-converted.mp4 >$movie.txt
      "$build/quarrypack-embed" $movie.mov $movie-embedded.mp4 >>$movie.txt
      for format in scc srt vtt json; do
        "$build/quarrypack-captions" --format $format $movie.mov >$movie.$format
      done
      # Status 3 means findings.
      "$build/quarrypack-check" --html $movie.html $movie.mov >>$movie.txt || [ $? -eq 3 ]
      "$build/quarrypack-check" --json $movie.mov >$movie-check.json || [ $? -eq 3 ]
    )
  done
  mv "$outputs" "$2"
}

write_outputs "$first" "$work/first"
TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 write_outputs "$second" "$work/second"
for output in "$work/first"/*; do
  compare "$output" "$work/second/${output##*/}" "${output##*/}"
done

if [ "$differences" -gt 0 ]; then
  echo "reproducible.sh: $differences files differ" >&2
  exit 1
fi
echo "== the same bytes in both builds"
