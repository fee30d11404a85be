#!/usr/bin/env bash
# Everything that is checked: gates on the sources, release tests, faults, the CUDA path on an emulated device, the
# sanitizer runs, bounded fuzzing.
#   ./test.sh                    all of it
#   ./test.sh --quick            the gates and the release tests only
#   ./test.sh --long             also Clang's optimised build, the truth of blocks of up to 10,000 images, and every whole
#                                run and the rigorous adjustment under the thread sanitizer
#   ./test.sh --fuzz-seconds N   seconds for each fuzz target (12)
# The last line says "N passed, N failed"; the exit status is 0 when nothing failed.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")"

# The tests with several threads, for the thread sanitizer, the whole runs among them that go other ways through the
# threads than the rest, and the programs that hold them.
thread_tests='*Thread*:*Pool*:*Parallel*:*Processors*'
thread_runs="$thread_tests:Sparse.*:Layouts/*:Modes.*:Pos.*:Seneca.*:Summary.*"
thread_programs=(orvo_test_{block,geometry,normal,results,solver,whole})
# Hundreds of iterations of what the others do in ten; runs whose threads do what those of others do.
long_tests='*ReturnsToTruth/Merged*:*SummaryForms*:*PlantedErrors*:*ReportFigures*:*ReadingFaults*:*/Truth.*:MonteCarlo.*'
# Long ones that reach no memory that others don't reach.
memory_leaves_out='*LiteralOfLayout.LongPoints*:SummarySchema.*:*PlantedErrors*:*ReportFigures*:*ReturnsToTruth/Merged*'
# Dense references of thousands of unknowns, and many seeds.
memory_leaves_out+=':*ADenseSolution*:*WholeSystem*:*AllSetsReduceAlike*:*/Truth.*:*/GrossErrors.*:MonteCarlo.*'
memory_leaves_out+=':*/WrongControl.*:ControlSearch.Keeps*:ControlSearch.Takes*:ControlSearch.SaysSo*'
# What these look at is what the browser makes.
browser_tests='*Rendering.*:*RunPages.*'
# The kernels and the whole runs, for Clang.
clang_tests='^(normal|solver|gpu|whole)\.'
clang_leaves_out='ReturnsToTruth/Merged|RunPages'
clang_programs=(orvo_test_{normal,solver,gpu,whole})
fuzz_seconds=12
quick=false
long=false
while [[ $# -gt 0 ]]; do
  case "$1" in
    --quick) quick=true ;;
    --long) long=true ;;
    --fuzz-seconds)
      fuzz_seconds=${2:-}
      [[ $fuzz_seconds =~ ^[1-9][0-9]*$ ]] || { echo "--fuzz-seconds takes a number of seconds" >&2; exit 2; }
      shift ;;
    -h|--help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) echo "unknown option $1 (see $0 --help)" >&2; exit 2 ;;
  esac
  shift
done

jobs=$(nproc)
passed=0
failed=0
skipped=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure=(-DORVO_BUILD_TESTS=ON -DORVO_WARNINGS_AS_ERRORS=ON)
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_CUDA_COMPILER_LAUNCHER=ccache)
  # Without these it keeps nothing that was compiled with a precompiled header, which is every test.
  export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
  # What was compiled in one copy of the tree serves in another; only debug information names the folder.
  export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
  export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
fi
# Beside the compiler's cache, so that a new copy of the tree need not check everything again.
export ORVO_TIDY_CACHE=${ORVO_TIDY_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/orvo-tidy}
# With many random address bits the kernel may put a program where the sanitizers want their shadow memory.
fixed_addresses=()
if setarch "$(uname -m)" -R true 2>/dev/null; then
  fixed_addresses=(setarch "$(uname -m)" -R)
fi

# stage HEADLINE COMMAND...: one stage with its time; a failed one that counted no test counts as one failure.
stage() {
  local headline=$1 begin=$SECONDS failed_before=$failed status=0
  shift
  printf '\n==== %s\n' "$headline"
  "$@" || status=$?
  if [[ $status -ne 0 && $failed -eq $failed_before ]]; then
    failed=$((failed + 1))
  fi
  if [[ $status -eq 0 ]]; then
    printf '==== %s: done in %d s\n' "$headline" $((SECONDS - begin))
  else
    printf '==== %s: FAILED after %d s\n' "$headline" $((SECONDS - begin))
  fi
}

# build PRESET [TARGET...]. Errors are passed on by hand, for bash ignores -e inside a command that is tested.
build() {
  local preset=$1
  shift
  cmake --preset "$preset" "${configure[@]}" >"$work/configure" 2>&1 || { cat "$work/configure"; return 1; }
  cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}
}

# Runs ctest and adds its closing figures to the sum.
count_tests() {
  local status=0 total=0 bad=0 left_out=0
  "$@" --no-tests=error 2>&1 | tee "$work/ctest" || status=$?
  local closing
  closing=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$work/ctest" | tail -n 1 || true)
  if [[ -n $closing ]]; then
    read -r bad total < <(sed -E 's/^.*passed, ([0-9]+) tests failed out of ([0-9]+).*$/\1 \2/' <<<"$closing")
    left_out=$(grep -c '\*\*\*Skipped' "$work/ctest" || true)
    passed=$((passed + total - bad - left_out))
    failed=$((failed + bad))
    skipped=$((skipped + left_out))
  fi
  return "$status"
}

# The same where a test of ctest is a share of a program's tests: counts these, from what the programs say.
count_programs() {
  local status=0 good=0 left_out=0 bad=0
  "$@" --no-tests=error 2>&1 | tee "$work/ctest" || status=$?
  local report
  report=$(sed -nE 's/^Test project //p' "$work/ctest" | head -n 1)/Testing/Temporary/LastTest.log
  read -r good left_out bad < <(perl -ne '
    $good += $1 if /^\[  PASSED  \] (\d+) tests?\.$/;
    $left += $1 if /^\[  SKIPPED \] (\d+) tests?/;
    $bad += $1 if /^ ?\[  FAILED  \] (\d+) tests?, listed below:/;
    END { printf "%d %d %d\n", $good, $left, $bad }' "$report")
  # A program that broke off has not said how many of its tests failed; one that knows no shares is one test.
  local broken
  broken=$(grep -cE '\*\*\*(Failed|Timeout|Exception|Not Run)' "$work/ctest" || true)
  [[ $bad -ge $broken ]] || bad=$broken
  good=$((good + $(grep -cE 'Test +#[0-9]+: fuzz\..* Passed ' "$work/ctest" || true)))
  printf '%d tests passed, %d failed, %d skipped\n' "$good" "$bad" "$left_out"
  passed=$((passed + good))
  failed=$((failed + bad))
  skipped=$((skipped + left_out))
  return "$status"
}

# Each gate counts as one.
gates() {
  local status=0 good=0 bad=0 left_out=0
  scripts/gates.sh 2>&1 | tee "$work/gates" || status=$?
  read -r good bad left_out < <(sed -nE 's/^([0-9]+) passed, ([0-9]+) failed, ([0-9]+) skipped$/\1 \2 \3/p' "$work/gates" |
    tail -n 1) || true
  passed=$((passed + ${good:-0}))
  failed=$((failed + ${bad:-0}))
  skipped=$((skipped + ${left_out:-0}))
  return "$status"
}

# The benchmarks are built here, and tried on a small block, so that they keep up with the program.
release_tests() {
  local common=("${configure[@]}")
  configure+=(-DORVO_BUILD_BENCH=ON)
  local built=0
  build release || built=$?
  configure=("${common[@]}")
  [[ $built -eq 0 ]] && count_tests ctest --preset release -j "$jobs"
}

# The suites of the release build; their closing lines count.
fault_tests() {
  local status=0 good=0 bad=0
  tests/faults/run.sh 2>&1 | tee "$work/faults" || status=$?
  read -r good bad < <(sed -nE 's/^([0-9]+) passed, ([0-9]+) failed$/\1 \2/p' "$work/faults" | tail -n 1) || true
  passed=$((passed + ${good:-0}))
  failed=$((failed + ${bad:-0}))
  return "$status"
}

# The CUDA path of the release build on an emulated device; the script says where it can't be had.
emulated_tests() {
  local status=0 good=0 bad=0
  scripts/emulated-device.sh build/release 2>&1 | tee "$work/emulated" || status=$?
  if [[ $status -eq 77 ]]; then
    skipped=$((skipped + 1))
    return
  fi
  read -r good bad < <(sed -nE 's/^([0-9]+) passed, ([0-9]+) failed$/\1 \2/p' "$work/emulated" | tail -n 1) || true
  passed=$((passed + ${good:-0}))
  failed=$((failed + ${bad:-0}))
  return "$status"
}

# Clang's sanitizers find all that GCC's do, and more; its build serves the fuzzers, too.
asan_tests() {
  local preset=asan
  if command -v clang++ >/dev/null; then preset=clang-asan; fi
  build "$preset" &&
    GTEST_FILTER="-$browser_tests:$memory_leaves_out" count_programs "${fixed_addresses[@]}" ctest --preset "$preset" -j "$jobs"
}

# Two minutes and 2 GB.
truth_tests() {
  ORVO_LONG_TESTS=1 count_tests ctest --preset release -R '^rigorous\.(Sizes/Truth|MonteCarlo)'
}

clang_stage() {
  if ! command -v clang++ >/dev/null; then
    echo "left out: there is no clang++"
    skipped=$((skipped + 1))
    return
  fi
  build clang "${clang_programs[@]}" &&
    count_tests ctest --preset clang -j "$jobs" -R "$clang_tests" -E "$clang_leaves_out"
}

tsan_tests() {
  local runs=$thread_runs rooms='block|geometry|normal|results|solver'
  if $long; then
    rooms+='|rigorous'
    runs="-$browser_tests:$long_tests"
    thread_programs+=(orvo_test_rigorous)
  fi
  build tsan "${thread_programs[@]}" &&
    GTEST_FILTER=$thread_tests count_programs "${fixed_addresses[@]}" \
      ctest --preset tsan -j "$jobs" -R "^($rooms)\\." &&
    GTEST_FILTER=$runs count_programs "${fixed_addresses[@]}" \
      ctest --preset tsan -j "$jobs" -R '^whole\.'
}

stage "Dependencies" scripts/install-dependencies.sh --tests
stage "Gates" gates
stage "Release tests" release_tests
if ! $quick; then
  stage "Faults" fault_tests
  stage "Emulated device" emulated_tests
  # Clang compiles everything for the sanitizers, too.
  if $long; then
    stage "Truth of large blocks" truth_tests
    stage "Clang: kernels and whole runs, optimised" clang_stage
  fi
  stage "Address and undefined behaviour sanitizers" asan_tests
  stage "Thread sanitizer" tsan_tests
  if [[ -x tests/fuzz/run.sh ]]; then
    stage "Fuzzing, $fuzz_seconds s for each target" "${fixed_addresses[@]}" tests/fuzz/run.sh "$fuzz_seconds"
  fi
fi

printf '\n'
if [[ $skipped -ne 0 ]]; then
  printf '%d skipped: they need data or conditions that are not at hand\n' "$skipped"
fi
printf '%d passed, %d failed\n' "$passed" "$failed"
[[ $failed -eq 0 ]]
