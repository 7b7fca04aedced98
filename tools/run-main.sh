#!/usr/bin/env bash
# Builds the library and runs the host simulator: a JVM that loads
# libmqqoe_jni.so and drives it as the QoE service does, against the kernel
# emulator. Arguments go to the simulator (README.md: sub-commands); files
# they name are taken relative to the caller's directory.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
(
  cd "$root"
  tools/setup-deps.sh main
  cmake --preset host >/dev/null
  cmake --build --preset host -j "${MQQOE_JOBS:-2}" --target qesta_simulator
)
exec "$root/build/host/run-simulator.sh" "$@"
