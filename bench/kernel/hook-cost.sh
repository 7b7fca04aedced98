#!/usr/bin/env bash
# What the counting hooks cost: TCP and UDP throughput of the app uid in the
# test VM without the accounting and stall modules, then with both loaded and
# a stall session open, in one run. Prints each round and the ratios.
#   bench/kernel/hook-cost.sh [SECONDS_PER_RUN] [ROUNDS]
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
cd "$top"
cmake --preset host >/dev/null
cmake --build --preset host --target stall_session_holder >/dev/null
exec tests/kernel/run-vm.sh --require-modules -- "$top/bench/kernel/hook-cost-guest.sh" \
  "$top/build/host/bench/kernel/stall_session_holder" "${1:-4}" "${2:-2}"
