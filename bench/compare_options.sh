#!/usr/bin/env bash
# bench/compare_options.sh - one build of cmpi-hostd with two sets of options, in turns.
#
#   bench/compare_options.sh "OPTIONS A" "OPTIONS B" [BUILD_DIR [ROUNDS [FILTER]]]
#
# Runs BUILD_DIR/bench/$BENCH_PROGRAM (item_bench unless set; e2e_bench for the demo provider)
# ROUNDS times (default 3) with the daemon started with options A, then B (BENCH_HOSTD_OPTIONS),
# and prints the table of bench/compare_hostd.sh: per benchmark the median over the rounds of
# items/s, p50 and the daemon's CPU, A as "this build", B as "other build". FILTER defaults to
# the enumerations of 10,000 and 100,000 with their halves. The CSV files and the load average
# before each run go to docs/perf/options-item/ (options-demo/ for e2e_bench). Example, the worker's encoder thread:
#   bench/compare_options.sh "--encoder-thread on" "--encoder-thread off"
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
a=${1?"usage: $0 \"OPTIONS A\" \"OPTIONS B\" [BUILD_DIR [ROUNDS [FILTER]]]"}
b=${2?"usage: $0 \"OPTIONS A\" \"OPTIONS B\" [BUILD_DIR [ROUNDS [FILTER]]]"}
build=${3:-build}
rounds=${4:-3}
program=${BENCH_PROGRAM:-item_bench}
case $program in
  item_bench) prefix=Item out=$root/docs/perf/options-item ;;
  e2e_bench) prefix=E2E out=$root/docs/perf/options-demo ;;
  *) echo "compare_options.sh: BENCH_PROGRAM is e2e_bench or item_bench" >&2; exit 2 ;;
esac
filter=${5:-"^$prefix/Enumerate(DaemonOnly|ClientOnly)?/(10000|100000)/"}
case $build in /*) ;; *) build=$root/$build ;; esac
bin=$build/bench/$program
[ -x "$bin" ] || { echo "compare_options.sh: $bin is missing (run ./dev build first)" >&2; exit 1; }

mkdir -p "$out"
rm -f "$out"/*.csv "$out/load.txt"
echo "A: $a; B: $b; $program" > "$out/load.txt"
for ((r = 1; r <= rounds; r++)); do
  for side in this other; do
    options=$a
    [ "$side" = other ] && options=$b
    echo "$side ($options) round $r: $(cat /proc/loadavg)" | tee -a "$out/load.txt" >&2
    BENCH_HOSTD_OPTIONS=$options "$bin" --benchmark_filter="$filter" --benchmark_format=csv \
      >"$out/$side-$r.csv" 2>/dev/null
  done
done
echo "after: $(cat /proc/loadavg)" | tee -a "$out/load.txt" >&2
"$root/bench/compare_hostd.sh" --from "$out"
