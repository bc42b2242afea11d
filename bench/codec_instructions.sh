#!/usr/bin/env bash
# bench/codec_instructions.sh - the codec against its floor in instructions, not seconds.
#
#   bench/codec_instructions.sh [BUILD_DIR]
#
# Runs build/bench/codec_bench under valgrind's callgrind once per benchmark and prints the
# instructions of one call of the library's function (serializeResponse, deserializeResp) and
# of one iteration of the floor beside it (the floor's encoder floor_write; the floor's parse and
# walk, measured as the floor benchmark's instructions divided by its parses). Instruction counts
# do not depend on what else the machine runs, so the ratio is repeatable on a shared machine
# where the timings of codec_bench move by 20% and more; they do not see cache misses or memory
# stalls, which the timings do.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
bin=$build/bench/codec_bench
[ -x "$bin" ] || { echo "codec_instructions.sh: $bin is missing (./dev build first)" >&2; exit 1; }
command -v valgrind >/dev/null || { echo "codec_instructions.sh: valgrind is missing" >&2; exit 1; }
work=$(mktemp -d)
trap '[ -n "${KEEP_WORK:-}" ] || rm -rf "$work"' EXIT

# per_call FILE CALLEE: instructions per call of CALLEE (a regular expression), summed over its
# callers as callgrind_annotate's caller tree lists them.
per_call() {
  callgrind_annotate --inclusive=yes --tree=caller "$1" >"$1.tree" 2>/dev/null
  awk -v callee="$2" '
    /^ *[0-9,]+ .*< / { lines[++n] = $0; next }
    /\*  / {
      if ($0 ~ callee) {
        for (i = 1; i <= n; i++) {
          l = lines[i]; ir = l; sub(/^ */, "", ir); sub(/ .*/, "", ir); gsub(",", "", ir)
          # Call counts of 1,000 and more are written with commas.
          if (match(l, /\([0-9,]+x\)/)) {
            c = substr(l, RSTART + 1, RLENGTH - 3); gsub(",", "", c)
            total += ir; calls += c
          }
        }
        if (calls > 0) { printf "%.0f\n", total / calls; exit }
      }
      n = 0; next
    }
    { n = 0 }' "$1.tree"
}

# inclusive FILE FUNCTION: the inclusive instructions of FUNCTION (a regular expression).
inclusive() {
  callgrind_annotate --inclusive=yes "$1" >"$1.flat" 2>/dev/null
  awk -v f="$2" '$0 ~ f { gsub(",", "", $1); print $1; exit }' "$1.flat"
}

profile() {
  valgrind --tool=callgrind --callgrind-out-file="$work/$1.$2" "$bin" \
    --benchmark_filter="^Codec/$1/$2/" >/dev/null 2>&1
}

printf '| path | properties | library (instructions per call) | floor (per iteration) | ratio |\n'
printf '|---|---:|---:|---:|---:|\n'
for n in 10 100; do
  for b in Serialize SerializeFloor Deserialize DeserializeFloor; do profile "$b" "$n"; done
  lib=$(per_call "$work/Serialize.$n" ':serializeResponse( |$)')
  floor=$(per_call "$work/SerializeFloor.$n" 'floor_write')
  printf '| serializeResponse | %s | %s | %s | %s |\n' "$n" "$lib" "$floor" \
    "$(awk -v a="$lib" -v b="$floor" 'BEGIN { printf "%.2f", a / b }')"
  lib=$(per_call "$work/Deserialize.$n" ':deserializeResp( |$)')
  whole=$(inclusive "$work/DeserializeFloor.$n" 'DeserializeFloor\(benchmark')
  # The floor parses once per iteration: its parses count its iterations.
  callgrind_annotate --inclusive=yes --tree=caller "$work/DeserializeFloor.$n" \
    >"$work/floor.tree" 2>/dev/null
  calls=$(awk '/< .*DeserializeFloor\(benchmark/ { if (match($0, /\([0-9,]+x\)/)) { c = substr($0, RSTART + 1, RLENGTH - 3); gsub(",", "", c) } }
         /\*  .*OurCharReader::parse/ { print c; exit }' "$work/floor.tree")
  floor=$(awk -v a="$whole" -v b="$calls" 'BEGIN { printf "%.0f", a / b }')
  printf '| deserializeResp | %s | %s | %s | %s |\n' "$n" "$lib" "$floor" \
    "$(awk -v a="$lib" -v b="$floor" 'BEGIN { printf "%.2f", a / b }')"
done
