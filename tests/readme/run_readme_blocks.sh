#!/usr/bin/env bash
# Runs every shell block of README.md marked as tested (an HTML comment line
# `<!-- tested -->` right above its ```sh fence), in order, in one scratch
# directory where `build/release` is the build under test. A block fails the
# test when any of its commands does.
# Usage: run_readme_blocks.sh README BUILD_DIR SCRATCH_DIR
set -euo pipefail
readme=$(realpath "$1") build=$(realpath "$2") scratch=$3

rm -rf "$scratch" && mkdir -p "$scratch/build"
ln -s "$build" "$scratch/build/release"
cd "$scratch"

blocks=$(awk '
  /^<!-- tested -->$/ { marked = 1; next }
  marked && /^```sh$/ { inside = 1; marked = 0; n++; next }
  inside && /^```$/ { inside = 0; printf "\036"; next }
  inside { print; next }
  { marked = 0 }
' "$readme")

count=0
while IFS= read -r -d $'\036' block; do
  count=$((count + 1))
  if ! bash -euo pipefail -c "$block" >"block-$count.log" 2>&1; then
    printf 'README block %d failed:\n%s\nIt printed:\n' "$count" "$block"
    cat "block-$count.log"
    exit 1
  fi
done <<<"$blocks"
[ "$count" -gt 0 ] || { echo "no block of $readme is marked <!-- tested -->"; exit 1; }
echo "$count README blocks ran as written"
