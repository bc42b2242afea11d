#!/usr/bin/env bash
# bench/summary.sh - runs the codec, tokenizer and end-to-end benchmarks and prints their numbers
# as the Markdown tables of docs/PERFORMANCE.md, each next to its floor.
#
#   bench/summary.sh [--only PROGRAM] [BUILD_DIR [BENCHMARK ARGS...]]
#                                       run (default build dir: build; `./dev build` makes it) and
#                                       keep the raw results in docs/perf/{codec,tokenizer,e2e}.csv
#                                       and each run's context (machine, load) in *.context;
#                                       --only runs just that program (codec, tokenizer or e2e),
#                                       the tables of the others come from their kept CSV files
#   bench/summary.sh --from DIR         print the tables from the CSV files kept in DIR (those
#                                       present; e2e.csv alone is enough)
#
# With --benchmark_repetitions=N (N >= 2; add --benchmark_report_aggregates_only=true to keep the
# CSV short) the tables show the medians and the spread (standard deviation / mean of the time).
#
# Rates of the codec and tokenizer programs are over the CPU time of the benchmark thread; the
# end-to-end rates are over the wall-clock time of each request.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
programs=(codec tokenizer e2e)

run=("${programs[@]}")
if [ "${1:-}" = "--only" ]; then
  run=("${2:?"usage: $0 --only PROGRAM [BUILD_DIR [ARGS...]]"}")
  shift 2
fi

if [ "${1:-}" = "--from" ]; then
  data=${2:?"usage: $0 --from DIR"}
else
  build=${1:-build}
  shift || true
  case $build in /*) ;; *) build=$root/$build ;; esac
  data=$root/docs/perf
  mkdir -p "$data"
  for p in "${run[@]}"; do
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

[ -f "$data/e2e.csv" ] || [ -f "$data/codec.csv" ] || [ -f "$data/tokenizer.csv" ] || {
  echo "summary.sh: no codec.csv, tokenizer.csv or e2e.csv in $data" >&2
  exit 1
}

# Every CSV row as: name (without the run-setting suffixes, but with "/<t>" for a benchmark run
# with <t> threads), seconds per iteration (CPU time for codec and tokenizer, the measured time for
# e2e), items/s, bytes/s, then the user counters listed in counters below (0 where a program has
# none). Of the aggregates of repeated runs, the median stands for the benchmark; mean and
# standard deviation come as "mean:<name>" and "sd:<name>".
counter_names=(answer_bytes p50_us p99_us doc_bytes
  front_kib_before front_kib_after workers_kib_before workers_kib_after
  workers_anon_kib_before workers_anon_kib_after workers_before workers_after workers_replaced)
counters="${counter_names[*]}"
rows() {
  awk -v use_cpu="$2" -v counters="$counters" 'BEGIN { FS = "," }
    NR == 1 { for (i = 1; i <= NF; i++) { h = $i; gsub(/"/, "", h); col[h] = i }; next }
    {
      name = $1; gsub(/"/, "", name)
      aggregate = ""
      if (match(name, /_(mean|median|stddev|cv)$/)) aggregate = substr(name, RSTART + 1)
      threads = ""
      if (match(name, /\/threads:[0-9]+/)) threads = substr(name, RSTART + 9, RLENGTH - 9)
      sub(/\/(min_time:|iterations:|manual_time|real_time|threads:).*$/, "", name)
      if (threads != "") name = name "/" threads
      if (aggregate == "cv") next
      if (aggregate == "mean") name = "mean:" name
      if (aggregate == "stddev") name = "sd:" name
      unit = $col["time_unit"]; scale = 1e-9
      if (unit == "us") scale = 1e-6; else if (unit == "ms") scale = 1e-3; else if (unit == "s") scale = 1
      t = (use_cpu ? $col["cpu_time"] : $col["real_time"]) * scale
      printf "%s %.9g %.9g %.9g", name, t, $col["items_per_second"] + 0, $col["bytes_per_second"] + 0
      n = split(counters, extra, " ")
      for (k = 1; k <= n; k++) printf " %.9g", (extra[k] in col) ? $col[extra[k]] + 0 : 0
      printf "\n"
    }' "$1"
}

all=$( for p in "${programs[@]}"; do
  [ -f "$data/$p.csv" ] || continue
  if [ "$p" = e2e ]; then rows "$data/$p.csv" 0; else rows "$data/$p.csv" 1; fi
done )

awk -v counters="$counters" '
BEGIN { split(counters, cname, " ") }
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
{
  t[$1] = $2; items[$1] = $3; bytes[$1] = $4; answer[$1] = $5; p50[$1] = $6; p99[$1] = $7; doc[$1] = $8
  for (i = 5; i <= NF; i++) ctr[$1, cname[i - 4]] = $i
}
END {
  if ("Codec/Serialize/10" in t) codec()
  if ("Tokenizer/Floor" in t) tokenizer()
  if ("E2E/Enumerate/100" in t || "E2E/Enumerate/10000" in t) enumeration()
  if ("E2E/GetInstance" in t || "E2E/GetInstanceCold" in t) get_instance()
  if ("E2E/GetInstanceConcurrent/1" in t) concurrent()
  if ("E2E/MemoryOverRequests" in t) memory_table()
  goals()
}
function codec(    ops, o, pair, n, lib, fl) {
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
}
function tokenizer(    fl, vs, v, k) {
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
}
function enumeration(    n, e, d, c, b) {
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
}
function get_instance(    bare, gl, g, k) {
  print "### GetInstance of fan0 (round trip per request, wall clock)"
  print ""
  print "| path | answer | mean | p50 | p99 | requests/s | p50 ÷ bare p50 | spread (mean) |"
  print "|---|---:|---:|---:|---:|---:|---:|---:|"
  bare = "E2E/GetInstanceBare"
  split("GetInstance|through cmpi-hostd (warm worker)|GetInstanceCold|through cmpi-hostd, a new worker for every request|GetInstanceClientOnly|library client, canned answer|GetInstanceBare|bare socket, canned answer (floor)", gl, "|")
  for (g = 1; g <= 7; g += 2) {
    k = "E2E/" gl[g]
    if (!(k in t)) continue
    printf "| %s | %s B | %s | %s | %s | %s | %s | %s |\n", gl[g + 1], group(answer[k]), dur(t[k]), us(p50[k]), us(p99[k]),
      rate(items[k]), (bare in t) ? sprintf("%.1f", p50[k] / p50[bare]) : "-", spread(k)
  }
  print ""
}
function concurrent(    n, k, b) {
  print "### GetInstance of fan0 with concurrent clients (requests per second over the wall-clock time of the run)"
  print ""
  print "| clients | through cmpi-hostd | p50 | p99 | bare socket (floor) | p50 | floor ÷ hostd (rate) | spread (hostd, floor) |"
  print "|---:|---:|---:|---:|---:|---:|---:|---:|"
  for (n = 1; n <= 64; n *= 2) {
    k = "E2E/GetInstanceConcurrent/" n; b = "E2E/GetInstanceBareConcurrent/" n
    if (!(k in t)) continue
    printf "| %d | %s/s | %s | %s | %s/s | %s | %s | %s, %s |\n", n, rate(items[k]), us(p50[k]), us(p99[k]),
      rate(items[b]), us(p50[b]), (b in t) ? sprintf("%.1f", items[b] / items[k]) : "-", spread(k), spread(b)
  }
  print ""
}
function memory_table(    m, ml, g, before, after) {
  m = "E2E/MemoryOverRequests"
  print "### Resident memory over 10,000 GetInstance requests (worker not retired by request count)"
  print ""
  print "| process | before | after | change |"
  print "|---|---:|---:|---:|"
  split("front_kib|front process (VmRSS)|workers_kib|workers together (VmRSS)|workers_anon_kib|workers together, anonymous (RssAnon)", ml, "|")
  for (g = 1; g <= 5; g += 2) {
    before = ctr[m, ml[g] "_before"]; after = ctr[m, ml[g] "_after"]
    printf "| %s | %s KiB | %s KiB | %+d KiB |\n", ml[g + 1], group(before), group(after), after - before
  }
  printf "| workers (children of the front) | %d | %d | %d replaced |\n", ctr[m, "workers_before"],
    ctr[m, "workers_after"], ctr[m, "workers_replaced"]
  print ""
}
# The goals of the second design, against the figures of the first design in docs/PERFORMANCE.md:
# GetInstance 430-525 requests/s with p50 1.8-2.6 ms, and the daemon side of an enumeration of
# 10,000 at 11,902 instances/s.
function goals(    w, b, k, r, lo, hi, e, d, cl, slow, old) {
  w = "E2E/GetInstance"; b = "E2E/GetInstanceBare"
  # Only a run of the second design has the cold figure (--worker-requests is new).
  if (!(w in t) || !(b in t) || !("E2E/GetInstanceCold" in t)) return
  print "### The second design against its goals"
  print ""
  print "| goal | measured | first design | ratio | met |"
  print "|---|---:|---:|---:|:---:|"
  r = p50[w] / p50[b]
  printf "| warm GetInstance p50 at most 4 × the bare round trip | %s (bare %s) | 27–44 × | %.1f × | %s |\n",
    us(p50[w]), us(p50[b]), r, (r <= 4) ? "yes" : "no"
  for (n = 1; n <= 8; n *= 8) {
    k = "E2E/GetInstanceConcurrent/" n
    if (!(k in t)) continue
    lo = items[k] / 525; hi = items[k] / 430
    printf "| requests/s with %d client%s at least 5 × the first design | %s/s | 430–525/s | %.1f–%.1f × | %s |\n",
      n, (n > 1) ? "s" : "", rate(items[k]), lo, hi, (lo >= 5) ? "yes" : ((hi >= 5) ? "partly" : "no")
  }
  k = "E2E/GetInstanceCold"
  if (k in t) {
    printf "| cold GetInstance p50 no slower than the first design | %s | 1.8–2.6 ms | %.1f–%.1f × | %s |\n",
      us(p50[k]), p50[k] / 2600, p50[k] / 1800, (p50[k] <= 1800) ? "yes" : ((p50[k] <= 2600) ? "partly" : "no")
  }
  e = "E2E/Enumerate/10000"; d = "E2E/EnumerateDaemonOnly/10000"; cl = "E2E/EnumerateClientOnly/10000"
  if ((e in t) && (d in t) && (cl in t)) {
    slow = (items[d] < items[cl]) ? items[d] : items[cl]
    printf "| enumeration of 10,000 through the daemon at least 0.9 × the slower half | %s/s (halves %s/s, %s/s) | | %.2f × | %s |\n",
      rate(items[e]), rate(items[d]), rate(items[cl]), items[e] / slow, (items[e] / slow >= 0.9) ? "yes" : "no"
    old = 11902
    printf "| daemon half of the enumeration of 10,000 at least 1.3 × the first design | %s/s | %s/s | %.2f × | %s |\n",
      rate(items[d]), group(old), items[d] / old, (items[d] / old >= 1.3) ? "yes" : "no"
  }
}' <<<"$all"
