#!/usr/bin/env bash
# Installs the Debian packages stemstrip's build and tests need, if missing.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

packages=(build-essential cmake ninja-build python3 libgtest-dev libbenchmark-dev libsndfile1-dev libcli11-dev nlohmann-json3-dev lv2-dev lilv-utils lv2file sordi
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
