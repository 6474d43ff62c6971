#!/bin/sh
# One command for the peer table: installs lilv and the peer plugins if
# missing (bench/install-peers.sh, needs root then), builds Release in
# build/bench (or $STEMSTRIP_BENCH_BUILD) and prints stemstrip's stereo full
# strip against the scalar model and each peer chain at 16/64/256/1024-sample
# calls. Optional argument: repetitions per call size (default 21).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${STEMSTRIP_BENCH_BUILD:-$ROOT/build/bench}
"$ROOT/bench/install-peers.sh"
cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DSTEMSTRIP_BENCH=ON >/dev/null
if ! ninja -C "$BUILD" -t targets all | grep -q '^stemstrip_peer_table:'; then
    echo "run-peers.sh: lilv is missing, so the peer host is not part of the build (see bench/install-peers.sh)" >&2
    exit 1
fi
ninja -C "$BUILD" -j2 stemstrip_peer_table >&2
exec "$BUILD/bench/peers/stemstrip_peer_table" "$@"
