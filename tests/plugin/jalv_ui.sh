#!/usr/bin/env bash
# jalv.gtk3 opens the plain stereo plugin with its interface on a virtual X
# screen, band 4 (1 kHz) switched on, while a 1 kHz metronome feeds its left
# input. A screenshot (kept as jalv_ui.ppm in the build folder) must show
# band 4's handle, and dragging band 4's handle up by a quarter of the graph
# (+12 dB) must raise the output peak the host prints over the input's.
#   jalv_ui.sh LV2_DIR SCREENSHOT_TOOL OUT_DIR
set -euo pipefail
# A fixed JACK server name: JACK holds at most eight names in its registry and
# reclaims a dead server's entry only for the same name.
export LV2_PATH=$1 JACK_DEFAULT_SERVER=stemstrip-jalv-ui DISPLAY=:$((100 + $$ % 800))
shot=$2 out=$3/jalv_ui
trap 'kill $(jobs -p) 2>/dev/null; wait' EXIT
Xvfb "$DISPLAY" -screen 0 1280x800x24 >/dev/null 2>&1 &
jackd --no-realtime -d dummy -r 48000 -p 256 >/dev/null 2>&1 &
jack_wait -w -t 10 >/dev/null 2>&1
jalv.gtk3 --jack-name ui -x --print-controls -c band4_enable=1 urn:stemstrip:lv2:plain:stereo >"$out.log" 2>&1 &
jack_metro -n metro -b 300 -f 1000 -A 0.25 -D 150 >/dev/null 2>&1 &
# Band 4's handle, filled in its own colour (0.40, 0.85, 0.40), once drawn;
# a loaded machine may take a while to start jalv and map and paint the window.
for _ in $(seq 60); do
  read -r count x y < <("$shot" "$out.ppm" 102 217 102)
  [ "$count" -gt 100 ] && break
  sleep 0.5
done
[ "$count" -gt 100 ] || { echo "no band 4 handle in $out.ppm ($count pixels)"; exit 1; }
jack_connect metro:300_bpm ui:in_l
: >"$out.log"  # from here on: levels with the band raised
xdotool mousemove "$x" "$y" mousedown 1 sleep 0.2 mousemove "$x" $((y - 20)) sleep 0.2 \
  mousemove "$x" $((y - 96)) sleep 0.2 mouseup 1
peak() { sed -n "s/^$1 = //p" "$out.log" | sort -g | tail -1; }
raised() {
  awk -v i="$(peak peak_in_l)" -v o="$(peak peak_out_l)" 'BEGIN {
    printf "input peak %.1f dB, output peak %.1f dB\n", i, o; exit !(i > -40 && o - i > 6) }'
}
for _ in $(seq 40); do  # until the host has printed levels with the band raised
  sleep 0.5
  raised >/dev/null && break
done
"$shot" "$out.after.ppm" 0 0 0 >/dev/null
raised
