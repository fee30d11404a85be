#!/usr/bin/env bash
# Builds the fuzz targets and runs each for some seconds. Usage: tests/fuzz/run.sh SECONDS [TARGET...]
# Inputs that crash a target, hang it or eat too much memory are kept in build/fuzz/crashes.
set -euo pipefail
cd "$(dirname "$0")/../.."
if [[ $# -lt 1 || ! $1 =~ ^[1-9][0-9]*$ ]]; then
  echo "Usage: $0 SECONDS [TARGET...]" >&2
  exit 2
fi
seconds=$1
shift
configure=(-DORVO_WARNINGS_AS_ERRORS=ON)
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for seeds in tests/fuzz/corpus/*/; do targets+=("$(basename "$seeds")"); done
fi
cmake --preset clang-asan "${configure[@]}" >/dev/null
cmake --build --preset clang-asan --target "${targets[@]/#/orvo_fuzz_}"
crashes=build/fuzz/crashes
told=build/fuzz/told
rm -rf "$told"
mkdir -p "$crashes" "$told"

# fuzz TARGET: what it says comes in one piece when it is done.
fuzz() {
  local target=$1 found=build/fuzz/corpus/$1
  mkdir -p "$found"
  "build/clang-asan/bin/orvo_fuzz_$target" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -verbosity=0 -print_final_stats=1 -artifact_prefix="$crashes/$target-" "$found" "tests/fuzz/corpus/$target" \
    >"$told/$target" 2>&1 || touch "$told/$target.failed"
  echo "== $target, $seconds s"
  if [[ -e $told/$target.failed ]]; then
    tail -n 60 "$told/$target"
  else
    grep -E '^stat::(number_of_executed_units|new_units_added|slowest_unit|peak_rss)' "$told/$target" || true
  fi
}
export -f fuzz
export seconds crashes told
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'set -euo pipefail; fuzz {}'
failed=()
for target in "${targets[@]}"; do
  if [[ -e $told/$target.failed ]]; then failed+=("$target"); fi
done
if [[ ${#failed[@]} -gt 0 ]]; then
  echo "Failed: ${failed[*]}; inputs in $crashes" >&2
  exit 1
fi
echo "No target failed"
