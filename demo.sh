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
  echo "$1" >&2
  exit 1
}

echo "Orvo demo: 165 aerial images of farm fields in Ohio, 6,787 tie points, 45,867 measurements."
echo "The block starts from poor values: a nominal focal length, no distortion, disturbed orientations."
echo "8 control points and the camera's geotags hold it in place, 32 check points test it. These points were not"
echo "surveyed: they come from an adjustment of all measurements of the block, of which the example has 8 %."
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
} >"$log" 2>&1 || { tail -n 20 "$log" >&2; failed "The build failed. The end of $log stands above."; }

echo "[3/3] Adjustment"
rm -rf "$out"
run=("$programs/orvo" adjust "$example/seneca_start.prj" --gcp "$example/seneca_control.txt"
     --pos "$example/seneca_pos.txt" --settings "$example/AdjPara_control.xml" --survey-sigma 0.011,0.02
     --points --residuals-csv --out "$out")
printf '      %s\n\n' "${run[*]}"
# The table and the summary are the run's own; they say how far off the block was at its start and at its end.
"${run[@]}" || failed "The adjustment failed."

results=("$out/report.html|everything in pictures and tables: open it in a browser"
         "$out/verdict.txt|what the result is worth, and why"
         "$out/OrvoAdjustReport.txt|accuracy: reprojection error, every control and check point"
         "$out/OrvoResult.ovc|adjusted cameras and orientations"
         "$out/points.ply|tie points in 3D, to look at; as a table in points.csv"
         "$out/residuals.csv|residual of every measurement, by image and point"
         "$out/summary.json|all figures, for programs"
         "$out/log.txt|what the run said")
for result in "${results[@]}"; do
  [[ -s ${result%%|*} ]] || failed "The adjustment left no ${result%%|*}."
done

# The pictures that README.md shows; they stay as they are unless the report draws something else.
if command -v perl >/dev/null; then
  scripts/picture-of-report.pl "$out/report.html" "The block in plan" docs/pictures/seneca-plan.svg
  scripts/picture-of-report.pl "$out/report.html" "Differences at control and check points" \
    docs/pictures/seneca-differences.svg
fi

echo
echo "Open these, the first one first (docs/report.md and docs/formats.md explain them):"
for result in "${results[@]}"; do printf '  %-35s %s\n' "${result%%|*}" "${result#*|}"; done
