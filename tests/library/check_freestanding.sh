#!/usr/bin/env bash
# Proves the built library is freestanding. Usage:
# check_freestanding.sh <check> <libstemstrip.so> [nm] [readelf], where <check> is
#   exports: exactly the eleven entries, each a global text symbol, 5.1 and 6.0 apart;
#   imports: no undefined symbol, nothing the loader must load, find or patch;
#   data:    no writable data (nor TLS) of the library's own.
set -u
check=$1 lib=$2 nm=${3:-nm} readelf=${4:-readelf}
fail() { echo "FAIL ($check): $*"; exit 1; }
[ -f "$lib" ] || fail "no library at $lib"
symbols() { "$nm" -D "$@" "$lib" || fail "nm failed on $lib"; }
sections=$("$readelf" -S -W "$lib" | sed -n 's/^ *\[ *[0-9]*\] //p') || fail "readelf failed on $lib"

case $check in
exports)
  defined=$(symbols --defined-only)
  want=$(printf 'AlgEntry_16_Stem_%s\n' Mono Stereo LCR Quad LCRS 5_0 5_1 6_0 6_1 7_0 7_1 | sort)
  [ "$(awk '{print $NF}' <<<"$defined" | sort)" = "$want" ] || fail "exported: [$(echo $defined)]; want exactly [$(echo $want)]"
  notext=$(awk 'NF != 3 || $2 != "T"' <<<"$defined")
  [ -z "$notext" ] || fail "exports that are not global text symbols: $notext"
  addresses=$(awk '$3 ~ /_(5_1|6_0)$/ {print $1}' <<<"$defined" | sort -u | wc -l)
  [ "$addresses" = 2 ] || fail "5.1 and 6.0 at one address" ;;
imports)
  undefined=$(symbols --undefined-only)
  [ -z "$undefined" ] || fail "imported symbols: $(echo $undefined)"
  dynamic=$("$readelf" -d -l -W "$lib" | grep -E '\((NEEDED|RPATH|RUNPATH|TEXTREL)\)|^\s+(INTERP|TLS)\b')
  [ -z "$dynamic" ] || fail "entries that load or patch something: $dynamic" ;;
data)
  # Writable allocated sections other than the linker's own dynamic table and
  # GOT would be data of the library itself; so would any TLS section or any
  # relocation the loader would apply to data.
  bad=$(awk '$7 ~ /T/ || ($7 ~ /W/ && $7 ~ /A/ && $1 != ".dynamic" && $1 != ".got" && $1 != ".got.plt") ||
             ($1 ~ /^\.(data|bss|data\.rel\.ro|tdata|tbss)$/ && $5 !~ /^0+$/) || $1 ~ /^\.rela?\./ {print $1}' <<<"$sections")
  [ -z "$bad" ] || fail "writable data or relocation sections: $(echo $bad)" ;;
*) fail "unknown check" ;;
esac
echo "$check: ok"
