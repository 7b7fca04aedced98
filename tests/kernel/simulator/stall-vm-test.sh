#!/bin/sh
# tests/kernel/simulator/stall-vm-test.sh LAUNCHER   (in the VM, as kernel.simulator_vm)
# "stall --kernel vm" on the real modules: a short voice-call trace replayed
# as real traffic must come back from zvkorun interval by interval as what
# the trace asked for, within the IP-header arithmetic (28 bytes a datagram
# at least), its silence must reach Java as no-traffic stalls, and the report
# must name the kernel that counted.
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

# A short-video trace's replay as real HTTP is left to kernel.jvm's short
# videos (the same module path, three scenes) and the replay helpers' fast
# tests: the kernel label must fit in three minutes.

[ "$failures" -eq 0 ] && echo "stall --kernel vm: the call trace as asked and its silence reported"
[ "$failures" -eq 0 ]
