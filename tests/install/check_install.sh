#!/usr/bin/env bash
# The shipped artefacts, away from the build.
#   prefix   `cmake --install` into a scratch prefix; the freestanding proofs
#            on the installed core; the README's three consumers built there
#            from its "Use from your project" snippets; the CLI and plugins.
#   package  the .deb: no build path in any file, no absolute RUNPATH,
#            lintian without errors, installed (dpkg -i as root, unless a
#            stemstrip package is installed already; dpkg -x otherwise) and its CLI and plugins run from there.
# Usage: check_install.sh prefix|package <build-dir> <source-dir>
set -euo pipefail
mode=$1 build=$(realpath "$2") source=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL ($mode): $*"; exit 1; }

# The demo renders, hosts list the plugins and one renders a demo file.
run_installed() {  # <bin-dir> <lv2-dir>
  "$1/stemstrip" demo "$work/demo" >/dev/null || fail "stemstrip demo failed"
  plugins=$(LV2_PATH=$2 lv2ls)
  grep -qx 'urn:stemstrip:lv2:mono' <<<"$plugins" || fail "lv2ls in $2 lists: $plugins"
  LV2_PATH=$2 lv2apply -i "$work/demo/dialogue-in.wav" -o "$work/lv2-out.wav" urn:stemstrip:lv2:mono ||
    fail "lv2apply failed"
  [ "$(stat -c %s "$work/lv2-out.wav")" = "$(stat -c %s "$work/demo/dialogue-in.wav")" ] ||
    fail "lv2apply wrote $(stat -c %s "$work/lv2-out.wav") bytes for a $(stat -c %s "$work/demo/dialogue-in.wav")-byte input"
  echo "demo rendered; $(wc -l <<<"$plugins") plugins listed; lv2apply rendered through urn:stemstrip:lv2:mono"
}

case $mode in
prefix)
  prefix=$work/prefix
  cmake --install "$build" --prefix "$prefix" --strip >/dev/null
  for check in exports imports data; do
    bash "$source/tests/library/check_freestanding.sh" $check "$prefix/lib/libstemstrip.so.0"
  done
  # Every file and shell block of the README's section, as written there.
  mkdir "$work/consumers"
  awk -v dir="$work/consumers" '
    /^## / { inside = ($0 == "## Use from your project") }
    !inside { next }
    /^<!-- file: [^ ]+ -->$/ { target = dir "/" $3; next }
    /^<!-- tested against an install -->$/ { target = dir "/commands.sh"; next }
    /^```/ { if (block) { block = 0; target = "" } else if (target) block = 1; next }
    block { print > target }' "$source/README.md"
  [ -s "$work/consumers/commands.sh" ] || fail "no tested commands under README's Use from your project"
  (cd "$work/consumers" && PKG_CONFIG_PATH=$prefix/lib/pkgconfig CMAKE_PREFIX_PATH=$prefix \
    bash -euxo pipefail commands.sh) || fail "a consumer of the README failed"
  run_installed "$prefix/bin" "$prefix/lib/lv2" ;;
package)
  cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/deb" >/dev/null
  deb=$(echo "$work"/deb/stemstrip_*_amd64.deb)
  [ -f "$deb" ] || fail "cpack made no stemstrip_<version>_amd64.deb"
  dpkg -x "$deb" "$work/root"
  hits=$(grep -rlaF -e "$build" -e "$source" "$work/root" || true)
  [ -z "$hits" ] || fail "files holding a build path: $hits"
  while IFS= read -r elf; do
    paths=$(readelf -d -W "$elf" | sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\]/\2/p')
    [ -z "$paths" ] || [[ $paths == '$ORIGIN'* ]] || fail "${elf#$work/root} has RUNPATH $paths"
  done < <(find "$work/root" -type f -exec sh -c 'file -b "$1" | grep -q ^ELF' _ {} \; -print)
  lintian --fail-on error --tag-display-limit 0 "$deb" || fail "lintian reports errors"
  # A stemstrip package installed by someone else is left alone.
  if [ "$(id -u)" -eq 0 ] && ! dpkg-query -W -f='${Status}' stemstrip 2>/dev/null | grep -q 'ok installed'; then
    trap 'dpkg --purge stemstrip >/dev/null; rm -rf "$work"' EXIT
    dpkg -i "$deb" >/dev/null
    run_installed /usr/bin /usr/lib/lv2
  else
    run_installed "$work/root/usr/bin" "$work/root/usr/lib/lv2"
  fi ;;
*) echo "unknown mode '$mode'"; exit 2 ;;
esac
