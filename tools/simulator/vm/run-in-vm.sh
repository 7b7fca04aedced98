#!/usr/bin/env bash
# tools/simulator/vm/run-in-vm.sh --check
# tools/simulator/vm/run-in-vm.sh LAUNCHER stall --kernel vm ARGS...
# The host's half of "tools/run-main.sh stall --kernel vm": boots the kernel
# tier's VM (tests/kernel/run-vm.sh: Debian's kernel under qemu, the
# reference modules loaded), runs the simulator of a built tree there
# (LAUNCHER, its run-simulator.sh, through guest.sh) and fetches its report
# into --report DIR (default: report/ beside LAUNCHER).
# --check only looks for what the VM needs (qemu, Debian's kernel image,
# busybox) and installs nothing: a missing one gives one line on standard
# error and exit status 2. MQQOE_VM_QEMU, MQQOE_VM_KERNEL_IMAGE and
# MQQOE_VM_BUSYBOX name other programs or files to look for.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
top=$(cd "$here/../../.." && pwd)
install_hint="tools/setup-deps.sh kernel-x86_64 installs them"

# Debian's kernel image the VM boots (as run-vm.sh finds it), or a word on why there is none.
kernel_image() {
  local release
  release=$(dpkg-query -W -f='${Depends}' linux-image-amd64 2>/dev/null |
    sed -n 's/^linux-image-\([0-9.]*-[0-9]*\)-amd64.*/\1/p') || true
  if [[ -n $release ]]; then echo "/boot/vmlinuz-$release-amd64"; else echo "(linux-image-amd64 not installed)"; fi
}

check() {
  local qemu=${MQQOE_VM_QEMU:-qemu-system-x86_64} image=${MQQOE_VM_KERNEL_IMAGE:-$(kernel_image)}
  local busybox=${MQQOE_VM_BUSYBOX:-/bin/busybox} missing=()
  command -v "$qemu" >/dev/null 2>&1 || missing+=("qemu ($qemu)")
  [[ -f $image ]] || missing+=("Debian's kernel image $image")
  [[ -x $busybox ]] || missing+=("busybox ($busybox)")
  if ((${#missing[@]})); then
    local joined
    printf -v joined '%s, ' "${missing[@]}"
    echo "run-main: --kernel vm needs what is missing here: ${joined%, }; $install_hint" >&2
    exit 2
  fi
}

if [[ ${1:-} == --check ]]; then
  check
  exit 0
fi
launcher=$1
shift
report=$(dirname "$launcher")/report
args=()
while (($#)); do
  if [[ $1 == --report && $# -ge 2 ]]; then
    report=$2
    shift 2
  else
    args+=("$1")
    shift
  fi
done
# The destination is checked before the VM boots: a new folder or an earlier report.
parent=$(dirname "$report")
if [[ ! -d $parent || ! -w $parent ]] || { [[ -e $report ]] && [[ -n $(ls -A "$report" 2>/dev/null) && ! -f $report/index.html ]]; }; then
  echo "simulator: --report $report: not a new folder in a writable place nor an earlier report" >&2
  exit 2
fi

# The guest's first line names its writable share; the simulator's last, the report in it.
state=$(mktemp "${TMPDIR:-/tmp}/run-in-vm.XXXXXX")
trap 'rm -f "$state"' EXIT
set +e
MQQOE_VM_KEEP=1 "$top/tests/kernel/run-vm.sh" --timeout "${MQQOE_SIM_VM_TIMEOUT:-1800}" -- \
  "$here/guest.sh" "$launcher" "${args[@]}" 2> >(grep -v '^Picked up JAVA_TOOL_OPTIONS' >&2) |
  while IFS= read -r line; do
    case $line in
      "vm-run: "*) echo "${line#vm-run: }" >"$state" ;;
      "report: "*) ;;
      *) printf '%s\n' "$line" ;;
    esac
  done
status=${PIPESTATUS[0]}
set -e
share=$(<"$state")
if ((status == 0)) && [[ -f $share/report/index.html ]]; then
  rm -rf "$report.old"
  if [[ -e $report ]]; then mv "$report" "$report.old"; fi
  cp -r "$share/report" "$report"
  rm -rf "$report.old"
  echo "report: $(cd "$report" && pwd)/index.html"
elif ((status == 0)); then
  echo "run-main: the simulator in the VM wrote no report" >&2
  status=1
fi
# The run's folder (its logs) stays only when the caller asked run-vm.sh to keep it.
if [[ -n $share && ${MQQOE_VM_KEEP:-} != 1 ]]; then rm -rf "$(dirname "$share")"; fi
exit "$status"
