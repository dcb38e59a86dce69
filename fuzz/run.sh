#!/usr/bin/env bash
# Runs every fuzz target built in BUILD (default build-fuzz) on a copy of its corpus for SECONDS each
# (default 60), with its dictionary. A corpus replay only: SECONDS=0. Any crash, leak, timeout or
# memory blow-up stops the run with the artefact's path and exit code 1. The new inputs come from a
# fixed seed (FUZZ_SEED, default 1; 0 lets libFuzzer pick one), so that a run makes the same inputs in
# the same order each time. FUZZ_RUNS=N also stops each target after N new inputs, so that a short
# run in CI tries the same inputs on a fast machine and a slow one and cannot fail on a lucky draw.
#   [FUZZ_SEED=N] [FUZZ_RUNS=N] fuzz/run.sh [BUILD [SECONDS [TARGET...]]]
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$source_dir/build-fuzz}" && pwd)
seconds=${2:-60}
seed=${FUZZ_SEED:-1}
limit=()
[ "${FUZZ_RUNS:-0}" -gt 0 ] && limit=(-runs="$FUZZ_RUNS")
shift $(( $# > 2 ? 2 : $# ))
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in "$build"/fuzz/fuzz_*; do
    name=$(basename "$program")
    [ -d "$source_dir/fuzz/corpus/$name" ] && targets+=("$name")
  done
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/workpiece-fuzz-run-XXXXXX")
export ASAN_OPTIONS=detect_leaks=1:${ASAN_OPTIONS:-}
export LSAN_OPTIONS=suppressions=$source_dir/scripts/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TMPDIR=$work

failed=()
for name in "${targets[@]}"; do
  corpus=$work/$name/corpus
  artefacts=$work/$name/artefacts/
  mkdir -p "$corpus" "$artefacts"
  cp "$source_dir/fuzz/corpus/$name"/* "$corpus"/
  options=(-rss_limit_mb=2048 -timeout=25 -artifact_prefix="$artefacts" -print_final_stats=1)
  [ -f "$source_dir/fuzz/dict/$name.dict" ] && options+=(-dict="$source_dir/fuzz/dict/$name.dict")
  log=$work/$name/log
  # First every committed input once, then (unless SECONDS is 0) new ones for SECONDS.
  status=0
  "$build/fuzz/$name" "${options[@]}" -runs=0 "$corpus" > "$log" 2>&1 || status=$?
  if [ $status -eq 0 ] && [ "$seconds" -gt 0 ]; then
    "$build/fuzz/$name" "${options[@]}" -seed="$seed" -max_total_time="$seconds" "${limit[@]}" "$corpus" >> "$log" 2>&1 || status=$?
  fi
  runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*$' || echo 0)
  if [ $status -ne 0 ]; then
    echo "fuzz: $name FAILED (exit $status); log $log"
    grep -E '^(==[0-9]+==ERROR|SUMMARY|.*runtime error|artifact_prefix|Test unit written)' "$log" | head -5 || true
    failed+=("$name")
  else
    if [ "$seconds" -gt 0 ]; then
      rate=$(grep -o 'stat::average_exec_per_sec: *[0-9]*' "$log" | tail -1 | grep -o '[0-9]*$' || echo 0)
      echo "fuzz: $name ok, $runs runs within ${seconds} s ($rate exec/s, seed $seed)"
    else
      echo "fuzz: $name ok, $runs runs in ${seconds} s"
    fi
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz: ${#failed[@]} target(s) failed: ${failed[*]} (artefacts and logs under $work)"
  exit 1
fi
rm -rf "$work"
