#!/usr/bin/env bash
# Installs, when missing, the Debian 12 packages the build and the tests use.
set -euo pipefail

packages=(
  build-essential cmake ninja-build clang libclang-rt-14-dev
  openjdk-17-jdk-headless junit5
  android-liblog-dev android-libutils-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libssl-dev
)

# Host simulator report: JFreeChart draws its charts in a headless JVM, which
# needs real fonts; the report test opens the page in headless Chromium
# through ChromeDriver.
packages+=(
  libjfreechart-java fonts-dejavu-core
  chromium chromium-driver
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  if [[ $(id -u) -ne 0 ]]; then sudo_cmd=(sudo); fi
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# ---- 64-bit Arm cross build (the arm64 preset) ----
# Debian's aarch64 cross toolchain, qemu's user-mode emulation and the :arm64
# packages beside the host's; the emulated tests run with libc6:arm64's
# loader. libutils' Arm libbacktrace needs the Arm 7z.so, which
# p7zip-full:arm64 cannot install beside the host's copy: it is unpacked into
# build/deps/arm64, where the arm64 preset links and runs against it.
arm64_packages=(
  crossbuild-essential-arm64 qemu-user libc6:arm64
  android-liblog-dev:arm64 android-libutils-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64 libssl-dev:arm64
)
arm64_libdir="$(cd "$(dirname "$0")/.." && pwd)/build/deps/arm64"
as_root=()
if [[ $(id -u) -ne 0 ]]; then as_root=(sudo); fi

arm64_installed() {
  local count
  count=$(dpkg-query -W -f='${db:Status-Abbrev}\n' "${arm64_packages[@]}" 2>/dev/null | grep -c '^ii' || true)
  ((count == ${#arm64_packages[@]}))
}

if ! arm64_installed; then
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    echo "Adding the arm64 architecture"
    "${as_root[@]}" dpkg --add-architecture arm64
  fi
  echo "Installing: ${arm64_packages[*]}"
  "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=600 update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=600 install -y -qq \
    --no-install-recommends "${arm64_packages[@]}"
fi

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
