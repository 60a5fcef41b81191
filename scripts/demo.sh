#!/usr/bin/env bash
# From a bare Debian 12 machine to captions read back from a converted movie: installs what is needed,
# builds the converter, makes a movie with a caption track, converts it, lets ffmpeg recover the
# captions from the pictures of the result, and compares them with those put in.
# Then it does the same with quarrypack-embed and a film that the converter would damage: 25 pictures a
# second with B-frames, PCM sound, and captions that are due between pictures.
# usage: scripts/demo.sh      QUARRYPACK=PROGRAM uses a program that is already built, and the
#                             quarrypack-embed beside it
set -euo pipefail
program=${QUARRYPACK:+$(realpath "$QUARRYPACK")}
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/demo
work=$build/movie

scripts/install_dependencies.sh build media

if [ -z "$program" ]; then
  echo "== build: release, in $build"
  mkdir -p "$build"
  log=$build/build.log
  if ! { cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release &&
         cmake --build "$build" --parallel "$(nproc)"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "demo.sh: the build failed" >&2
    exit 1
  fi
  program=$build/quarrypack
fi

echo "== movie: 8 seconds of picture, sound and captions, in $work/demo.mov"
rm -rf "$work"
mkdir -p "$work"
# The captions get the timescale of the picture, and each is moved to the picture on which its line of
# the file falls: a caption between two pictures would go to a sample of the sound, if one lies nearer.
ffmpeg -nostdin -v error \
  -f lavfi -i testsrc2=size=640x360:rate=30000/1001:duration=8 \
  -f lavfi -i sine=frequency=440:sample_rate=48000:duration=8 \
  -i demo/captions.scc -map 0:v -map 1:a -map 2:s \
  -c:v libx264 -pix_fmt yuv420p -bf 2 -g 30 -video_track_timescale 30000 -movie_timescale 30000 \
  -c:a aac \
  -c:s copy -bsf:s 'setts=time_base=1/30000:ts=1001*ceil(TS/1001):duration=1001' \
  "$work/demo.mov"

echo "== convert: $work/demo.mov to $work/demo.mp4"
"$program" --input-file "$work/demo.mov" --output-file "$work/demo.mp4"

echo "== streams of the result"
ffprobe -v error -show_entries stream=index,codec_type,codec_name -of csv=p=0 \
  "$work/demo.mp4"

# Reads the captions of a movie in the work folder with ffmpeg and compares them with those put in.
check_captions() {
  (cd "$work" && ffmpeg -nostdin -v error -f lavfi -i "movie=$1.mp4[out+subcc]" -map 0:s "$1.srt")
  # The texts of the subtitle file, without numbers, times and tags.
  sed -E 's/\r$//; s/<[^>]*>//g; s/\{[^}]*\}//g' "$work/$1.srt" | tee "$work/shown.txt"
  grep -vE '^[0-9]*$|-->' "$work/shown.txt" >"$work/found.txt" || true
  # The rows of the list of captions, without their times.
  grep -vE '^(#|$)' demo/captions.txt | cut -d ' ' -f 3- | tr '|' '\n' >"$work/put_in.txt"
  if ! diff -u "$work/put_in.txt" "$work/found.txt"; then
    echo "demo.sh: the captions found are not those put in" >&2
    exit 1
  fi
}

echo "== captions that ffmpeg finds in the pictures of the result"
check_captions demo
echo "== all $(wc -l <"$work/put_in.txt") rows of the captions came through: $work/demo.mp4"

echo "== a film for quarrypack-embed: 25 pictures a second, B-frames, PCM sound, in $work/film.mov"
ffmpeg -nostdin -v error \
  -f lavfi -i testsrc2=size=640x360:rate=25:duration=8 \
  -f lavfi -i sine=frequency=440:sample_rate=48000:duration=8 \
  -i demo/captions.scc -map 0:v -map 1:a -map 2:s \
  -c:v libx264 -pix_fmt yuv420p -bf 2 -g 50 -c:a pcm_s16le -c:s copy "$work/film.mov"

echo "== embed: $work/film.mov to $work/film.mp4"
"$(dirname "$program")/quarrypack-embed" "$work/film.mov" "$work/film.mp4"

echo "== captions that ffmpeg finds in the pictures of the film"
check_captions film
for kind in v a; do
  for file in film.mov film.mp4; do
    ffmpeg -nostdin -v error -i "$work/$file" -map "0:$kind" -f md5 -
  done >"$work/hashes.txt"
  if [ "$(uniq "$work/hashes.txt" | wc -l)" -ne 1 ]; then
    echo "demo.sh: quarrypack-embed changed the decoded pictures or the sound" >&2
    exit 1
  fi
done
echo "== captions in place, sound ($(head -1 "$work/hashes.txt")) and pictures unchanged: $work/film.mp4"
