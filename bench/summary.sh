#!/usr/bin/env bash
# bench/summary.sh - runs the codec, tokenizer and end-to-end benchmarks and prints their numbers
# as the Markdown tables of docs/PERFORMANCE.md, each next to its floor.
#
#   bench/summary.sh [BUILD_DIR [BENCHMARK ARGS...]]
#                                       run (default build dir: build; `./dev build` makes it) and
#                                       keep the raw results in docs/perf/{codec,tokenizer,e2e}.csv
#                                       and each run's context (machine, load) in *.context
#   bench/summary.sh --from DIR         print the tables from the CSV files kept in DIR
#
# With --benchmark_repetitions=N (N >= 2; add --benchmark_report_aggregates_only=true to keep the
# CSV short) the tables show the medians and the spread (standard deviation / mean of the time).
#
# Rates of the codec and tokenizer programs are over the CPU time of the benchmark thread; the
# end-to-end rates are over the wall-clock time of each request.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
programs=(codec tokenizer e2e)

if [ "${1:-}" = "--from" ]; then
  data=${2:?"usage: $0 --from DIR"}
else
  build=${1:-build}
  shift || true
  case $build in /*) ;; *) build=$root/$build ;; esac
  data=$root/docs/perf
  mkdir -p "$data"
  for p in "${programs[@]}"; do
    bin=$build/bench/${p}_bench
    [ -x "$bin" ] || { echo "summary.sh: $bin is missing (run ./dev build first)" >&2; exit 1; }
    echo "==> $bin" >&2
    "$bin" --benchmark_format=csv "$@" >"$data/$p.csv.new" 2>"$data/$p.context.new" || {
      cat "$data/$p.context.new" >&2
      exit 1
    }
    mv "$data/$p.csv.new" "$data/$p.csv"
    grep -v '^\*\*\*WARNING' "$data/$p.context.new" >"$data/$p.context" || true
    rm -f "$data/$p.context.new"
  done
fi

for p in "${programs[@]}"; do
  [ -f "$data/$p.csv" ] || { echo "summary.sh: $data/$p.csv is missing" >&2; exit 1; }
done

# Every CSV row as: name (without the run-setting suffixes), seconds per iteration (CPU time for
# codec and tokenizer, the measured time for e2e), items/s, bytes/s, then the user counters
# answer_bytes p50_us p99_us doc_bytes (0 where a program has none). Of the aggregates of repeated
# runs, the median stands for the benchmark; mean and standard deviation come as "mean:<name>" and
# "sd:<name>".
rows() {
  awk -v use_cpu="$2" 'BEGIN { FS = "," }
    NR == 1 { for (i = 1; i <= NF; i++) { h = $i; gsub(/"/, "", h); col[h] = i }; next }
    {
      name = $1; gsub(/"/, "", name)
      aggregate = ""
      if (match(name, /_(mean|median|stddev|cv)$/)) aggregate = substr(name, RSTART + 1)
      sub(/\/(min_time:|iterations:|manual_time|real_time).*$/, "", name)
      if (aggregate == "cv") next
      if (aggregate == "mean") name = "mean:" name
      if (aggregate == "stddev") name = "sd:" name
      unit = $col["time_unit"]; scale = 1e-9
      if (unit == "us") scale = 1e-6; else if (unit == "ms") scale = 1e-3; else if (unit == "s") scale = 1
      t = (use_cpu ? $col["cpu_time"] : $col["real_time"]) * scale
      printf "%s %.9g %.9g %.9g", name, t, $col["items_per_second"] + 0, $col["bytes_per_second"] + 0
      n = split("answer_bytes p50_us p99_us doc_bytes", extra, " ")
      for (k = 1; k <= n; k++) printf " %.9g", (extra[k] in col) ? $col[extra[k]] + 0 : 0
      printf "\n"
    }' "$1"
}

all=$( { rows "$data/codec.csv" 1; rows "$data/tokenizer.csv" 1; rows "$data/e2e.csv" 0; } )

awk '
function group(x,    s, neg) {       # 1234567 -> 1,234,567
  neg = x < 0; x = sprintf("%.0f", neg ? -x : x); s = ""
  while (length(x) > 3) { s = "," substr(x, length(x) - 2) s; x = substr(x, 1, length(x) - 3) }
  return (neg ? "-" : "") x s
}
function rate(x) { return x >= 100 ? group(x) : sprintf("%.1f", x) }
function size(x) { return x >= 1e6 ? sprintf("%.1f MB", x / 1e6) : sprintf("%.0f kB", x / 1e3) }
function mb(x) { return sprintf("%.1f MB/s", x / 1e6) }
function dur(s) {
  if (s >= 1) return sprintf("%.2f s", s)
  if (s >= 1e-3) return sprintf("%.1f ms", s * 1e3)
  if (s >= 1e-6) return sprintf("%.1f µs", s * 1e6)
  return sprintf("%.0f ns", s * 1e9)
}
function us(x) { return dur(x * 1e-6) }
function spread(k) { return (("sd:" k) in t && t["mean:" k] > 0) ? sprintf("±%.0f%%", 100 * t["sd:" k] / t["mean:" k]) : "-" }
{ t[$1] = $2; items[$1] = $3; bytes[$1] = $4; answer[$1] = $5; p50[$1] = $6; p99[$1] = $7; doc[$1] = $8 }
END {
  print "### Codec (one EnumerateInstances result document; CPU time)"
  print ""
  print "| operation | properties | document | library | floor (bare jsoncpp) | library ÷ floor (time) | spread (library, floor) |"
  print "|---|---:|---:|---:|---:|---:|---:|"
  split("Serialize:serializeResponse Deserialize:deserializeResp", ops, " ")
  for (o = 1; o <= 2; o++) {
    split(ops[o], pair, ":")
    for (n = 10; n <= 100; n *= 10) {
      lib = "Codec/" pair[1] "/" n; fl = "Codec/" pair[1] "Floor/" n
      if (!(lib in t) || !(fl in t)) continue
      printf "| `%s` | %d | %s B | %s docs/s, %s | %s docs/s, %s | %.2f | %s, %s |\n", pair[2], n,
        group(doc[lib]), rate(items[lib]), mb(bytes[lib]), rate(items[fl]), mb(bytes[fl]), t[lib] / t[fl],
        spread(lib), spread(fl)
    }
  }
  print ""
  print "### Tokenizer (10,000 Demo_Fan frames into a CMPI array; CPU time)"
  print ""
  print "| variant | per frame | frames/s | throughput | ÷ floor (time) | spread |"
  print "|---|---:|---:|---:|---:|---:|"
  fl = "Tokenizer/Floor"
  split("FramePerPiece OnePiece Pieces64K DecodeOnly Floor", vs, " ")
  for (v = 1; v <= 5; v++) {
    k = "Tokenizer/" vs[v]
    if (!(k in t)) continue
    printf "| %s | %s | %s | %s | %s | %s |\n", vs[v], dur(t[k] / 10000), rate(items[k]), mb(bytes[k]),
      (fl in t) ? sprintf("%.2f", t[k] / t[fl]) : "-", spread(k)
  }
  print ""
  print "### EnumerateInstances of Demo_Fan (instances per second, wall clock; median time per enumeration)"
  print ""
  print "| instances | answer | through cmpi-hostd | daemon side only | client side only | bare socket (floor) | hostd ÷ floor (time) | spread (hostd) |"
  print "|---:|---:|---:|---:|---:|---:|---:|---:|"
  for (n = 100; n <= 10000; n *= 10) {
    e = "E2E/Enumerate/" n; d = "E2E/EnumerateDaemonOnly/" n; c = "E2E/EnumerateClientOnly/" n; b = "E2E/EnumerateBare/" n
    if (!(e in t)) continue
    printf "| %s | %s | %s/s (%s) | %s/s (%s) | %s/s (%s) | %s/s (%s) | %s | %s |\n", group(n), size(answer[e]),
      rate(items[e]), us(p50[e]), rate(items[d]), us(p50[d]), rate(items[c]), us(p50[c]),
      rate(items[b]), us(p50[b]), (b in t) ? sprintf("%.0f", t[e] / t[b]) : "-", spread(e)
  }
  print ""
  print "### GetInstance of fan0 (round trip per request, wall clock)"
  print ""
  print "| path | answer | mean | p50 | p99 | requests/s | p50 ÷ bare p50 | spread (mean) |"
  print "|---|---:|---:|---:|---:|---:|---:|---:|"
  bare = "E2E/GetInstanceBare"
  split("GetInstance|through cmpi-hostd|GetInstanceClientOnly|library client, canned answer|GetInstanceBare|bare socket, canned answer (floor)", gl, "|")
  for (g = 1; g <= 5; g += 2) {
    k = "E2E/" gl[g]
    if (!(k in t)) continue
    printf "| %s | %s B | %s | %s | %s | %s | %s | %s |\n", gl[g + 1], group(answer[k]), dur(t[k]), us(p50[k]), us(p99[k]),
      rate(items[k]), (bare in t) ? sprintf("%.0f", p50[k] / p50[bare]) : "-", spread(k)
  }
}' <<<"$all"
