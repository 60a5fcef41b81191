#!/usr/bin/env bash
# Runs every fuzz target for some seconds, or for a number of executions, two at a time, from the seeds
# and the stored corpus, and prints the executions and the coverage of each. Status 1 if a failure was
# found; its input is then in build/fuzz/found. Newly found coverage is kept in build/fuzz/learned for the
# next run.
# usage: scripts/fuzz.sh SECONDS|--runs NUMBER [TARGET...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage='usage: scripts/fuzz.sh SECONDS|--runs NUMBER [TARGET...]'
if [ "${1:?$usage}" = --runs ]; then
  extent="${2:?$usage} executions"
  limit=-runs=$2
  shift
else
  extent="$1 s"
  limit=-max_total_time=$1
fi
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(conversion reader sources embed caption xml avcc sei decoder608 check scc)

build=build/fuzz
programs=$build/tests/fuzz
source=tests/fuzz

scripts/install_dependencies.sh build tests fuzz
configure=()
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
echo "== build: fuzz targets, in $build"
mkdir -p "$build"
log=$build/build.log
if ! { cmake --preset fuzz "${configure[@]}" &&
       cmake --build --preset fuzz --parallel "$(nproc)" \
         --target make_seeds "${targets[@]/#/fuzz_}"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "fuzz.sh: the build failed" >&2
  exit 1
fi
"$programs/make_seeds" "$programs/seeds"

corpus_of() {
  case "$1" in
    reader | conversion | sources | embed) echo movies ;;
    caption) echo captions ;;
    check) echo decoder608 ;;
    *) echo "$1" ;;
  esac
}

# fuzz TARGET: no input may take longer than 10 seconds, 600 MiB at once or 1500 MiB in all.
fuzz() {
  local target=$1 corpus dictionary=boxes.dict
  corpus=$(corpus_of "$target")
  [ ! -e "$source/$target.dict" ] || dictionary=$target.dict
  mkdir -p "$build/learned/$target" "$build/found"
  ASAN_OPTIONS=strict_string_checks=1:detect_stack_use_after_return=1 \
  UBSAN_OPTIONS=print_stacktrace=1 \
    "$programs/fuzz_$target" "$limit" -timeout=10 -rss_limit_mb=1500 \
      -malloc_limit_mb=600 -max_len=16384 -print_final_stats=1 \
      -dict="$source/$dictionary" -artifact_prefix="$build/found/$target-" \
      "$build/learned/$target" "$programs/seeds/$corpus" "$source/corpus/$corpus" \
      >"$build/$target.log" 2>&1
}

# report TARGET STATUS
report() {
  local executions coverage
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$build/$1.log")
  coverage=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$build/$1.log" | tail -1)
  printf '%-11s %s executions, %s: %s\n' "$1" "${executions:-?}" "${coverage:-no coverage}" \
    "$([ "$2" = 0 ] && echo "nothing found" || echo "FAILED, see $build/$1.log")"
}

echo "== fuzz: ${targets[*]}, each for $extent"
failed=0
for ((i = 0; i < ${#targets[@]}; i += 2)); do
  pair=("${targets[@]:i:2}")
  pids=()
  for target in "${pair[@]}"; do
    fuzz "$target" &
    pids+=($!)
  done
  for ((k = 0; k < ${#pair[@]}; ++k)); do
    status=0
    wait "${pids[k]}" || status=$?
    report "${pair[k]}" "$status"
    [ "$status" = 0 ] || failed=1
  done
done
exit "$failed"
