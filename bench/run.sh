#!/usr/bin/env bash
# Measures whole runs, kernels and the peer, and writes bench/results/LABEL-*.json with the tables in LABEL.md.
#   bench/run.sh                     blocks of 100 and 1,000 images and the real one (some minutes)
#   bench/run.sh --smoke             the 100 image block and the example, once each (a minute)
#   bench/run.sh --full              those of 10,000 images too (half an hour, 10 GB of memory)
#   bench/run.sh --against PROGRAM   another orvo program in turn with this one
#   bench/run.sh --label LABEL       instead of the commit
#   bench/run.sh --repeats N         runs of each, the best counts (5)
#   bench/run.sh --results FOLDER    instead of bench/results
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."

size=standard
repeats=5
against=()
results=bench/results
label=$(git rev-parse --short HEAD 2>/dev/null || echo unknown)
[[ -z $(git status --porcelain -uno 2>/dev/null) ]] || label+=-changed
while [[ $# -gt 0 ]]; do
  case "$1" in
    --smoke) size=smoke; repeats=1 ;;
    --full) size=full ;;
    --against) against=(--against "${2:?--against takes a program}"); shift ;;
    --label) label=${2:?--label takes a name}; shift ;;
    --repeats) repeats=${2:?--repeats takes a number}; shift ;;
    --results) results=${2:?--results takes a folder}; shift ;;
    -h|--help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) echo "unknown option $1 (see $0 --help)" >&2; exit 2 ;;
  esac
  shift
done

scripts/install-dependencies.sh --bench
configure=(-DORVO_BUILD_BENCH=ON)
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake --preset release "${configure[@]}" >/dev/null
cmake --build --preset release -j "$(nproc)" --target orvo_program orvo_bench orvo_bench_kernels orvo_peer
bin=build/release/bin
mkdir -p "$results"

# The peer takes as long as the size of the block says, so it runs on fewer cases.
case $size in
  smoke)
    cases=('seneca/small' '100/eopiop' '100/dense')
    peer_cases=('100/eopiop')
    kernels=(--benchmark_filter='/100(/|$)|Residuals|Format|Reals|Lines$|n:605' --benchmark_min_time=0.01) ;;
  *)
    cases=('seneca/*' '100/*' '1000/*')
    peer_cases=('seneca/small' '100/eopiop' '100/dense' '100/eop' '100/iop' '100/merged' '100/outliers'
                '1000/eopiop' '1000/eop' '1000/iop' '1000/merged' '1000/outliers')
    kernels=(--benchmark_min_time=0.2) ;;
esac

"$bin/orvo_bench" run "${cases[@]}" --label "$label" "${against[@]}" --repeats "$repeats" --phases \
  --json "$results/$label-runs.json" | tee "$results/$label-runs.txt"
"$bin/orvo_bench_kernels" "${kernels[@]}" --benchmark_out="$results/$label-kernels.json" --benchmark_out_format=json
"$bin/orvo_bench" run "${peer_cases[@]}" --label "$label" --repeats "$((repeats < 2 ? repeats : 2))" \
  --peer "$bin/orvo_peer" --json "$results/$label-peer.json" | tee "$results/$label-peer.txt"
if [[ $size == full ]]; then
  "$bin/orvo_bench" run '10000/*' --label "$label" "${against[@]}" --repeats 2 --phases \
    --json "$results/$label-runs-10000.json" | tee "$results/$label-runs-10000.txt"
  # Once, and in the forms that suit the size: a minute and 5 GB each.
  "$bin/orvo_bench" run 10000/eopiop --label "$label" --repeats 1 --peer "$bin/orvo_peer" \
    --json "$results/$label-peer-10000.json" | tee "$results/$label-peer-10000.txt"
fi
bench/tables.pl "$results/$label"-*.json >"$results/$label.md"
echo "Tables: $results/$label.md"
