#!/usr/bin/env bash
# All that is to be done on a machine with a CUDA device, into one folder: tests, compute-sanitizer, runs of every layout,
# literal against fast and host against CUDA, times, profiles. See bench/README.md.
#   bench/device.sh [--out DIR] [--minutes N] [--steps STEP,STEP...] [--programs DIR] [--dry]
#     --out DIR        results (build/device-results); summary.md has a line for each step
#     --minutes N      for all of it (30); each step has its share at most, and a step for which nothing is left is skipped
#     --steps LIST     facts build tests memcheck racecheck initcheck runs literal host times profile; all of them otherwise
#     --programs DIR   programs that are there already; nothing is built
#     --dry            only says what would be done
# Exit status: 0 all passed or skipped, 1 something failed, 2 called wrongly, 77 no device.
set -uo pipefail
export LC_ALL=C
here=$PWD
cd "$(dirname "$0")/.."
# A run takes one device.
export CUDA_VISIBLE_DEVICES=${CUDA_VISIBLE_DEVICES:-0}

all_steps=(facts build tests memcheck racecheck initcheck runs literal host times profile)
out=build/device-results
minutes=30
steps=("${all_steps[@]}")
programs=
dry=false
own=

wrong() {
  echo "device.sh: $1 (see bench/device.sh --help)" >&2
  exit 2
}
while [[ $# -gt 0 ]]; do
  case "$1" in
    --out | --minutes | --steps | --programs)
      [[ -n ${2:-} ]] || wrong "$1 takes a value"
      case "$1" in
        --out) out=$(cd "$here" && realpath -m -- "$2") ;;
        --minutes) minutes=$2 ;;
        --steps) IFS=, read -ra steps <<<"$2" ;;
        --programs)
          programs=$(cd "$here" && realpath -m -- "$2")
          [[ -d $programs ]] || wrong "$2 is no folder with programs" ;;
      esac
      shift ;;
    --dry) dry=true ;;
    --own-step) own=$2; shift ;;
    -h | --help) sed -n '2,11s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) wrong "unknown option $1" ;;
  esac
  shift
done
[[ $minutes =~ ^[1-9][0-9]{0,3}$ ]] || wrong "--minutes takes a number of minutes"
for step in "${steps[@]}"; do
  [[ " ${all_steps[*]} " == *" $step "* ]] || wrong "there is no step $step"
done

build=build/device
bin=${programs:-$build/bin}
skip=77

# limit_of STEP: seconds of thirty minutes that it may take at most.
limit_of() {
  case "$1" in
    facts) echo 30 ;;
    build) echo 600 ;;
    literal | host) echo 30 ;;
    runs | times) echo 300 ;;
    *) echo 180 ;;
  esac
}

# go COMMAND...: runs it, or says it. All commands of the steps go through here.
go() {
  if $dry; then
    printf '  %s\n' "$*"
  else
    "$@"
  fi
}
# need PROGRAM: leaves the step out where it is missing.
need() {
  $dry && return
  command -v "$1" >/dev/null || { echo "skipped: there is no $1"; exit $skip; }
}

step_facts() {
  local command
  for command in nvidia-smi "nvidia-smi -q" "nvcc --version" lscpu "free -g" "uname -a" "git log -1 --oneline"; do
    $dry || printf '\n$ %s\n' "$command"
    go $command || echo "it is not at hand"
  done
}

step_build() {
  [[ -z $programs ]] || { echo "skipped: --programs names what is built"; exit $skip; }
  need cmake
  go cmake --preset cuda -B "$build" -DCMAKE_CUDA_ARCHITECTURES=native -DORVO_BUILD_TESTS=ON -DORVO_BUILD_BENCH=ON &&
    go cmake --build "$build" -j "$(nproc)" \
      --target orvo_program orvo_test_gpu orvo_test_gpu_driver orvo_bench_device
}

# Those that need a device leave themselves out without one, which is no success where there is one.
step_tests() {
  local status=0
  if [[ -n $programs ]]; then
    go "$bin/orvo_test_gpu" || status=1
    go "$bin/orvo_test_gpu_driver" || status=1
  else
    go ctest --test-dir "$build" -R '^gpu' --no-tests=error -j 4 --output-on-failure || status=1
  fi
  if ! $dry && grep -qi skipped "$out/tests.log"; then
    echo "Tests were skipped although there is a device."
    status=1
  fi
  return $status
}

# sanitize TOOL: on the small tests; what shuffles millions of points takes it hours.
sanitize() {
  need compute-sanitizer
  go compute-sanitizer --tool "$1" --error-exitcode 9 --print-limit 20 "$bin/orvo_test_gpu" \
    '--gtest_filter=*OnCuda.*:CudaDevice.*:*/CudaFast*-*ManyTiles*:*AnyNumberOfRays*'
}
step_memcheck() { sanitize memcheck; }
step_racecheck() { sanitize racecheck; }
step_initcheck() { sanitize initcheck; }

# The real block, and one made up for each layout.
blocks=(seneca images cameras both merged)
make_block() {
  local options=(--strips 6 --images-per-strip 20 --measurements 300 --forward-overlap 80 --side-overlap 60 --control 12)
  case "$1" in
    cameras) options+=(--start-position 0 --start-angle 0 --cameras 2) ;;
    merged) options+=(--cameras 0 --start-angle 0.05) ;;
  esac
  go "$bin/orvo" generate "$out/blocks/$1" "${options[@]}"
}
# adjust BLOCK DEVICE KERNELS: with its time. An unusable result is one that can be compared, but no success.
adjust() {
  local folder=$out/blocks/$1 begin status=0 options=()
  local files=("$folder/block.prj" --gcp "$folder/block_gcp.txt")
  case "$1" in
    seneca) files=(examples/seneca/seneca_start.prj --gcp examples/seneca/seneca_control.txt
      --pos examples/seneca/seneca_pos.txt --settings examples/seneca/AdjPara_control.xml) ;;
    images) options=(--set Set_IOP_Unknown=false) ;;
    cameras) options=(--set Set_EOP_Unknown=false) ;;
    merged) options=(--set Damping_Coefficient=1e-4) ;;
  esac
  # What an earlier run left is no result of this one.
  $dry || rm -rf "$out/runs/$1-$2-$3"
  begin=${EPOCHREALTIME/./}
  go timeout 120 "$bin/orvo" adjust "${files[@]}" "${options[@]}" --device "$2" --kernels "$3" --quiet \
    --out "$out/runs/$1-$2-$3" || status=$?
  $dry || printf '| %s | %s | %s | %d | %d |\n' "$1" "$2" "$3" $(((${EPOCHREALTIME/./} - begin) / 1000)) "$status" \
    >>"$out/runs.md"
  return $status
}
step_runs() {
  local block device kernels status=0
  $dry || printf '| block | device | kernels | ms | exit status |\n|---|---|---|---|---|\n' >"$out/runs.md"
  for block in "${blocks[@]}"; do
    [[ $block == seneca ]] || make_block "$block" || status=1
    for device in cuda host; do
      for kernels in fast literal; do adjust "$block" "$device" "$kernels" || status=1; done
    done
  done
  $dry || cat "$out/runs.md"
  return $status
}

# differences TABLE A B...: pairs of the runs of each block, as near as single precision lets them come.
differences() {
  local table=$out/$1.md block status=0
  shift
  $dry || bench/compare-runs.pl --head >"$table"
  for block in "${blocks[@]}"; do
    local pairs=("$@")
    while [[ ${#pairs[@]} -gt 0 ]]; do
      local name="$block: ${pairs[0]}, ${pairs[1]}"
      if $dry; then
        go bench/compare-runs.pl "$name" "$out/runs/$block-${pairs[0]}" "$out/runs/$block-${pairs[1]}"
      else
        bench/compare-runs.pl "$name" "$out/runs/$block-${pairs[0]}" "$out/runs/$block-${pairs[1]}" >>"$table" || status=1
      fi
      pairs=("${pairs[@]:2}")
    done
  done
  $dry || cat "$table"
  return $status
}
step_literal() { need perl; differences literal cuda-literal cuda-fast; }
step_host() { need perl; differences host cuda-fast host-fast cuda-literal host-literal; }

# Times, bytes and percent of the copies. What fails or takes too long loses the others nothing.
step_times() {
  local status=0 size form
  for size in 1000000:fast 6000000:fast 10000000:fast 1000000:literal 6000000:literal 100000000:fast; do
    form=${size#*:}
    size=${size%:*}
    go timeout 150 "$bin/orvo_bench_device" --device cuda --measurements "$size" --forms "$form" \
      --json "$out/times-$form-$size.json" || status=1
  done
  return $status
}

# ncu wants counters that many machines keep for their administrators; then nsys tells the times.
step_profile() {
  local bench=("$bin/orvo_bench_device" --device cuda --measurements 6000000 --repeats 1) tried=false
  if $dry || command -v ncu >/dev/null; then
    tried=true
    go ncu --csv --set basic --launch-count 60 --log-file "$out/kernels-ncu.csv" "${bench[@]}" && ! $dry && return
  fi
  if $dry || command -v nsys >/dev/null; then
    go nsys profile --force-overwrite true --stats true --output "$out/kernels-nsys" "${bench[@]}"
    return
  fi
  ! $tried || return 1
  echo "skipped: there is neither ncu nor nsys"
  exit $skip
}

if [[ -n $own ]]; then
  "step_$own"
  exit
fi
if $dry; then
  for step in "${steps[@]}"; do
    printf '%s (%d s)\n' "$step" $(($(limit_of "$step") * minutes / 30))
    (step_"$step")
  done
  exit 0
fi

has_device() {
  if [[ -n $programs ]]; then
    local said
    said=$("$bin/orvo_test_gpu" '--gtest_filter=OnCuda.DevicesSayWhatTheyAre' 2>&1)
    [[ $said == *"[ RUN "* && $said != *"[  SKIPPED ]"* ]]
  else
    nvidia-smi -L 2>/dev/null | grep -q '^GPU '
  fi
}
if ! has_device; then
  echo "There is no CUDA device here$([[ -n $programs ]] || echo ", or no nvidia-smi that knows of it"): nothing was done." >&2
  exit 77
fi

mkdir -p "$out" || exit 1
out=$(realpath "$out")
rows=
failed=0
begin=$SECONDS
# write_summary: anew after each step, so that what is done is told whatever becomes of the rest.
write_summary() {
  {
    printf '# Orvo on a CUDA device\n\n%s, commit %s\n\n' "$(date '+%Y-%m-%d %H:%M')" \
      "$(git describe --always --dirty=+ 2>/dev/null || echo unknown)"
    printf '| step | result | s | |\n|---|---|---|---|\n%s\n' "$rows"
    printf -- '- Device: %s\n' "$(nvidia-smi --query-gpu=name,memory.total,driver_version --format=csv,noheader 2>/dev/null |
      paste -sd ';' || true)"
    printf -- '- Processor: %s, %s of them\n' "$(sed -nE 's/^model name\s*: //p' /proc/cpuinfo | head -n 1)" "$(nproc)"
    local name
    for name in runs literal host; do
      [[ $rows != *"| $name |"* || ! -f $out/$name.md ]] || { printf '\n## %s\n\n' "$name"; cat "$out/$name.md"; }
    done
    [[ $rows != *"| times |"* ]] || { printf '\n## times\n\n'; grep -E '^(\||.*copies at)' "$out/times.log"; }
  } >"$out/summary.md"
}
# perform STEP: this script again, for so long; its words go to STEP.log.
perform() {
  local step=$1 limit=$(($(limit_of "$1") * minutes / 30)) left=$((minutes * 60 - (SECONDS - begin)))
  local start=$SECONDS status=0 result remark=
  ((limit <= left)) || limit=$left
  if ((limit < 1)); then
    rows+="| $step | skipped | 0 | no time left |"$'\n'
    return
  fi
  echo "$step, at most $limit s ..."
  timeout --kill-after=5 "$limit" bench/device.sh --own-step "$step" --out "$out" ${programs:+--programs "$programs"} \
    >"$out/$step.log" 2>&1 || status=$?
  case $status in
    0) result=passed ;;
    "$skip") result=skipped; remark=$(sed -n 's/^skipped: //p' "$out/$step.log" | tail -n 1) ;;
    124 | 137) result=failed; remark="not done after $limit s" ;;
    *) result=failed; remark="exit status $status: see $step.log" ;;
  esac
  [[ $result != failed ]] || failed=$((failed + 1))
  rows+="| $step | $result | $((SECONDS - start)) | $remark |"$'\n'
  echo "$step: $result${remark:+ ($remark)}"
}

for step in "${steps[@]}"; do
  perform "$step"
  write_summary
done
echo "$out/summary.md"
[[ $failed -eq 0 ]]
