#!/usr/bin/env bash
# tests/kernel/run-vm.sh [--arch x86_64|arm64] [--no-modules] [--require-modules]
#                        [--timeout SECONDS] -- CMD...
# Runs CMD as root in Debian 12's kernel under qemu, with the reference
# modules of kernel/ loaded, the host's root mounted read-only at / (so build
# trees and the JDK are at their host paths), cwd as here, TMPDIR a writable
# scratch folder the host keeps, and a veth pair: wlan0 (10.77.0.1/24,
# fd77::1/64) here, its peer eth0 (10.77.0.2, fd77::2) in network namespace
# "peer". CMD sees MQQOE_VM_MODULES, the reference modules it loaded, and
# MQQOE_KMOD_DIR, the folder of their .ko files (to reload one).
# MQQOE_VM_ACCEL=tcg|kvm|auto chooses qemu's accelerator (auto: KVM where a
# probe boot completes, TCG otherwise). CMD's stdout and stderr come back as
# its own; the exit status is CMD's, 124 on time-out, 125 when the VM could
# not run it, and 1 when CMD passed but the kernel logged a warning, oops or
# BUG, or a reference module did not unload after it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
top=$(cd "$here/../.." && pwd)
source "$here/vm/modules.sh"
source "$here/vm/initramfs.sh"

usage() {
  sed -n '2,3s/^# \{0,1\}//p' "$0" >&2
  exit 125
}

arch=x86_64 load_modules=1 require_modules=0 timeout=600
while (($#)); do
  case $1 in
    --arch) arch=${2:-}; shift 2 ;;
    --no-modules) load_modules=0; shift ;;
    --require-modules) require_modules=1; shift ;;
    --timeout) timeout=${2:-}; shift 2 ;;
    --) shift; break ;;
    *) usage ;;
  esac
done
(($#)) && [[ $timeout =~ ^[0-9]+$ ]] || usage

# The project's modules, in load order, and what they need of Debian's.
project_modules=(qoe_acct zvkorun qoe_monitor qoe_policy)
debian_modules=(veth nf_defrag_ipv4 nf_defrag_ipv6 nf_socket_ipv4 nf_socket_ipv6)
boot_modules=(virtio_pci 9pnet_virtio 9p virtio_console)

# Where this architecture's kernel, modules, headers and busybox are; what
# qemu runs and what the guest's shell and PATH are.
configure_arch() {
  # Debian's kernel release this tier runs, e.g. 6.1.0-56: the amd64 image's.
  release=$(dpkg-query -W -f='${Depends}' linux-image-amd64 2>/dev/null |
    sed -n 's/^linux-image-\([0-9.]*-[0-9]*\)-amd64.*/\1/p')
  case $arch in
    x86_64)
      kver=$release-amd64 root=
      qemu=(qemu-system-x86_64 -M pc)
      console=ttyS0 cross=()
      busybox=/bin/busybox binsh=0
      ;;
    arm64)
      # The host root's programs are x86-64: the guest's shell and tools are
      # the initramfs's busybox (linked into /run/bin, and over /bin/sh).
      kver=$release-arm64 root=$top/build/deps/arm64-kernel
      qemu=(qemu-system-aarch64 -M virt -cpu cortex-a57)
      console=ttyAMA0 cross=(ARCH=arm64 CROSS_COMPILE=aarch64-linux-gnu-)
      busybox=$root/bin/busybox binsh=1
      ;;
    *) usage ;;
  esac
  moddir=$root/lib/modules/$kver
  kernel=$root/boot/vmlinuz-$kver
  kdir=$root/usr/src/linux-headers-$kver
}
configure_arch
# The set-up job only when something is missing: it costs most of a second.
if [[ -z $release || ! -f $kernel || ! -f $busybox || ! -d $kdir ]] ||
  ! command -v "${qemu[0]}" cpio xz nsenter ip >/dev/null; then
  job=kernel
  [[ $arch == x86_64 ]] || job=kernel-$arch
  "$top/tools/setup-deps.sh" "$job" >&2
  configure_arch
fi
out=${MQQOE_KERNEL_BUILD:-$top/build/kernel}/$arch
mkdir -p "$out/runs"
# Folders of runs killed before their clean-up, and archives of old inits.
find "$out/runs" "$out" -maxdepth 1 -mindepth 1 \( -name 'run.*' -o -name 'initramfs-*.cpio' \) \
  -mmin +1440 -exec rm -rf {} + 2>/dev/null || true

# Both steps write shared files under $out: one run at a time.
exec 9>"$out/lock"
flock 9
built=()
if ((load_modules)); then
  if ! kernel_modules_build "$top/kernel" "$out/modules" "$kdir" "${cross[@]}" >"$out/modules.list"; then
    echo "run-vm: the modules of kernel/ do not build" >&2
    exit 125
  fi
  mapfile -t built <"$out/modules.list"
  if ((require_modules && ${#built[@]} < ${#project_modules[@]})); then
    echo "run-vm: built only ${built[*]:-no module}; all of ${project_modules[*]} are required" >&2
    exit 125
  fi
fi
mapfile -t boot < <(kernel_modules_order "$moddir" "${boot_modules[@]}")
initramfs=$(initramfs_build "$out" "$busybox" "$here/vm/init" "${boot[@]}")
if [[ $arch == x86_64 ]]; then
  # The decompressed kernel boots through its PVH entry: no firmware and no
  # xz decompression under TCG, about 2 s less per boot.
  vmlinux=$out/vmlinux-$kver
  if [[ ! -f $vmlinux ]]; then
    offset=$(LC_ALL=C grep -m1 -obUaP '\xfd7zXZ\x00' "$kernel" | cut -d: -f1)
    # xz stops at the stream's end: tail is not in a pipeline to be cut short.
    if [[ -n $offset ]] && xz -dcq --single-stream <(tail -c +$((offset + 1)) "$kernel") >"$vmlinux.$$"; then
      mv "$vmlinux.$$" "$vmlinux"
    fi
    rm -f "$vmlinux.$$"
  fi
  [[ ! -f $vmlinux ]] || kernel=$vmlinux
fi
run=$(mktemp -d "$out/runs/run.XXXXXX")
# MQQOE_VM_KEEP=1 keeps the run's folder (console log, kernel log) to look at.
[[ ${MQQOE_VM_KEEP:-} == 1 ]] || trap 'rm -rf "$run"' EXIT
# The run's own copy of the modules: a later build may replace the shared ones
# while this VM still loads them.
mkdir "$run/ko"
((${#built[@]} == 0)) || cp "${built[@]}" "$run/ko/"
built=("${built[@]/#*\//$run/ko/}")
flock -u 9

mkdir "$run/tmp"
{
  needs=("${debian_modules[@]}")
  for module in "${built[@]}"; do
    IFS=, read -ra depends <<<"$(modinfo -F depends "$module")"
    for name in "${depends[@]}"; do
      # The reference modules load from the build, in their own order.
      [[ " ${project_modules[*]} " == *" $name "* ]] || needs+=("$name")
    done
  done
  kernel_modules_order "$moddir" "${needs[@]}"
  ((${#built[@]} == 0)) || printf '%s\n' "${built[@]}"
} >"$run/modules"
# Unloaded after the command in the reverse order.
for ((i = ${#built[@]} - 1; i >= 0; i--)); do basename "${built[i]}" .ko; done >"$run/unload"

# CMD with this environment (TMPDIR replaced) in this folder.
{
  while IFS= read -r -d '' pair; do
    name=${pair%%=*}
    [[ $name =~ ^[A-Za-z_][A-Za-z0-9_]*$ ]] || continue
    case $name in TMPDIR | PWD | OLDPWD | SHLVL | _) continue ;; esac
    value=${pair#*=}
    printf "export %s='%s'\n" "$name" "${value//\'/\'\\\'\'}"
  done < <(env -0)
  printf "export TMPDIR='%s'\n" "$run/tmp"
  loaded=("${built[@]##*/}")
  printf "export MQQOE_VM_MODULES='%s'\n" "${loaded[*]%.ko}"
  printf "export MQQOE_KMOD_DIR='%s'\n" "$run/ko"
  [[ $arch == x86_64 ]] || printf 'export PATH=/run/bin:"$PATH"\n'
  printf "cd '%s' || exit 125\n" "${PWD//\'/\'\\\'\'}"
  printf 'exec'
  for word in "$@"; do printf " '%s'" "${word//\'/\'\\\'\'}"; done
  echo
} >"$run/cmd"

# KVM only where a boot to the kernel's first panic really completes under it:
# nested set-ups often expose /dev/kvm and then hang. Probed once per host boot.
kvm_works() {
  local probe=$out/../kvm-probe boot_id
  boot_id=$(</proc/sys/kernel/random/boot_id)
  if [[ ! -f $probe || $(head -1 "$probe") != "$boot_id" ]]; then
    local log=$out/kvm-probe.log verdict=no
    if [[ -w /dev/kvm ]] && timeout 10 "${qemu[@]}" -accel kvm -m 256 -nodefaults -display none \
      -monitor none -no-reboot -serial "file:$log" -kernel "$kernel" -append "console=$console panic=-1" \
      </dev/null >/dev/null 2>&1 && grep -q 'Kernel panic' "$log"; then
      verdict=yes
    fi
    printf '%s\n%s\n' "$boot_id" "$verdict" >"$probe.$$"
    mv "$probe.$$" "$probe"
  fi
  [[ $(tail -1 "$probe") == yes ]]
}
accel=(-accel tcg -smp 2)
case ${MQQOE_VM_ACCEL:-auto} in
  kvm) accel=(-accel kvm -cpu host -smp 2) ;;
  auto) if [[ $arch == x86_64 ]] && kvm_works; then accel=(-accel kvm -cpu host -smp 2); fi ;;
esac
qemu+=("${accel[@]}" -m 2048 -nodefaults -no-reboot -display none -monitor none
  -kernel "$kernel" -initrd "$initramfs"
  -append "console=$console quiet loglevel=3 panic=-1 mqqoe.run=$run mqqoe.stage2=$here/vm/guest.sh mqqoe.binsh=$binsh"
  -serial "file:$run/console.log"
  -fsdev "local,id=root,path=/,security_model=none,readonly=on,multidevs=remap"
  -device virtio-9p-pci,fsdev=root,mount_tag=root
  -fsdev "local,id=run,path=$run,security_model=none,multidevs=remap"
  -device virtio-9p-pci,fsdev=run,mount_tag=run
  -device virtio-serial-pci
  -chardev "file,id=stdout,path=$run/stdout"
  -device virtserialport,chardev=stdout,name=stdout
  -chardev "file,id=stderr,path=$run/stderr"
  -device virtserialport,chardev=stderr,name=stderr)

# CMD's output streams through FIFOs to this script's own stdout and stderr.
mkfifo "$run/stdout" "$run/stderr"
cat <"$run/stdout" &
cat <"$run/stderr" >&2 &
status=0
timeout --kill-after=5 "$timeout" "${qemu[@]}" </dev/null &
vm=$!
# Stopped from outside (ctest's own time-out, ^C): the VM goes too.
trap 'kill "$vm" 2>/dev/null; exit 143' TERM INT
wait "$vm" || status=$?
# A reader still waiting for qemu to open its FIFO gets an empty stream.
for fifo in "$run/stdout" "$run/stderr"; do exec 8<>"$fifo" 8>&-; done
wait
if ((status == 124 || status == 137)); then
  echo "run-vm: timed out after ${timeout}s" >&2
  status=124
elif [[ -f $run/status ]]; then
  status=$(<"$run/status")
elif grep -q '^vm: ' "$run/setup.log" 2>/dev/null; then
  echo "run-vm: the VM's set-up failed; the command did not run" >&2
  status=125
else
  echo "run-vm: the VM stopped before the command ended (qemu status $status)" >&2
  status=125
fi
# Any kernel splat fails the run, whatever the command said (x86-64 writes
# "Call Trace", arm64 "Call trace").
splat='WARNING:|Oops|BUG:|KASAN|UBSAN|Call [Tt]race|general protection fault|Unable to handle kernel|Kernel panic'
log=$run/dmesg
[[ -f $log ]] || log=$run/console.log
if [[ -f $run/setup.log ]]; then cat "$run/setup.log" >&2; fi
if [[ -f $run/unload-failed ]]; then
  ((status)) || status=1
  echo "run-vm: still loaded after the command: $(tr '\n' ' ' <"$run/unload-failed")" >&2
fi
if grep -Eq "$splat" "$log" 2>/dev/null; then
  ((status)) || status=1
  echo "run-vm: the kernel logged a splat" >&2
fi
if ((status)); then
  echo "run-vm: exit status $status; the guest's kernel log since init:" >&2
  sed -n '/Run \/init as init process/,$p' "$log" >&2 2>/dev/null || true
fi
exit "$status"
