#!/usr/bin/env bash
# bench/hostd_instructions.sh - what cmpi-hostd's processes, and the library's client side,
# execute per request and per enumerated instance, in instructions, not seconds.
#
#   bench/hostd_instructions.sh [BUILD_DIR [HOSTD_BINARY]]
#
# Runs BUILD_DIR/bench/item_bench twice with the daemon (HOSTD_BINARY, default BUILD_DIR's
# cmpi-hostd) under valgrind's callgrind, which follows the worker the front forks:
#   Item/GetInstance/          the worker's and the front's instructions per request;
#   Item/EnumerateDaemonOnly/10000/  the worker's instructions per enumerated Bench_Item;
# and the benchmark's client under callgrind (the daemon then runs as it is): for
# Item/GetInstance/ its instructions per request (connecting, the request's encoding, the get
# tokenizer and decoding, the benchmark's own timing), for Item/EnumerateClientOnly/10000/
# (the tokenizer and decoding of the daemon's frames, served by a canned server in the same
# process) per instance.
# Requests and instances are counted from the calls callgrind saw (RequestService::serve,
# StreamingResult::stream; the client's instances as 10,000 per enumeration it made), so
# start-up is included once and spread thin. Instruction counts do
# not depend on what else the machine runs, so two builds compare fairly on a shared machine
# where the timings move by 20% and more; they do not see system calls, wake-ups, cache misses
# or memory stalls, which the timings do. Takes about two minutes.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
hostd=${2:-$build/programs/hostd/cmpi-hostd}
bench=$build/bench/item_bench
for f in "$bench" "$hostd"; do
  [ -x "$f" ] || { echo "hostd_instructions.sh: $f is missing (./dev build first)" >&2; exit 1; }
done
command -v valgrind >/dev/null || { echo "hostd_instructions.sh: valgrind is missing" >&2; exit 1; }
work=$(mktemp -d)
trap '[ -n "${KEEP_WORK:-}" ] || rm -rf "$work"' EXIT

# The daemon under callgrind: one output file per process (the front and its worker).
cat >"$work/hostd" <<EOF
#!/bin/sh
exec valgrind --tool=callgrind --callgrind-out-file="\$CALLGRIND_OUT.%p" "$hostd" "\$@"
EOF
chmod +x "$work/hostd"

# run NAME FILTER: the benchmark with the daemon under callgrind, its files as $work/NAME.<pid>.
run() {
  CALLGRIND_OUT="$work/$1" BENCH_HOSTD="$work/hostd" "$bench" --benchmark_filter="$2" \
    >"$work/$1.log" 2>&1
}

# total FILE: the instructions of the whole process. (The awk scripts read to the end: with
# pipefail, leaving early would fail the pipeline.)
total() {
  callgrind_annotate "$1" 2>/dev/null |
    awk '/PROGRAM TOTALS/ && !done { gsub(",", "", $1); print $1; done = 1 }'
}

# calls FILE FUNCTION: how often FUNCTION (a regular expression) was called, over all callers.
calls() {
  callgrind_annotate --inclusive=yes --tree=caller "$1" 2>/dev/null |
    awk -v f="$2" '
      /^ *[0-9,]+ .*< / { if (match($0, /\([0-9,]+x\)/)) { c = substr($0, RSTART + 1, RLENGTH - 3); gsub(",", "", c); sum += c } next }
      /\*  / { if ($0 ~ f && !done) { print sum; done = 1 } sum = 0 }'
}

# The worker is the process that served requests; the front is the other one.
split_files() {
  worker=""
  front=""
  for f in "$work/$1".*; do
    case "$f" in *.log) continue ;; esac
    if [ -n "$(calls "$f" 'RequestService::serve\(')" ]; then worker=$f; else front=$f; fi
  done
}

per() { awk -v a="$1" -v b="$2" 'BEGIN { if (b > 0) printf "%.0f", a / b; else print "-" }'; }

run get '^Item/GetInstance/'
split_files get
requests=$(calls "$worker" 'RequestService::serve\(')
printf '| process | instructions | requests or instances | per request or instance |\n|---|---:|---:|---:|\n'
printf '| worker (GetInstance) | %s | %s | %s |\n' "$(total "$worker")" "$requests" \
  "$(per "$(total "$worker")" "$requests")"
printf '| front (GetInstance) | %s | %s | %s |\n' "$(total "$front")" "$requests" \
  "$(per "$(total "$front")" "$requests")"

run enum '^Item/EnumerateDaemonOnly/10000/'
split_files enum
instances=$(calls "$worker" 'StreamingResult::stream\(')
printf '| worker (EnumerateInstances, per instance) | %s | %s | %s |\n' "$(total "$worker")" \
  "$instances" "$(per "$(total "$worker")" "$instances")"

valgrind --tool=callgrind --callgrind-out-file="$work/client-get" "$bench" \
  --benchmark_filter='^Item/GetInstance/' >"$work/client-get.log" 2>&1
gets=$(calls "$work/client-get" 'bench::get_instance\(')
printf '| client library (GetInstance, per request) | %s | %s | %s |\n' \
  "$(total "$work/client-get")" "$gets" "$(per "$(total "$work/client-get")" "$gets")"

valgrind --tool=callgrind --callgrind-out-file="$work/client" "$bench" \
  --benchmark_filter='^Item/EnumerateClientOnly/10000/' >"$work/client.log" 2>&1
enumerations=$(calls "$work/client" 'bench::enumerate\(')
client_instances=$((enumerations * 10000))
printf '| client library (EnumerateInstances, per instance) | %s | %s | %s |\n' \
  "$(total "$work/client")" "$client_instances" "$(per "$(total "$work/client")" "$client_instances")"
