#!/usr/bin/env bash
# The README's first command: installs the Debian packages that are missing,
# builds the release preset and runs `stemstrip demo`, which synthesises a
# programme, renders it through built-in presets and writes the inputs,
# outputs and HTML reports to DIR (default ./stemstrip-demo).
# Usage: scripts/demo.sh [DIR]
set -euo pipefail

out="$(realpath -m "${1:-stemstrip-demo}")"
cd "$(dirname "$0")/.."

if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null; then
  sudo scripts/install-deps.sh
else
  scripts/install-deps.sh
fi
cmake --preset release
cmake --build --preset release
build/release/cli/stemstrip demo "$out"
echo "Open $out/drums-voice-report.html in a browser; listen to $out/*-out.wav."
