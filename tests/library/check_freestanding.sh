#!/usr/bin/env bash
# Proves the built library is freestanding: it exports exactly the eleven
# entries, imports nothing, needs no other shared object and owns no writable
# data. Usage: check_freestanding.sh <check> <libstemstrip.so> [nm] [readelf]
# where <check> is exports, imports, needed, data or aliases.
set -u
check=$1 lib=$2 nm=${3:-nm} readelf=${4:-readelf}
[ -f "$lib" ] || { echo "FAIL: no library at $lib"; exit 1; }
fail() { echo "FAIL ($check): $*"; exit 1; }
symbols() { "$nm" -D "$@" "$lib" || fail "nm failed on $lib"; }

case $check in
exports)
  defined=$(symbols --defined-only)
  want=$(printf 'AlgEntry_16_Stem_%s\n' Mono Stereo LCR Quad LCRS 5_0 5_1 6_0 6_1 7_0 7_1 | sort)
  names=$(awk '{print $NF}' <<<"$defined" | sort)
  [ "$names" = "$want" ] || fail "exported: [$(echo $names)]; want exactly [$(echo $want)]"
  notext=$(awk 'NF != 3 || $2 != "T"' <<<"$defined")  # every entry a global function in the text section
  [ -z "$notext" ] || fail "exports that are not global text symbols: $notext"
  echo "exports: $(echo $names)" ;;
imports)
  undefined=$(symbols --undefined-only)
  [ -z "$undefined" ] || fail "imported symbols: $(echo $undefined)"
  echo "imports: none" ;;
needed)
  dyn=$("$readelf" -d -W "$lib") || fail "readelf failed on $lib"
  needed=$(grep -E '\((NEEDED|RPATH|RUNPATH|TEXTREL)\)' <<<"$dyn")
  [ -z "$needed" ] || fail "dynamic entries that load or patch something: $needed"
  interp=$("$readelf" -l -W "$lib" | grep -E '^\s+(INTERP|TLS)\b')
  [ -z "$interp" ] || fail "program headers: $interp"
  echo "needed: none" ;;
data)
  # Writable allocated sections other than the linker's own dynamic table and
  # GOT would be data of the library itself; so would any TLS section.
  sections=$("$readelf" -S -W "$lib") || fail "readelf failed on $lib"
  bad=$(set -o pipefail; sed -n 's/^ *\[ *[0-9]*\] //p' <<<"$sections" | awk '
    { name=$1; type=$2; size=$5; flags=$7; empty = size ~ /^0+$/ }
    flags ~ /T/ { print name " (TLS, 0x" size " bytes)"; next }
    flags ~ /W/ && flags ~ /A/ && name != ".dynamic" && name != ".got" && name != ".got.plt" {
      print name " (" type ", writable, 0x" size " bytes)"; next }
    (name == ".data" || name == ".bss" || name == ".data.rel.ro" || name == ".tdata" || name == ".tbss") && !empty {
      print name " (0x" size " bytes)" }' | sort -u) || fail "could not read the section table"
  [ -z "$bad" ] || fail "writable data sections: $(echo $bad)"
  relocs=$(grep -E '\.rela?\.' <<<"$sections" | awk '{print $2}')
  [ -z "$relocs" ] || fail "relocation sections (the loader would patch data): $(echo $relocs)"
  echo "writable sections: $(sed -n 's/^ *\[ *[0-9]*\] //p' <<<"$sections" | awk '$7 ~ /W/ {printf "%s ", $1}')" ;;
aliases)
  defined=$(symbols --defined-only)
  a60=$(awk '$3 == "AlgEntry_16_Stem_6_0" {print $1}' <<<"$defined")
  a51=$(awk '$3 == "AlgEntry_16_Stem_5_1" {print $1}' <<<"$defined")
  [ -n "$a60" ] && [ -n "$a51" ] && [ "$a60" != "$a51" ] || fail "6.0 at '$a60', 5.1 at '$a51': missing or one address"
  echo "6.0 at $a60, 5.1 at $a51" ;;
*) echo "unknown check '$check'"; exit 2 ;;
esac
