#!/bin/sh
# Installs what the peer comparison needs, if missing: lilv (to build the
# host) and the plugin collections it compares against (Debian packages).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
exec "$ROOT/scripts/install-deps.sh" liblilv-dev lsp-plugins-lv2 calf-plugins x42-plugins ardour-lv2-plugins
