#!/usr/bin/env bash
# Installs the Debian packages stemstrip's build and tests need, if missing.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

# help2man writes the manual page; dpkg-dev, file and lintian make and check
# the Debian package; jalv and jackd2 are a real host for the plugin tests;
# libx11-dev and libcairo2-dev build the plugin's interface, which xvfb and
# xdotool let the tests show and drive; the python3 packages build, test and
# pip-install the Python module and run the README's Python example.
packages=(build-essential cmake ninja-build python3 libgtest-dev libbenchmark-dev libsndfile1-dev libcli11-dev nlohmann-json3-dev lv2-dev liblilv-dev lilv-utils lv2file sordi
  pkg-config help2man dpkg-dev file lintian jalv jackd2 libx11-dev libcairo2-dev xvfb xdotool
  python3-dev python3-numpy python3-pybind11 pybind11-dev python3-pytest python3-soundfile python3-matplotlib
  python3-pip python3-setuptools python3-wheel python3-venv "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "stemstrip needs these Debian packages: ${missing[*]}" >&2
  echo "Install them as root: sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get -o DPkg::Lock::Timeout=600 update -qq
apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
