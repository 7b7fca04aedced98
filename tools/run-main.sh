#!/usr/bin/env bash
# Builds the library and runs the host simulator: a JVM that loads
# libmqqoe_jni.so and drives it as the QoE service does, against the kernel
# emulator.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-deps.sh
cmake --preset host >/dev/null
cmake --build --preset host -j "${MQQOE_JOBS:-2}" --target qesta_simulator
exec build/host/run-simulator.sh "$@"
