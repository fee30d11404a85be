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
cmake --preset fuzz "${configure[@]}" >/dev/null
cmake --build --preset fuzz
crashes=build/fuzz/crashes
mkdir -p "$crashes"

targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for seeds in tests/fuzz/corpus/*/; do targets+=("$(basename "$seeds")"); done
fi
failed=()
for target in "${targets[@]}"; do
  found=build/fuzz/corpus/$target
  mkdir -p "$found"
  echo "== $target, $seconds s"
  if ! "build/fuzz/bin/orvo_fuzz_$target" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -verbosity=0 -print_final_stats=1 -artifact_prefix="$crashes/$target-" "$found" "tests/fuzz/corpus/$target"; then
    failed+=("$target")
  fi
done
if [[ ${#failed[@]} -gt 0 ]]; then
  echo "Failed: ${failed[*]}; inputs in $crashes" >&2
  exit 1
fi
echo "No target failed"
