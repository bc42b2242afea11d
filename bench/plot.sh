#!/usr/bin/env bash
# bench/plot.sh - draws EnumerateInstances throughput against the number of instances into
# docs/perf/enumeration_throughput.png (gnuplot; on Debian: apt-get install gnuplot-nox).
#
#   bench/plot.sh [BUILD_DIR]     run the enumeration benchmarks of BUILD_DIR/bench/e2e_bench
#                                 (default build dir: build; `./dev build` makes it), keep their
#                                 CSV in docs/perf/enumeration_throughput.csv, draw
#   bench/plot.sh --from FILE     draw from a CSV that e2e_bench wrote (--benchmark_format=csv),
#                                 e.g. docs/perf/e2e.csv from bench/summary.sh
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/docs/perf
png=$out/enumeration_throughput.png
mkdir -p "$out"

command -v gnuplot >/dev/null 2>&1 || {
  echo "plot.sh: gnuplot is not installed (Debian: apt-get install gnuplot-nox)" >&2
  exit 1
}

if [ "${1:-}" = "--from" ]; then
  csv=${2:?"usage: $0 --from FILE"}
else
  build=${1:-build}
  case $build in /*) ;; *) build=$root/$build ;; esac
  bin=$build/bench/e2e_bench
  [ -x "$bin" ] || { echo "plot.sh: $bin is missing (run ./dev build first)" >&2; exit 1; }
  csv=$out/enumeration_throughput.csv
  echo "==> $bin --benchmark_filter=^E2E/Enumerate" >&2
  "$bin" --benchmark_filter='^E2E/Enumerate' --benchmark_format=csv >"$csv.new"
  mv "$csv.new" "$csv"
fi

# One line per instance count: count, then instances/s through the daemon, daemon side only,
# client side only, bare socket.
dat=$(mktemp)
trap 'rm -f "$dat"' EXIT
awk 'BEGIN { FS = "," }
  NR == 1 { for (i = 1; i <= NF; i++) { h = $i; gsub(/"/, "", h); col[h] = i }; next }
  {
    name = $1; gsub(/"/, "", name)
    # Of repeated runs, the median stands.
    if (name ~ /_(mean|stddev|cv)$/) next
    if (split(name, part, "/") < 3 || part[1] != "E2E") next
    n = part[3] + 0; counts[n] = 1
    value[part[2], n] = $col["items_per_second"]
  }
  END {
    for (n in counts) {
      printf "%d %s %s %s %s\n", n, value["Enumerate", n], value["EnumerateDaemonOnly", n],
        value["EnumerateClientOnly", n], value["EnumerateBare", n]
    }
  }' "$csv" | sort -n >"$dat"
[ -s "$dat" ] || { echo "plot.sh: no enumeration results in $csv" >&2; exit 1; }

gnuplot <<EOF
set terminal pngcairo size 900,640 font "DejaVu Sans,11"
set output "$png"
set title "EnumerateInstances of Demo\\\\_Fan: throughput against instance count\n{/*0.8 rates over the wall-clock time of each request; machine and load in docs/PERFORMANCE.md}"
set xlabel "instances in the demo state (one enumeration returns all of them)"
set ylabel "instances per second"
set logscale xy
set format y "%.0s%c"
set xtics ("100" 100, "1,000" 1000, "10,000" 10000)
set xrange [70:14000]
set grid xtics ytics mytics
set key inside right center box opaque
plot "$dat" using 1:5 with linespoints lw 2 pt 5 title "bare AF\\\\_UNIX socket, same bytes (floor)", \\
     "$dat" using 1:4 with linespoints lw 2 pt 9 title "client side only (library client, canned answer)", \\
     "$dat" using 1:3 with linespoints lw 2 pt 11 title "daemon side only (bare client)", \\
     "$dat" using 1:2 with linespoints lw 3 pt 7 title "through cmpi-hostd into a client array"
EOF
echo "plot.sh: wrote $png" >&2
