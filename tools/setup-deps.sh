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
