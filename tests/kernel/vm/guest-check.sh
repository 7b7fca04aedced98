#!/bin/sh
# Run in the VM by the harness test: what every kernel test relies on. Only
# what busybox also has (the arm64 guest's tools).
set -eu
fail() { echo "guest-check: $*" >&2; exit 1; }

for module in $MQQOE_VM_MODULES; do
  [ -d "/sys/module/$module" ] || fail "module $module not loaded"
done

ip -o addr show dev wlan0 | grep -q 'inet 10.77.0.1/24' || fail "wlan0 has no 10.77.0.1/24"
ping -c 1 -W 5 10.77.0.2 >/dev/null || fail "peer 10.77.0.2 does not answer"
ping -6 -c 1 -W 5 fd77::2 >/dev/null || fail "peer fd77::2 does not answer"
nsenter --net=/run/netns/peer ping -c 1 -W 5 10.77.0.1 >/dev/null || fail "wlan0 unreachable from the peer"

grep -q ' /sys/kernel/debug debugfs ' /proc/mounts || fail "no debugfs"
{ echo scratch >"$TMPDIR/probe" && [ "$(cat "$TMPDIR/probe")" = scratch ]; } || fail "TMPDIR not writable"
touch /probe 2>/dev/null && fail "the host root is writable"
echo "guest-check: ok (${MQQOE_VM_MODULES:-no reference modules})"
