#!/usr/bin/env bash
# bench/others_cpu.sh - runs a command and then says how much CPU time the rest of the machine
# used meanwhile: the machine's busy time (/proc/stat) minus the command's own CPU time (its
# children included, as far as they were waited for). On a shared machine this tells whether a
# benchmark ran alone; the load average cannot, since it counts the benchmark's own processes.
#
#   bench/others_cpu.sh COMMAND [ARGS...]      the report goes to standard error
set -euo pipefail

[ $# -gt 0 ] || { echo "usage: $0 COMMAND [ARGS...]" >&2; exit 2; }
busy() { awk '/^cpu / { print $2 + $3 + $4 + $7 + $8 + $9 }' /proc/stat; }

times_file=$(mktemp)
trap 'rm -f "$times_file"' EXIT
b0=$(busy)
t0=$(date +%s.%N)
load0=$(cut -d' ' -f1-3 /proc/loadavg)
rc=0
/usr/bin/time -f "%U %S" -o "$times_file" "$@" || rc=$?
b1=$(busy)
t1=$(date +%s.%N)
read -r user system <"$times_file"
awk -v b0="$b0" -v b1="$b1" -v t0="$t0" -v t1="$t1" -v u="$user" -v s="$system" \
  -v hz="$(getconf CLK_TCK)" -v n="$(nproc)" -v l0="$load0" -v l1="$(cut -d' ' -f1-3 /proc/loadavg)" '
  BEGIN {
    wall = t1 - t0; all = (b1 - b0) / hz; mine = u + s; others = all - mine
    if (others < 0) others = 0
    printf "others_cpu.sh: %.0f s; the machine was busy %.0f of %.0f CPU-seconds, the command %.0f, others %.0f (%.0f%% of the machine); load average %s before, %s after\n",
      wall, all, wall * n, mine, others, 100 * others / (wall * n), l0, l1
  }' >&2
exit "$rc"
