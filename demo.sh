#!/usr/bin/env bash
# Builds Orvo and adjusts the real block in examples/seneca.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")"

example=examples/seneca
out=build/demo
log=build/demo.log
programs=build/release/bin

failed() {
  echo
  echo "$1 The end of $log:" >&2
  tail -n 20 "$log" >&2
  exit 1
}

echo "Orvo demo: 165 aerial images of farm fields in Ohio, 6,787 tie points, 45,867 measurements."
echo "The block starts from poor values: a nominal focal length, no distortion, disturbed orientations."
echo "It has no ground control; the camera's geotags hold it in place, with an offset for each of 23 strips."
echo

echo "[1/3] Dependencies"
scripts/install-dependencies.sh

echo "[2/3] Build (the compiler's words go to $log)"
mkdir -p build
configure=()
# A build folder that has the tests keeps them.
if [[ ! -f build/release/CMakeCache.txt ]]; then
  configure+=(-DORVO_BUILD_TESTS=OFF)
  if command -v ccache >/dev/null; then configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
fi
{
  cmake --preset release "${configure[@]}" && cmake --build build/release --target app/all -j "$(nproc)"
} >"$log" 2>&1 || failed "The build failed."

echo "[3/3] Adjustment"
rm -rf "$out"
run=("$programs/orvo" adjust "$example/seneca_start.prj" --settings "$example/AdjPara_gps.xml"
     --gcp "$example/seneca_gcp.txt" --pos "$example/seneca_pos.txt" --out "$out")
printf '      %s\n' "${run[*]}"
begin=$(date +%s%N)
"${run[@]}" >"$log" 2>&1 || failed "The adjustment failed."
end=$(date +%s%N)

report=$out/OrvoAdjustReport.txt
# The last section's file of an iteration holds the figures of all of them.
first=$(find "$out" -name 'Residuals_0_*.res' | sort -V | tail -n 1)
[[ -n $first && -f $report ]] || failed "The adjustment left no result."

# The first line "RMSE:x y" of a file, in pixels.
rmse() { sed -n 's/^RMSE:[[:space:]]*//p' "$1" | head -n 1; }
read -r before_x before_y < <(rmse "$first") || true
read -r after_x after_y < <(rmse "$report") || true
run_time=$(sed -n 's/^Total run time:\(.*\)s$/\1/p' "$report")
[[ -n ${before_y:-} && -n ${after_y:-} && -n $run_time ]] || failed "The results are incomplete."
iterations=$(grep -c '^>>-\{0,1\}[0-9.]*[[:space:]]' "$out/log.txt" || true)

echo
printf 'Reprojection error (RMSE, pixels)       x         y\n'
printf '  before                         %8.3f  %8.3f\n' "$before_x" "$before_y"
printf '  after                          %8.3f  %8.3f\n' "$after_x" "$after_y"
awk -v n="$iterations" -v adjust="$run_time" -v begin="$begin" -v end="$end" 'BEGIN {
  printf "Time: %.2f s from start to end, %.2f s of it for %d iterations\n", (end - begin) / 1e9, adjust, n }'

echo
cat "$out/verdict.txt"

cat <<END

Open these (docs/formats.md explains each):
  $out/verdict.txt             what the result is worth, and why
  $report    accuracy of the block
  $out/OrvoResult.ovc          adjusted cameras and orientations
  ${first/Residuals_0/Residuals_*}      residual of every measurement, by iteration
  $out/log.txt                 what the run said
END
