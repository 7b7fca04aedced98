#!/bin/sh
# tests/kernel/simulator/stall-vm-test.sh LAUNCHER   (in the VM, as kernel.simulator_vm)
# "stall --kernel vm" on the real modules: a short voice-call trace replayed
# as real traffic must come back from zvkorun interval by interval as what
# the trace asked for, within the IP-header arithmetic (28 bytes a datagram
# at least), its silence must reach Java as no-traffic stalls, and the report
# must name the kernel that counted; a short-video trace as real HTTP must
# stall where its video loads slower than it plays.
set -u
top=$(cd "$(dirname "$0")/../../.." && pwd)
launcher=$1
trace=$TMPDIR/call.csv
report=$TMPDIR/report
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# Rows: ordinary figures, fewer bytes than headers (sent as empty datagrams),
# one direction only, then a silence longer than the voice call's five reports.
cat >"$trace" <<'ROWS'
in_pkts,out_pkts,in_bytes,out_bytes
50,25,12000,3000
40,20,8000,2000
10,5,10,5000
0,3,0,900
0,0,0,0
0,0,0,0
0,0,0,0
0,0,0,0
0,0,0,0
0,0,0,0
0,0,0,0
30,15,6000,1500
ROWS

"$top/tools/simulator/vm/guest.sh" "$launcher" stall --kernel vm --scene 100105 --trace "$trace" ||
  fail "the simulator exited with status $?"

# What the wire carries for a row: nothing without packets, else at least the headers.
awk -F, -v trace="$trace" '
  function wire(packets, bytes) { return packets == 0 ? 0 : (bytes > 28 * packets ? bytes : 28 * packets) }
  NR == FNR { if (FNR > 1) { want[FNR - 1] = $0 }; rows = FNR - 1; next }
  FNR == 1 { next }
  {
    n = FNR - 1
    split(want[n], t, ",")
    got = $12 "," $13 "," $14 "," $15
    expected = t[1] "," t[2] "," wire(t[1], t[3]) "," wire(t[2], t[4])
    if (got != expected) { printf "FAIL: interval %d: the module counted %s, the trace asks for %s\n", n, got, expected; bad++ }
    if ($1 != n * 1000) { printf "FAIL: interval %d ends at %s ms\n", n, $1; bad++ }
    seen = n
  }
  END {
    if (seen != rows) { printf "FAIL: %d intervals for %d rows\n", seen, rows; bad++ }
    exit bad > 0
  }' "$trace" "$report/kernel-intervals.csv" >&2 || failures=$((failures + 1))

# The silence of rows 5-11: a no-traffic stall (value 1) from the sixth silent report on.
grep -q ',1/100105/0/false' "$report/stall.csv" || fail "no no-traffic stall in stall.csv"
grep -q "Kernel: Linux $(uname -r) (#.*Debian.*) under qemu" "$report/index.html" ||
  fail "the report does not name the kernel $(uname -r) under qemu"
grep -q "12 of 12 intervals: the module reported exactly" "$report/index.html" ||
  fail "the report's summary does not count 12 matching intervals"

# The shipped short-video trace as real HTTP: a video loading slower than it
# plays stalls, one loading faster does not, and every report that carries the
# entry under detection shows the bytes released for it and the trace's size,
# timescale and duration, unless the replay marked its row late (not all
# read when the report went: a new TCP flow under emulated qemu on a busy
# host can move under 200 kB/s; the first rows of a video are the slow ones).
scene=100901
"$top/tools/simulator/vm/guest.sh" "$launcher" stall --kernel vm --scene $scene \
  --trace "$top/tools/simulator/examples/short-video.csv" || fail "the short-video replay exited with status $?"
awk -F, '
  FNR == 1 || $12 == "" { next }
  $17 == "yes" { late++; next }
  { entries++; if ($16 != "yes") { printf "FAIL: %s ms: released %s of %s (%s/%s), the module had %s of %s (%s/%s)\n",
      $1, $7, $4, $6, $5, $12, $13, $15, $14; bad++ } }
  END { if (entries < 6 || late > 4) { printf "FAIL: %d reports in time with an entry, %d late\n", entries, late; bad++ }
    exit bad > 0 }' \
  "$report/kernel-videos.csv" >&2 || { failures=$((failures + 1)); cat "$report/kernel-videos.csv" >&2; }
# Callbacks of the detector's rule (flag false): v-slow's stall, nothing once v-fast plays (from 9 s on).
stalls=$(awk -F, -v s="0/$scene/0/false" 'index($NF, s) { print $1 }' "$report/stall.csv")
[ -n "$stalls" ] || fail "no short-video stall reported for v-slow"
for t in $stalls; do [ "$t" -le 8000 ] || fail "a stall reported at $t ms, while v-fast plays"; done

[ "$failures" -eq 0 ] && echo "stall --kernel vm: the call trace as asked, its silence and v-slow's stall reported"
[ "$failures" -eq 0 ]
