#!/usr/bin/env bash
# Proves the built library is freestanding: it exports exactly the eleven
# entries, imports nothing, needs no other shared object and owns no writable
# data. Usage: check_freestanding.sh <check> <libstemstrip.so> [nm] [readelf]
# where <check> is exports, imports, needed, data or aliases.
set -u
check=$1 lib=$2 nm=${3:-nm} readelf=${4:-readelf}
[ -f "$lib" ] || { echo "FAIL: no library at $lib"; exit 1; }

fail() { echo "FAIL ($check): $*"; exit 1; }

expected="AlgEntry_16_Stem_5_0 AlgEntry_16_Stem_5_1 AlgEntry_16_Stem_6_0 AlgEntry_16_Stem_6_1
AlgEntry_16_Stem_7_0 AlgEntry_16_Stem_7_1 AlgEntry_16_Stem_LCR AlgEntry_16_Stem_LCRS
AlgEntry_16_Stem_Mono AlgEntry_16_Stem_Quad AlgEntry_16_Stem_Stereo"

case $check in
exports)
  defined=$("$nm" -D --defined-only "$lib") || fail "nm failed on $lib"
  names=$(awk '{print $NF}' <<<"$defined" | sort)
  want=$(tr ' ' '\n' <<<"$expected" | tr -s '\n' | sort)
  extra=$(comm -13 <(echo "$want") <(echo "$names"))
  missing=$(comm -23 <(echo "$want") <(echo "$names"))
  [ -z "$extra$missing" ] ||
    fail "exported beyond the eleven entries: [$(echo $extra)]; entries not exported: [$(echo $missing)]"
  # Every entry is a global function in the text section.
  notext=$(awk 'NF != 3 || $2 != "T" {print}' <<<"$defined")
  [ -z "$notext" ] || fail "exports that are not global text symbols: $notext"
  echo "exports: $(echo $names)" ;;
imports)
  undefined=$("$nm" -D --undefined-only "$lib") || fail "nm failed on $lib"
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
  defined=$("$nm" -D --defined-only "$lib") || fail "nm failed on $lib"
  a60=$(awk '$3 == "AlgEntry_16_Stem_6_0" {print $1}' <<<"$defined")
  a51=$(awk '$3 == "AlgEntry_16_Stem_5_1" {print $1}' <<<"$defined")
  [ -n "$a60" ] && [ -n "$a51" ] || fail "6.0 at '$a60', 5.1 at '$a51': one is missing"
  [ "$a60" != "$a51" ] || fail "AlgEntry_16_Stem_6_0 and AlgEntry_16_Stem_5_1 share address $a60"
  echo "6.0 at $a60, 5.1 at $a51" ;;
*) echo "unknown check '$check'"; exit 2 ;;
esac
