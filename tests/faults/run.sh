#!/usr/bin/env bash
# Lets calls of the system fail under the release programs, kills runs, and gives them little memory.
#   tests/faults/run.sh          some calls of every kind, 30 kills, crafted inputs of 2 MB
#   tests/faults/run.sh --long   every call of every run, 200 kills, crafted inputs of 20 MB: hours
# The last line says "N passed, N failed"; the exit status is 0 when nothing failed.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/../.."
most=2
kills=30
crafted=2
case "${1:-}" in
  "") ;;
  --long)
    most=0
    kills=200
    crafted=20 ;;
  *) sed -n '2,4s/^# \{0,1\}//p' "$0"; exit 2 ;;
esac

if [[ ! -x build/release/bin/orvo_fault_suite ]]; then
  echo "Build the release tests first: see docs/building.md" >&2
  exit 2
fi
passed=0
failed=0
try() {
  printf -- '-- %s\n' "$1"
  if "${@:2}"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}
try "Calls that fail" build/release/bin/orvo_fault_suite --most "$most"
try "Kills" build/release/bin/orvo_kill_suite "$kills"
try "Little memory" build/release/bin/orvo_memory_suite 0 8
try "Crafted inputs" build/release/bin/orvo_memory_suite "$crafted" 5000
printf '%d passed, %d failed\n' "$passed" "$failed"
[[ $failed -eq 0 ]]
