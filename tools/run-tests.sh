#!/usr/bin/env bash
# Builds and runs every test: the host suites (gtest and JVM), the kernel
# tier (the suites run against Debian's kernel and the reference modules in
# a qemu VM, label kernel), the C++ suites under
# AddressSanitizer+UndefinedBehaviorSanitizer and ThreadSanitizer, the C++
# suites cross-built for 64-bit Arm and run under qemu-aarch64 (their kernel
# tier in an arm64 VM), and the libFuzzer targets for a bounded time. It takes no arguments but --help;
# exit code 0 when every suite passed.
set -euo pipefail
# --help: the comment at the head of this file.
if [[ " $* " == *" --help "* || " $* " == *" -h "* ]]; then sed -n '2,/^set -/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0; fi
if (($#)); then echo "run-tests: unknown argument '$1' (it takes none; --help)" >&2; exit 2; fi
cd "$(dirname "$0")/.."
tools/setup-deps.sh

jobs=${MQQOE_JOBS:-2}
status=0

run_preset() {
  local preset=$1
  shift
  echo "=== ${preset}: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "=== ${preset}: test"
  ctest --preset "$preset" "$@" || status=1
}

run_preset host
# The kernel tier's VM suites are registered in the host and arm64 presets
# only (tests/kernel/CMakeLists.txt); the kernel label here is the plain
# gtest suites of tests/kernel, which the sanitizers do run.
run_preset asan --label-exclude jvm
# Threads: the session, the emulator and the stall engine.
run_preset tsan --label-regex 'session|stall'
run_preset arm64
# Each fuzzer is single-threaded: two at a time on two cores.
run_preset fuzz -j "$jobs"

exit $status
