#!/bin/sh
# Runs inside the test VM: TCP and UDP throughput of the app uid over wlan0
# to an iperf3 server in the peer namespace, without the counting modules and
# with them loaded and a stall session open for the uid, alternating so that
# drift of the emulated machine hits both sides alike.
#   hook-cost-guest.sh SESSION_HOLDER [SECONDS] [ROUNDS]
# (run-vm.sh gives MQQOE_KMOD_DIR, the folder of the modules it built)
set -eu
kmod=$MQQOE_KMOD_DIR
holder=$1
seconds=${2:-4}
rounds=${3:-2}
uid=10123
peer=10.77.0.2
# iperf3 keeps a file per stream in TMPDIR: one the app uid may write.
scratch=/run/hook-cost
mkdir -p $scratch
chmod 1777 $scratch
export TMPDIR=$scratch

ip netns exec peer iperf3 -s -p 5201 >"$scratch/server.log" 2>&1 &
server=$!
sleep 1

# Receiver-side bits per second of one iperf3 run as the app uid.
measure() {
  setpriv --reuid=$uid --regid=$uid --clear-groups \
    iperf3 -c $peer -p 5201 -t "$seconds" -f m "$@" 2>&1 |
    awk '/receiver/ { for (i = 1; i < NF; i++) if ($(i + 1) == "Mbits/sec") v = $i } END { if (v == "") exit 1; print v }'
}

load() {
  insmod "$kmod/qoe_acct.ko"
  insmod "$kmod/zvkorun.ko"
  "$holder" $uid 100105 >"$scratch/holder.log" 2>&1 &
  holder_pid=$!
  sleep 2
}

unload() {
  kill -TERM "$holder_pid"
  # The holder leaves once its next report arrives.
  wait "$holder_pid" || true
  rmmod zvkorun
  rmmod qoe_acct
}

# Modules the harness may have loaded: the baseline runs without them.
rmmod zvkorun 2>/dev/null || true
rmmod qoe_acct 2>/dev/null || true

results=""
for round in $(seq "$rounds"); do
  tcp_without=$(measure)
  udp_without=$(measure -u -b 0 -l 1400)
  load
  tcp_with=$(measure)
  udp_with=$(measure -u -b 0 -l 1400)
  unload
  echo "round $round: tcp $tcp_without -> $tcp_with Mbit/s, udp $udp_without -> $udp_with Mbit/s"
  results="$results $tcp_without $tcp_with $udp_without $udp_with"
done
kill "$server" 2>/dev/null || true

echo "$results" | awk '{
  for (i = 1; i <= NF; i += 4) { tw += $i; tm += $(i + 1); uw += $(i + 2); um += $(i + 3) }
  printf "tcp: %.1f Mbit/s without, %.1f with: ratio %.3f\n", tw / (NF / 4), tm / (NF / 4), tm / tw
  printf "udp: %.1f Mbit/s without, %.1f with: ratio %.3f\n", uw / (NF / 4), um / (NF / 4), um / uw
}'
cat "$scratch/holder.log"
