#!/usr/bin/env bash
# Builds stemstrip and runs every test. Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh chromium   # chromium: the HTML report is tested in a real browser
cmake --preset release
cmake --build --preset release
ctest --preset release
# The core once more with one lane everywhere: the scalar build must give
# the same bits as the vector build.
cmake --preset scalar
cmake --build --preset scalar
ctest --preset scalar
