#!/bin/sh
# tools/simulator/vm/guest.sh LAUNCHER ARGS...
# Runs in the kernel tier's VM (tests/kernel/run-vm.sh, which
# tools/simulator/vm/run-in-vm.sh starts): the simulator of a built tree
# (LAUNCHER, its run-simulator.sh) without the kernel emulator, so that its
# stall session talks to the real zvkorun, with the traffic replayer beside
# it. The host's root is read-only here: the report goes to the run's
# writable share, whose path the first line names for the host to fetch.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
launcher=$1
shift
echo "vm-run: $TMPDIR"
# The helpers run partly as the app uid, which may not read a checkout
# under a private folder (a home, mktemp -d): they run from a copy it can.
tools=/run/mqqoe-sim-vm
mkdir -p "$tools"
cp "$here"/*.py "$tools"/
chmod 755 "$tools"
chmod 644 "$tools"/*.py
export MQQOE_SIM_KERNEL=vm MQQOE_SIM_VM_TOOLS="$tools"
# Both of the simulator's JVMs (its own and the chart painter) need a writable
# temporary folder; /tmp is the host's, read-only. The quick compiler only:
# under emulation the optimising one takes the CPU the replay's helpers need.
export JAVA_TOOL_OPTIONS="-Djava.io.tmpdir=$TMPDIR -XX:TieredStopAtLevel=1"
# Standard output through a pipe: the simulator reopens it by its /proc path,
# and the VM's output port opens only once.
status=$TMPDIR/simulator-status
{
  set +e
  "$launcher" "$@" --report "$TMPDIR/report"
  echo $? >"$status"
} | cat
exit "$(cat "$status")"
