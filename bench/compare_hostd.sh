#!/usr/bin/env bash
# bench/compare_hostd.sh - the end-to-end benchmark against two builds of cmpi-hostd in turns: the
# one of BUILD_DIR and one built from an earlier commit, so that both meet the same machine and
# the same load (the machine is shared; a comparison with figures from another day is not fair).
#
#   bench/compare_hostd.sh COMMIT [BUILD_DIR [ROUNDS [FILTER]]]
#   bench/compare_hostd.sh --from DIR      print the table again from the CSV files kept in DIR
#
# Builds cmpi-hostd of COMMIT once (git archive into /tmp/cmpi-hostd-COMMIT, the same CMake
# settings, only that target), then runs BUILD_DIR/bench/e2e_bench ROUNDS times (default 3) with
# each daemon in turn (BENCH_HOSTD selects the other), one repetition per run, and prints for
# every benchmark the median over the rounds for each daemon and the ratio. Everything else (the
# client, the demo provider, the schema) is BUILD_DIR's, so only the daemon differs. FILTER
# (a --benchmark_filter) defaults to the benchmarks any daemon can run: the GetInstance ones
# without --worker-requests and their floors, and the enumeration of 10,000 with its halves; this
# build also runs E2E/GetInstanceCold, which the table sets against the other build's
# E2E/GetInstance (a daemon that starts its processes for every request has no warm case). The
# raw CSV files and the load average before each run go to docs/perf/compare/.
#
# BENCH_PROGRAM=item_bench compares with the benchmark provider instead (build/bench/item_bench:
# GetInstance with 1 and 8 clients and the enumeration of 10,000 items with its halves, their
# floors; files in docs/perf/compare-item/). Where a benchmark reports the daemon's own CPU time
# (daemon_cpu_us: per request, or per instance for enumerations), the table shows its median
# too: it moves far less with the machine's load than the wall clock.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)

# table DIR: per benchmark and daemon, the median over the rounds of items/s and of the p50
# latency, from DIR/this-<round>.csv and DIR/other-<round>.csv.
table() {
  awk 'BEGIN { FS = "," }
  FNR == 1 {
    split(FILENAME, path, "/"); side = path[length(path)]; sub(/-[0-9]+\.csv$/, "", side)
    for (i = 1; i <= NF; i++) { h = $i; gsub(/"/, "", h); col[h] = i }
    next
  }
  {
    name = $1; gsub(/"/, "", name)
    threads = ""
    if (match(name, /\/threads:[0-9]+/)) threads = substr(name, RSTART + 9, RLENGTH - 9)
    sub(/\/(min_time:|iterations:|manual_time|real_time|threads:).*$/, "", name)
    if (threads != "") name = name "/threads:" threads
    if (!(name in seen)) { seen[name] = 1; order[++names] = name }
    k = name SUBSEP side
    n = ++count[k]
    rate[k, n] = $col["items_per_second"] + 0
    p50[k, n] = $col["p50_us"] + 0
    cpu[k, n] = ("daemon_cpu_us" in col) ? $col["daemon_cpu_us"] + 0 : 0
  }
  function dur(us) {
    if (us >= 1e6) return sprintf("%.2f s", us / 1e6)
    return (us >= 1000) ? sprintf("%.2f ms", us / 1000) : sprintf("%.1f µs", us)
  }
  function median(a, k, n,    i, j, v, x) {
    for (i = 1; i <= n; i++) v[i] = a[k, i]
    for (i = 2; i <= n; i++) { x = v[i]; for (j = i - 1; j >= 1 && v[j] > x; j--) v[j + 1] = v[j]; v[j + 1] = x }
    return (n % 2) ? v[(n + 1) / 2] : (v[n / 2] + v[n / 2 + 1]) / 2
  }
  END {
    print "| benchmark | this build: items/s | p50 | daemon CPU | other build: items/s | p50 | daemon CPU | this ÷ other (items/s) |"
    print "|---|---:|---:|---:|---:|---:|---:|---:|"
    for (i = 1; i <= names; i++) {
      a = order[i] SUBSEP "this"; b = order[i] SUBSEP "other"
      if (!(a in count) || !(b in count)) continue
      ra = median(rate, a, count[a]); rb = median(rate, b, count[b])
      ca = median(cpu, a, count[a]); cb = median(cpu, b, count[b])
      printf "| %s | %.0f | %s | %s | %.0f | %s | %s | %.2f |\n", order[i], ra,
        dur(median(p50, a, count[a])), (ca > 0) ? dur(ca) : "–", rb, dur(median(p50, b, count[b])),
        (cb > 0) ? dur(cb) : "–", (rb > 0) ? ra / rb : 0
    }
    a = "E2E/GetInstanceCold" SUBSEP "this"; b = "E2E/GetInstance" SUBSEP "other"
    if ((a in count) && (b in count)) {
      ra = median(rate, a, count[a]); rb = median(rate, b, count[b])
      printf "| E2E/GetInstanceCold against E2E/GetInstance of the other build | %.0f | %s | – | %.0f | %s | – | %.2f |\n",
        ra, dur(median(p50, a, count[a])), rb, dur(median(p50, b, count[b])), (rb > 0) ? ra / rb : 0
    }
  }' "$1"/this-*.csv "$1"/other-*.csv
}

if [ "${1:-}" = "--from" ]; then
  table "${2:?"usage: $0 --from DIR"}"
  exit 0
fi

commit=${1:?"usage: $0 COMMIT [BUILD_DIR [ROUNDS [FILTER]]]"}
build=${2:-build}
rounds=${3:-3}
program=${BENCH_PROGRAM:-e2e_bench}
case $program in
  e2e_bench)
    prefix=E2E out=$root/docs/perf/compare cold='|^E2E/GetInstanceCold/' ;;
  item_bench)
    prefix=Item out=$root/docs/perf/compare-item cold='' ;;
  *) echo "compare_hostd.sh: BENCH_PROGRAM is e2e_bench or item_bench" >&2; exit 2 ;;
esac
filter=${4:-"^$prefix/(GetInstance|GetInstanceBare|GetInstanceConcurrent/.*|GetInstanceBareConcurrent/.*|Enumerate/10000|EnumerateDaemonOnly/10000|EnumerateClientOnly/10000)/"}
case $build in /*) ;; *) build=$root/$build ;; esac
bin=$build/bench/$program
[ -x "$bin" ] || { echo "compare_hostd.sh: $bin is missing (run ./dev build first)" >&2; exit 1; }

sha=$(git -C "$root" rev-parse --short "$commit")
other=/tmp/cmpi-hostd-$sha
if [ ! -x "$other/build/programs/hostd/cmpi-hostd" ]; then
  echo "==> building cmpi-hostd of $sha in $other" >&2
  mkdir -p "$other"
  git -C "$root" archive "$sha" | tar -x -C "$other"
  cmake -S "$other" -B "$other/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$other/build" -j2 --target cmpi-hostd >/dev/null
fi
other_bin=$other/build/programs/hostd/cmpi-hostd

mkdir -p "$out"
rm -f "$out"/*.csv "$out/load.txt"
for ((r = 1; r <= rounds; r++)); do
  for side in this other; do
    echo "$side round $r: $(cat /proc/loadavg)" | tee -a "$out/load.txt" >&2
    if [ "$side" = other ]; then
      BENCH_HOSTD=$other_bin "$bin" --benchmark_filter="$filter" --benchmark_format=csv \
        >"$out/$side-$r.csv" 2>/dev/null
    else
      "$bin" --benchmark_filter="$filter$cold" --benchmark_format=csv \
        >"$out/$side-$r.csv" 2>/dev/null
    fi
  done
done
echo "after: $(cat /proc/loadavg)" | tee -a "$out/load.txt" >&2
table "$out"
