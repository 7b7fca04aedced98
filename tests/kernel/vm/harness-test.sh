#!/usr/bin/env bash
# tests/kernel/vm/harness-test.sh [--arch ARCH]: each row boots the test VM
# once and checks the status run-vm.sh returns and what reached stdout and
# stderr (CMD's output only on stdout, nothing of the guest's console).
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
arch=(--arch "${2:-x86_64}")
[[ ${1:-} == --arch ]] || arch=()
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0

# row STATUS STDOUT(regex, whole) STDERR(regex, any line) RUN-VM-ARGS...
row() {
  local want=$1 want_out=$2 want_err=$3 status=0
  shift 3
  "$here/../run-vm.sh" "${arch[@]}" "$@" >"$scratch/out" 2>"$scratch/err" || status=$?
  local ok=1
  [[ $status == "$want" && $(<"$scratch/out") =~ ^$want_out$ ]] || ok=0
  [[ -z $want_err ]] || grep -Eq "$want_err" "$scratch/err" || ok=0
  if ((!ok)); then
    echo "FAILED: run-vm.sh $* gave status $status (want $want)"
    echo "--- stdout (want '$want_out'):"; cat "$scratch/out"
    echo "--- stderr (want /$want_err/):"; tail -40 "$scratch/err"
    failed=1
  fi
}

row 7 out '^err$' --no-modules -- sh -c 'echo out; echo err >&2; exit 7'
# A kernel backtrace fails a command that passed.
row 1 '' 'the kernel logged a splat' --no-modules -- sh -c 'echo l >/proc/sysrq-trigger; sleep 1'
row 124 '' 'timed out after 3s' --no-modules --timeout 3 -- sleep 600
exit $failed
