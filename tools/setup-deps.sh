#!/usr/bin/env bash
# Installs, when missing, the Debian 12 packages a job needs, and nothing when
# all is there:
#   tools/setup-deps.sh main       the host build and the simulator (tools/run-main.sh)
#   tools/setup-deps.sh host       every host test too (ctest --preset host, tools/mutants.sh)
#   tools/setup-deps.sh coverage   the host tests and gcovr (tools/coverage.sh)
#   tools/setup-deps.sh kernel     the kernel tier's VM (tests/kernel/run-vm.sh)
#   tools/setup-deps.sh kernel-arm64  its arm64 VM and the arm64 preset
#   tools/setup-deps.sh            everything the test command uses (tools/run-tests.sh)
set -euo pipefail
# --help: the comment at the head of this file.
if [[ " $* " == *" --help "* || " $* " == *" -h "* ]]; then sed -n '2,/^set -/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0; fi
job=${1:-tests}
# kernel-x86_64: the kernel job's first name, which other scripts still give.
[[ $job != kernel-x86_64 ]] || job=kernel
top=$(cd "$(dirname "$0")/.." && pwd)

as_root=()
if [[ $(id -u) -ne 0 ]]; then as_root=(sudo); fi
# Other installs may hold dpkg's lock: wait for it rather than fail.
apt_get() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 "$@"
}

install_missing() {
  local missing=() package
  for package in "$@"; do
    if ! dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii'; then
      missing+=("$package")
    fi
  done
  ((${#missing[@]})) || return 0
  echo "Installing: ${missing[*]}"
  apt_get update -qq
  apt_get install -y -qq --no-install-recommends "${missing[@]}"
}

# The host build (library, tests, benchmarks, fuzzers), the JVM, and the
# simulator's report: JFreeChart draws in a headless JVM, which needs fonts.
install_missing \
  build-essential cmake ninja-build clang libclang-rt-14-dev \
  openjdk-17-jdk-headless junit5 \
  android-liblog-dev android-libutils-dev \
  libgtest-dev libgmock-dev libbenchmark-dev libssl-dev \
  libjfreechart-java fonts-dejavu-core
[[ $job == main ]] && exit 0

# The kernel tier: Debian's kernel and its headers (the reference modules
# build against them), qemu, a static busybox for the initramfs, and the
# tools the guest runs from the host's root.
install_missing \
  linux-image-amd64 linux-headers-amd64 qemu-system-x86 busybox-static cpio kmod xz-utils \
  iproute2 iputils-ping iperf3
[[ $job == kernel ]] && exit 0

# The report test opens the simulator's page in headless Chromium.
[[ $job == kernel-arm64 ]] || install_missing chromium
if [[ $job == coverage ]]; then install_missing gcovr; fi
[[ $job == host || $job == coverage ]] && exit 0

# The 64-bit Arm cross build (arm64 preset): Debian's aarch64 cross toolchain,
# qemu's user-mode emulation and the :arm64 packages beside the host's; the
# emulated tests run with libc6:arm64's loader.
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  echo "Adding the arm64 architecture"
  "${as_root[@]}" dpkg --add-architecture arm64
fi
install_missing \
  crossbuild-essential-arm64 qemu-user libc6:arm64 \
  android-liblog-dev:arm64 android-libutils-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64 libssl-dev:arm64

# libutils' Arm libbacktrace needs the Arm 7z.so, which p7zip-full:arm64
# cannot install beside the host's copy: it is unpacked into build/deps/arm64,
# where the arm64 preset links and runs against it.
arm64_libdir=$top/build/deps/arm64
if [[ ! -f $arm64_libdir/7z.so ]]; then
  echo "Unpacking the Arm 7z.so into $arm64_libdir"
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  # Into a private folder: fetched as whoever runs this, not apt's own user.
  (cd "$scratch" && apt-get download -qq -o APT::Sandbox::User="$(id -un)" p7zip-full:arm64)
  dpkg-deb -x "$scratch"/p7zip-full_*_arm64.deb "$scratch/root"
  mkdir -p "$arm64_libdir"
  cp "$scratch/root/usr/lib/p7zip/7z.so" "$arm64_libdir/"
fi

# The arm64 VM of the kernel tier: Debian's arm64 kernel, its headers (they
# build against the host's linux-headers-*-common and linux-kbuild, at the
# same release) and a static busybox, unpacked into build/deps/arm64-kernel
# rather than installed: a foreign kernel has no place on the host.
install_missing qemu-system-arm
release=$(dpkg-query -W -f='${Depends}' linux-image-amd64 | sed -n 's/^linux-image-\([0-9.]*-[0-9]*\)-amd64.*/\1/p')
kernel_tree=$top/build/deps/arm64-kernel
if [[ ! -f $kernel_tree/.release-$release ]]; then
  echo "Unpacking Debian's arm64 kernel $release into $kernel_tree"
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  (cd "$scratch" && apt-get download -qq -o APT::Sandbox::User="$(id -un)" \
    "linux-image-$release-arm64:arm64" "linux-headers-$release-arm64:arm64" busybox-static:arm64)
  for deb in "$scratch"/*.deb; do dpkg-deb -x "$deb" "$scratch/tree"; done
  # The headers reach the kbuild scripts through ../../lib/linux-kbuild-<x.y>.
  kbuild=$(readlink "$scratch/tree/usr/src/linux-headers-$release-arm64/scripts")
  kbuild=${kbuild#../../lib/}
  ln -s "/usr/lib/${kbuild%/scripts}" "$scratch/tree/usr/lib/${kbuild%/scripts}"
  /sbin/depmod -b "$scratch/tree" "$release-arm64"
  touch "$scratch/tree/.release-$release"
  rm -rf "$kernel_tree"
  mv "$scratch/tree" "$kernel_tree"
fi
