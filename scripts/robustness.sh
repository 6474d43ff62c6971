#!/usr/bin/env bash
# Robustness proofs, run by scripts/test.sh after the release tests:
#   asan   every test under AddressSanitizer + UndefinedBehaviorSanitizer
#   tsan   the concurrency tests under ThreadSanitizer
#   rtsan  the real-time tests under RealtimeSanitizer
#   fuzz   bounded libFuzzer sessions: the core against its model, then the
#          command line's preset JSON and audio-file readers
# Any sanitizer report, failed test or fuzzer finding fails the script.
# Fuzzing time in seconds: CORE_FUZZ_SECONDS (180), HOST_FUZZ_SECONDS (45
# each). Executions reached go to build-fuzz/executions.txt, findings to
# build-fuzz/findings/<fuzzer>/ (replay one: build-fuzz/fuzz/<fuzzer> FILE).
set -euo pipefail
cd "$(dirname "$0")/.."

CORE_FUZZ_SECONDS=${CORE_FUZZ_SECONDS:-180}
HOST_FUZZ_SECONDS=${HOST_FUZZ_SECONDS:-45}

step() { printf '\n=== %s (%s)\n' "$1" "$(date -u +%H:%M:%S)"; }

for preset in asan tsan rtsan; do
  step "$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done

step fuzz
# The core fuzzer compares the shipped library too: the release build's
# unless STEMSTRIP_LIBRARY names another.
if [[ -z ${STEMSTRIP_LIBRARY:-} ]]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target stemstrip
  export STEMSTRIP_LIBRARY=$PWD/build/release/src/libstemstrip.so
fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

summary=build-fuzz/executions.txt
: >"$summary"
# run_fuzzer NAME SECONDS [libFuzzer flags...]: fuzzes from a scratch copy of
# the checked-in corpus (new inputs stay out of the tree); a finding is
# written to build-fuzz/findings/ and ends the script.
run_fuzzer() {
  local name=$1 seconds=$2
  shift 2
  local work=build-fuzz/corpus/$name findings=build-fuzz/findings/$name
  rm -rf "$work" && mkdir -p "$work" "$findings"
  local log=build-fuzz/$name.log
  if ! build-fuzz/fuzz/"$name" "$work" "$@" -max_total_time="$seconds" -timeout=20 \
      -artifact_prefix="$findings/" -print_final_stats=1 >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name: finding, input saved in $findings/" >&2
    exit 1
  fi
  local runs
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  printf '%-26s %10s executions in %ss\n' "$name" "$runs" "$seconds" | tee -a "$summary"
}
run_fuzzer core_differential_fuzzer "$CORE_FUZZ_SECONDS" fuzz/corpus/core -max_len=32768
run_fuzzer settings_json_fuzzer "$HOST_FUZZ_SECONDS" fuzz/corpus/settings_json cli/presets \
  -dict=fuzz/settings_json.dict -max_len=4096
run_fuzzer audio_file_fuzzer "$HOST_FUZZ_SECONDS" fuzz/corpus/audio_file -max_len=8192

step "robustness passed"
cat "$summary"
