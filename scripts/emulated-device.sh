#!/usr/bin/env bash
# The CUDA path without a device: the programs of a build run on an emulated one, which checks every access to memory.
#   scripts/emulated-device.sh [--seconds N] [BUILD [WORK]]
# BUILD (build/release) is a build by Ninja with CUDA and the tests; WORK (build/emulated-device) takes all files. The
# check has 240 seconds, or N. The emulator is cuda-on-cpu in PATH, or what ORVO_CUDA_ON_CPU names. The last line says
# "N passed, N failed". Exit status: 0 nothing failed, 1 something did, 2 called wrongly, 77 something is missing.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."

seconds=240
if [[ ${1:-} == --seconds ]]; then
  seconds=${2:-}
  [[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "--seconds takes a number of seconds" >&2; exit 2; }
  shift 2
fi
if [[ $# -gt 2 || ${1:-} == -* ]]; then
  sed -n '2,6s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi
build=${1:-build/release}
work=${2:-build/emulated-device}

leave_out() {
  echo "left out: $1"
  exit 77
}
# in_cache ENTRY: what the build was configured with.
in_cache() {
  sed -nE "s/^$1:[A-Z]*=(.*)$/\1/p" "$build/CMakeCache.txt"
}

tool=${ORVO_CUDA_ON_CPU:-$(command -v cuda-on-cpu || true)}
[[ -n $tool ]] || leave_out "there is no cuda-on-cpu in PATH, and ORVO_CUDA_ON_CPU names none"
[[ -f $tool && -x $tool ]] || leave_out "ORVO_CUDA_ON_CPU names $tool, which is no program"
tool=$(realpath "$tool")
command -v python3 >/dev/null || leave_out "there is no python3, which cuda-on-cpu is written in"
[[ -f $build/CMakeCache.txt ]] || leave_out "$build is no build: see docs/building.md"
[[ $(in_cache CMAKE_GENERATOR) == Ninja ]] || leave_out "$build was not made by Ninja"
case $(in_cache ORVO_CUDA):$(in_cache CMAKE_CUDA_COMPILER) in
  OFF:* | *: | *NOTFOUND) leave_out "$build is without CUDA: no nvcc was found, or ORVO_CUDA is OFF" ;;
esac
[[ $(in_cache ORVO_BUILD_TESTS) == ON ]] || leave_out "$build is without tests"

mkdir -p "$work/ninja"
work=$(realpath "$work")
cmake --build "$build" --target orvo_program orvo_test_gpu orvo_test_gpu_driver >"$work/ninja/log" 2>&1 ||
  { cat "$work/ninja/log"; exit 1; }
# The emulator asks by a dry run whether the build is up to date, and a dry run always finds work: lists of headers and
# the commit are looked after in every build. The build is of this moment, so its Ninja says so.
cat >"$work/ninja/ninja" <<END
#!/bin/sh
case " \$* " in *" -n "*) echo "ninja: no work to do."; exit ;; esac
exec "$(command -v ninja)" "\$@"
END
chmod +x "$work/ninja/ninja"

# What the check starts outlives it where it is ended; no run of its own takes as much as all of it.
ulimit -t "$seconds"
begin=$SECONDS
within_time() {
  local left=$((seconds - (SECONDS - begin))) status=0
  timeout --kill-after=10 "$((left > 0 ? left : 1))" "$@" || status=$?
  case $status in
    0 | 77) return "$status" ;;
    124 | 137) echo "FAILED: it was not done after $seconds seconds" ;;
  esac
  return 1
}
PATH="$work/ninja:$PATH" within_time "$tool" build . "$work" --build-dir "$build" || exit

# The same programs, but for orvo.
compared=$work/compared
mkdir -p "$compared/bin"
ln -sfn ../lib "$compared/lib"
ln -sf ../build.json "$compared/build.json"
ln -sf ../../bin/orvo_test_gpu ../../bin/orvo_test_gpu_driver "$compared/bin"
ln -sf "$PWD/scripts/emulated-orvo.sh" "$compared/bin/orvo"
within_time "$tool" check "$compared" --quick
