#!/usr/bin/env bash
# Builds stemstrip and runs every test. Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."
# chromium: the HTML report is tested in a real browser; clang and its
# runtimes: libFuzzer and RealtimeSanitizer.
scripts/install-deps.sh chromium clang-19 libclang-rt-19-dev
cmake --preset release
cmake --build --preset release
ctest --preset release
# The core once more with one lane everywhere: the scalar build must give
# the same bits as the vector build.
cmake --preset scalar
cmake --build --preset scalar
ctest --preset scalar
# Sanitizers (ASan+UBSan, TSan, RTSan) and bounded fuzzing sessions.
scripts/robustness.sh
