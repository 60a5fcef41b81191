#!/usr/bin/env bash
# Installs the project into a temporary folder, builds the examples against what is installed there
# and nothing else, and runs them.
# usage: tests/package/examples_test.sh BUILD_FOLDER
set -euo pipefail
build=$(realpath "$1")
examples=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../examples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }; }
expect() { [ "$1" = "$2" ] || { echo "examples_test.sh: '$1' instead of '$2'" >&2; exit 1; }; }

quietly cmake --install "$build" --prefix "$work/installed"
# Away from the sources, so that no header is found there by chance.
cp -r "$examples" "$work/examples"
quietly cmake -S "$work/examples" -B "$work/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$work/installed" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror"
quietly cmake --build "$work/build"
"$work/installed/bin/quarrypack" --help >/dev/null

cd "$work"
for form in regular fragmented; do
  build/write_movie "$form.mp4" "$form"
  build/list_samples "$form.mp4" >"$form.txt"
  expect "$(wc -l <"$form.txt")" 50
  expect "$(grep -c ', sync' "$form.txt")" 50
  # 50 pictures of 64 by 64 pixels, three bytes each.
  expect "$(build/extract_track "$form.mp4" vide | wc -c)" 614400
  if command -v ffmpeg >/dev/null; then
    expect "$(ffmpeg -nostdin -v error -i "$form.mp4" -f null - 2>&1)" ""
    expect "$(ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 \
      "$form.mp4")" 50
  fi
done
expect "$(grep -o 'fragment [0-9]*' fragmented.txt | sort -u | tr '\n' ' ')" "fragment 1 fragment 2 "
expect "$(sed -n 26p regular.txt | cut -d: -f1)" "track 1 at 1 s"
: >empty.mp4
build/list_samples empty.mp4 2>failure.txt && { echo "examples_test.sh: no movie listed" >&2; exit 1; }
expect "$(cat failure.txt)" "list_samples: the file holds no movie (no moov box)"
echo "== the examples build against the installed library and do what they say"
