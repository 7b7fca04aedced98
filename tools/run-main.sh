#!/usr/bin/env bash
# Builds the library and runs the host simulator: a JVM that loads
# libmqqoe_jni.so and drives it as the QoE service does, against the kernel
# emulator. Arguments go to the simulator (tools/run-main.sh --help, or
# tools/run-main.sh stall --help / cluster --help); files they name are taken
# relative to the caller's directory. Package installation and the build write
# to build/host/logs/; only their failures reach the terminal.
# "stall --kernel vm" runs the same session on Debian's kernel under qemu with
# the reference modules (tools/simulator/vm/run-in-vm.sh); a missing VM
# prerequisite stops it at once with exit status 2.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
vm=0
if [[ " $* " == *" --kernel vm "* && " $* " != *" --help "* && " $* " != *" -h "* ]]; then
  vm=1
  "$root/tools/simulator/vm/run-in-vm.sh" --check
fi
logs=$root/build/host/logs
mkdir -p "$logs"

# Runs a step with its output in a log; on failure shows the log's end.
quietly() {
  local log=$1
  shift
  if ! "$@" >"$log" 2>&1; then
    echo "run-main: '$*' failed; the end of $log:" >&2
    tail -n 30 "$log" >&2
    exit 1
  fi
}

cd "$root"
quietly "$logs/setup-deps.log" tools/setup-deps.sh main
if grep -q '^Installing' "$logs/setup-deps.log"; then
  echo "run-main: installed $(sed -n 's/^Installing: //p' "$logs/setup-deps.log"); apt's output is in $logs/setup-deps.log" >&2
fi
quietly "$logs/configure.log" cmake --preset host
quietly "$logs/build.log" cmake --build --preset host -j "${MQQOE_JOBS:-2}" --target qesta_simulator
cd - >/dev/null
if ((vm)); then
  exec "$root/tools/simulator/vm/run-in-vm.sh" "$root/build/host/run-simulator.sh" "$@"
fi
exec "$root/build/host/run-simulator.sh" "$@"
