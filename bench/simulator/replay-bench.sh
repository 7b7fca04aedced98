#!/usr/bin/env bash
# The simulator on a long call trace: generates a trace (default 3,270,000
# rows of a video call sampled every 100 ms, an 8 s silence every 20,000
# rows; --interval 2000 makes each row one report, and 1,100,000 such rows
# take the trace's clock past 2^31 ms), replays it with tools' run-simulator.sh of a built host tree and
# prints its figures against the targets: the whole run under 60 s, peak
# memory under 500 MB, index.html under 3 MB. Replay speed is given in
# reports/s against the ceiling measured in the same run: the session's own
# loop (read, push through the emulated module, wait until taken in) with
# nothing of the simulator around it.
#
#   bench/simulator/replay-bench.sh [--rows N] [--interval MS] [--build DIR]   (DIR default build/host)
set -euo pipefail
# --help: the comment at the head of this file.
if [[ " $* " == *" --help "* || " $* " == *" -h "* ]]; then sed -n '2,/^set -/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0; fi
root=$(cd "$(dirname "$0")/../.." && pwd)
rows=3270000
build=$root/build/host
scene=100106
sample_ms=100
while (($#)); do
  case $1 in
    --rows) rows=$2; shift 2 ;;
    --interval) sample_ms=$2; shift 2 ;;
    --build) build=$(cd "$2" && pwd); shift 2 ;;
    *) echo "replay-bench: unknown argument '$1' (--help)" >&2; exit 2 ;;
  esac
done
for tool in run-simulator.sh run-replay-ceiling.sh; do
  [[ -x $build/$tool ]] || { echo "replay-bench: $build/$tool missing; build the host tree first" >&2; exit 1; }
done
[[ -x /usr/bin/time ]] || { echo "replay-bench: needs /usr/bin/time (Debian's time package)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trace=$work/call.csv
# Rows per 8 s silence at this sampling; the packet and byte figures are per 100 ms.
awk -v rows="$rows" -v silence=$((8000 / sample_ms)) -v scale=$((sample_ms / 100)) 'BEGIN {
  srand(7); print "in_pkts,out_pkts,in_bytes,out_bytes"
  for (i = 0; i < rows; i++) {
    if (i % 20000 >= 10000 && i % 20000 < 10000 + silence) { print "0,0,0,0"; continue }
    p = (4 + int(rand() * 4)) * scale; printf "%d,%d,%d,%d\n", p, int(p / 2), p * (150 + int(rand() * 110)), p * 60
  }
}' >"$trace"

read -r _ ceiling_reports ceiling_s < <("$build/run-replay-ceiling.sh" $scene "$trace" $sample_ms)
/usr/bin/time -v -o "$work/time.txt" "$build/run-simulator.sh" stall --scene $scene --interval $sample_ms \
  --trace "$trace" --report "$work/report" >"$work/out.txt" 2>"$work/err.txt" \
  || { cat "$work/err.txt" >&2; exit 1; }
wall=$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i]; print s }' "$work/time.txt")
peak_kb=$(awk -F': ' '/Maximum resident set size/ { print $2 }' "$work/time.txt")
replay_s=$(sed -n 's/^replaying .*: done in \([0-9.]*\) s$/\1/p' "$work/err.txt" | tail -n 1)
reports=$(($(wc -l <"$work/report/stall.csv") - 1))
html=$(stat -c %s "$work/report/index.html")
last_ms=$(tail -n 1 "$work/report/stall.csv" | cut -d, -f1)

awk -v rows="$rows" -v mb="$(stat -c %s "$trace")" -v reports="$reports" -v wall="$wall" -v peak="$peak_kb" \
    -v replay="$replay_s" -v cr="$ceiling_reports" -v cs="$ceiling_s" -v html="$html" -v last="$last_ms" 'BEGIN {
  printf "trace: %d rows (%.1f MB), %d reports of 2000 ms\n", rows, mb / 1e6, reports
  printf "%-34s %12s  %s\n", "figure", "measured", "target"
  printf "%-34s %10.1f s  under 60 s\n", "whole run (check, replay, report)", wall
  printf "%-34s %9.0f MB  under 500 MB\n", "peak memory (resident)", peak / 1024
  printf "%-34s %9.0f kB  under 3000 kB\n", "index.html", html / 1000
  printf "%-34s %10.0f/s  (%.1f s)\n", "replay, reports", reports / replay, replay
  printf "%-34s %10.0f/s  (%.1f s)\n", "ceiling: the session loop alone", cr / cs, cs
  printf "%-34s %12.2f\n", "replay / ceiling", (reports / replay) / (cr / cs)
  printf "%-34s %12s  (2^31 ms = 2147483648)\n", "last report at t_ms", last
}'
