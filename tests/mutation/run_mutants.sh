#!/usr/bin/env bash
# Mutation check, run by hand (not in CI): applies each mutant of mutants.txt
# to a scratch copy of the tree, rebuilds, runs the suite and prints whether
# the suite killed it. Mutants in src/ also run the core tests of the scalar
# build. Usage: tests/mutation/run_mutants.sh [mutant numbers...]
# Scratch space: MUTATION_DIR (build/mutation); results: $MUTATION_DIR/results.txt.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
work=${MUTATION_DIR:-$root/build/mutation}
tree=$work/tree
export CCACHE_BASEDIR=$work
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

# The tree as it is now, tracked and new files alike (git's view, no builds).
rm -rf "$tree" && mkdir -p "$tree"
git -C "$root" ls-files -z --cached --others --exclude-standard | (cd "$root" && xargs -0 cp --parents -t "$tree")

configure() {  # configure DIR [cache args...]
  local dir=$1
  shift
  [[ -f $work/$dir/build.ninja ]] ||
    cmake -S "$tree" -B "$work/$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DSTEMSTRIP_BENCH=OFF "${launcher[@]}" "$@" >/dev/null
}
configure release
configure scalar -DSTEMSTRIP_SCALAR=ON

# run_suite DIR [ctest args...]: empty output when everything passed, else
# the first failing test (or "build").
run_suite() {
  local dir=$work/$1
  shift
  if ! cmake --build "$dir" >"$dir/build.log" 2>&1; then
    echo build
    return
  fi
  local log=$dir/ctest.log
  if ! ctest --test-dir "$dir" -j2 --stop-on-failure --timeout 300 "$@" >"$log" 2>&1; then
    local failed
    failed=$(sed -n '/tests FAILED:/,$p' "$log" | sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\).*/\1/p' | head -n 1)
    echo "${failed:-ctest}"
  fi
}

echo "baseline (unmutated)"
for dir in release scalar; do
  args=()
  [[ $dir == scalar ]] && args=(-L core)
  failed=$(run_suite "$dir" "${args[@]}")
  if [[ -n $failed ]]; then
    echo "the unmutated $dir suite fails ($failed): see $work/$dir" >&2
    exit 1
  fi
done

results=$work/results.txt
: >"$results"
killed=0 survived=0 number=0
while IFS= read -r line <&3; do
  [[ -z $line || $line == \#* ]] && continue
  number=$((number + 1))
  if (($# > 0)) && [[ " $* " != *" $number "* ]]; then continue; fi
  file=${line%% @@ *}
  why=${line##* @@ }
  saved=$work/original
  cp -p "$tree/$file" "$saved"
  python3 - "$tree/$file" "$line" <<'EOF'
import sys
path, line = sys.argv[1], sys.argv[2]
_, old, new, _ = [part.strip() for part in line.split(" @@ ")]
text = open(path).read()
if text.count(old) != 1:
    sys.exit(f"{path}: the mutant's text occurs {text.count(old)} times")
open(path, "w").write(text.replace(old, new))
EOF
  start=$SECONDS
  by=$(run_suite release)
  if [[ -z $by && $file == src/* ]]; then
    by=$(run_suite scalar -L core)
    [[ -n $by ]] && by="scalar: $by"
  fi
  cp -p "$saved" "$tree/$file"
  touch "$tree/$file"
  if [[ -n $by ]]; then
    result=killed killed=$((killed + 1))
  else
    result=SURVIVED survived=$((survived + 1)) by=-
  fi
  printf '%2d %-8s %4ss  %-34s %s  [%s]\n' "$number" "$result" $((SECONDS - start)) "$file" "$why" "$by" |
    tee -a "$results"
done 3<"$(dirname "$0")/mutants.txt"
echo "killed $killed, survived $survived" | tee -a "$results"
