#!/usr/bin/env bash
# jalv, an interactive LV2 host, runs the plain stereo plugin headless on
# JACK's dummy backend, loads the limiter factory preset by URI and must then
# hold the preset's values: threshold -1 dBFS, ratio at its top (Limit),
# instant attack, at most 24 dB of reduction (cli/presets/limiter.json).
#   jalv_preset.sh LV2_DIR
set -euo pipefail
# A fixed JACK server name: JACK holds at most eight names in its registry and
# reclaims a dead server's entry only for the same name.
export LV2_PATH=$1 JACK_DEFAULT_SERVER=stemstrip-jalv-preset
jackd --no-realtime -d dummy -r 48000 -p 256 >/dev/null 2>&1 &
server=$!
trap 'kill $server' EXIT
jack_wait -w -t 10 >/dev/null 2>&1
# jalv reads commands from stdin ("presets" loads the list "preset" picks
# from); the pauses let it apply each before the next.
out=$( (sleep 2; echo presets; sleep 2; echo "preset urn:stemstrip:lv2:preset:limiter:plain:stereo"; sleep 2; echo controls; sleep 2) |
       timeout 30 jalv urn:stemstrip:lv2:plain:stereo 2>&1)
after=$(sed -n '/^comp_threshold = 0.000000$/,$p' <<<"$out" | tail -n +2)  # past the defaults
for want in "comp_threshold = -1.000000" "comp_ratio = 100.000000" "comp_attack = 0.010000" \
            "comp_max_reduction = 24.000000"; do
  grep -qx "$want" <<<"$after" || { echo "jalv does not show '$want' after the preset:"; echo "$out"; exit 1; }
done
