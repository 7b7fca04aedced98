#!/bin/sh
# Stage two of the test VM, run inside the host's root (read-only over 9p):
# the file systems a test expects, the modules, the test network, then the
# command. Its status and the kernel log go back through the run's share.
# POSIX sh: on arm64 this runs under busybox.
set -u
run=$1
shell=$2

mount -t debugfs debugfs /sys/kernel/debug
mount -t tmpfs tmpfs /run
mkdir -p /dev/shm /dev/pts
mount -t tmpfs tmpfs /dev/shm
mount -t devpts devpts /dev/pts

# The host resolved the order (dependencies first); built-ins are not listed.
while read -r module; do
  insmod "$module" || echo "vm: insmod $module failed" >>"$run/setup.log"
done <"$run/modules"

# wlan0 in this namespace, its veth peer in namespace "peer" as the far end.
setup_network() {
  ip link set lo up &&
    ip netns add peer &&
    ip -n peer link set lo up &&
    ip link add wlan0 type veth peer name eth0 netns peer &&
    ip addr add 10.77.0.1/24 dev wlan0 &&
    ip addr add fd77::1/64 dev wlan0 nodad &&
    ip link set wlan0 up &&
    ip -n peer addr add 10.77.0.2/24 dev eth0 &&
    ip -n peer addr add fd77::2/64 dev eth0 nodad &&
    ip -n peer link set eth0 up
}
setup_network >>"$run/setup.log" 2>&1 || echo "vm: network set-up failed" >>"$run/setup.log"

# The command's output goes to the host on its own virtio ports, apart from
# the console.
port() {
  for dir in /sys/class/virtio-ports/*; do
    [ "$(cat "$dir/name")" = "$1" ] && echo "/dev/${dir##*/}" && return
  done
  echo /dev/null
}
"$shell" "$run/cmd" >"$(port stdout)" 2>"$(port stderr)" </dev/null
echo $? >"$run/status"
dmesg >"$run/dmesg"
sync
# Power off is asynchronous: PID 1 must outlive it, or the kernel panics.
echo o >/proc/sysrq-trigger
while :; do sleep 1; done
