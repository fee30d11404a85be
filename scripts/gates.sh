#!/usr/bin/env bash
# The gates that every change passes: formatting, layers, lengths, clang-tidy. Each is passed or failed as a whole, and
# says with their places what it found.
#   scripts/gates.sh [GATE...]     all of them where none is named
# The last line says "N passed, N failed, N skipped"; the exit status is 0 when nothing failed.
set -uo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."

# Other versions format otherwise, and check for more.
llvm=14
passed=0
failed=0
skipped=0

# tool NAME: prints the program to be called, where there is one of our version.
tool() {
  local candidate
  for candidate in "$1-$llvm" "$1"; do
    if command -v "$candidate" >/dev/null && "$candidate" --version 2>/dev/null | grep -q "version $llvm\."; then
      echo "$candidate"
      return
    fi
  done
  return 1
}

leave_out() {
  echo "$1: left out: $2"
  skipped=$((skipped + 1))
}

count() {
  if [[ $1 -eq 0 ]]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
  fi
}

format_gate() {
  local program
  program=$(tool clang-format) || { leave_out format "there is no clang-format $llvm"; return; }
  local files=() status=0
  mapfile -d '' files < <(find src app tests bench -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.cu' -o -name '*.cuh' \) \
    -print0 | sort -z)
  [[ ${#files[@]} -gt 0 ]] && "$program" --dry-run --Werror "${files[@]}" || status=1
  echo "format: ${#files[@]} files$([[ $status -eq 0 ]] || echo ', not all as .clang-format has it')"
  count $status
}

perl_gate() {
  command -v perl >/dev/null || { leave_out "$1" "there is no perl"; return; }
  perl "scripts/check-$1.pl"
  count $?
}

tidy_gate() {
  local program
  program=$(tool clang-tidy) || { leave_out tidy "there is no clang-tidy $llvm"; return; }
  command -v clang++ >/dev/null || { leave_out tidy "there is no clang++"; return; }
  local said
  said=$(cmake -S . -B build/tidy -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++ -DORVO_CUDA=OFF \
    -DORVO_BUILD_TESTS=OFF 2>&1) || { echo "$said"; count 1; return; }
  perl scripts/check-tidy.pl -j "$(nproc)" --tidy "$program" build/tidy
  count $?
}

for gate in "${@:-format layers lengths tidy}"; do
  for name in $gate; do
    case "$name" in
      format) format_gate ;;
      layers|lengths) perl_gate "$name" ;;
      tidy) tidy_gate ;;
      *) echo "unknown gate $name (format, layers, lengths, tidy)" >&2; exit 2 ;;
    esac
  done
done
echo "$passed passed, $failed failed, $skipped skipped"
[[ $failed -eq 0 ]]
