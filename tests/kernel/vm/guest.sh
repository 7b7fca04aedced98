#!/bin/sh
# Stage two of the test VM, run inside the host's root (read-only over 9p):
# the file systems a test expects, the modules, the test network, then the
# command. Its status and the kernel log go back through the run's share.
# Run by busybox's sh, with its applets first on PATH.
set -u
run=$1
# Linked here, where busybox is at its final path: one process, not hundreds.
/run/bin/busybox --install -s /run/bin

mount -t debugfs debugfs /sys/kernel/debug
mkdir -p /dev/shm /dev/pts
mount -t tmpfs tmpfs /dev/shm
mount -t devpts devpts /dev/pts

# A failed step is logged for the host, and the command is not run.
ready=1
setup_failed() { echo "vm: $*" >>"$run/setup.log"; ready=0; }

# The host resolved the order (dependencies first); built-ins are not listed.
while read -r module; do
  insmod "$module" >>"$run/setup.log" 2>&1 || setup_failed "insmod $module failed"
done <"$run/modules"

# wlan0 in this namespace, its veth peer eth0 in namespace "peer" (bound at
# /run/netns/peer, as "ip netns" does) as the far end. Only what busybox's ip
# also knows: it names the peer veth0 and moves links by pid only.
in_peer() { nsenter --net=/run/netns/peer "$@"; }
setup_network() {
  ip link set lo up &&
    mkdir -p /run/netns && touch /run/netns/peer &&
    unshare --net=/run/netns/peer true &&
    ip link add wlan0 type veth peer name eth0 || return
  [ -e /sys/class/net/eth0 ] || ip link set veth0 name eth0 || return
  # Not through in_peer: $! must be the process that enters the namespace.
  nsenter --net=/run/netns/peer sleep 60 &
  holder=$!
  tries=0
  while [ "$(readlink "/proc/$holder/ns/net")" = "$(readlink /proc/self/ns/net)" ]; do
    tries=$((tries + 1))
    [ $tries -lt 100 ] || { echo "vm: no process entered namespace peer"; return 1; }
    sleep 0.05
  done
  ip link set eth0 netns "$holder" || return
  kill "$holder"
  # No duplicate address detection: the addresses answer at once.
  echo 0 >/proc/sys/net/ipv6/conf/wlan0/accept_dad &&
    ip addr add 10.77.0.1/24 dev wlan0 &&
    ip addr add fd77::1/64 dev wlan0 &&
    ip link set wlan0 up &&
    in_peer sh -c 'ip link set lo up && echo 0 >/proc/sys/net/ipv6/conf/eth0/accept_dad &&
      ip addr add 10.77.0.2/24 dev eth0 && ip addr add fd77::2/64 dev eth0 && ip link set eth0 up'
}
setup_network >>"$run/setup.log" 2>&1 || setup_failed "network set-up failed"

# The command's output goes to the host on its own virtio ports, apart from
# the console. The host's /bin/sh runs it: busybox's would run its own
# applets before the host's programs of the same name.
port() {
  for dir in /sys/class/virtio-ports/*; do
    [ "$(cat "$dir/name")" = "$1" ] && echo "/dev/${dir##*/}" && return
  done
  echo /dev/null
}
if [ $ready = 1 ]; then
  /bin/sh "$run/cmd" >"$(port stdout)" 2>"$(port stderr)" </dev/null
  echo $? >"$run/status"
fi

# The reference modules must then unload, whatever the command left open:
# what it left running is killed first, and the log below catches a splat on
# the way out.
kill -9 -1 2>/dev/null
while read -r module; do
  tries=0
  while [ -d "/sys/module/$module" ] && ! rmmod "$module" 2>/dev/null; do
    tries=$((tries + 1))
    [ $tries -lt 20 ] || { echo "$module" >>"$run/unload-failed"; break; }
    sleep 0.1
  done
done <"$run/unload"
dmesg >"$run/dmesg"
sync
# Power off is asynchronous: PID 1 must outlive it, or the kernel panics.
echo o >/proc/sysrq-trigger
while :; do sleep 1; done
