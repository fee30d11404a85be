#!/usr/bin/env bash
# Installs what is missing of the Debian packages (Debian 12 and newer) that Orvo is built with.
#   scripts/install-dependencies.sh           what the programs need
#   scripts/install-dependencies.sh --tests   and what test.sh needs
#   scripts/install-dependencies.sh --bench   and what the benchmarks need
# Nothing is run when everything is there, so this works without a network then.
set -euo pipefail

packages=(build-essential cmake ninja-build libpugixml-dev libeigen3-dev libfmt-dev libcli11-dev
  nlohmann-json3-dev libproj-dev)
case "${1:-}" in
  "") ;;
  --tests) packages+=(libgtest-dev libgmock-dev libbenchmark-dev clang clang-format clang-tidy
    libclang-rt-dev) ;;
  --bench) packages+=(libbenchmark-dev libceres-dev) ;;
  *) echo "usage: $0 [--tests | --bench]" >&2; exit 2 ;;
esac

if ! command -v dpkg-query >/dev/null; then
  echo "This is no Debian system. Install what docs/building.md lists with the means of your system." >&2
  exit 1
fi

installed() {
  [[ "$(dpkg-query -W -f='${db:Status-Abbrev}' "$1" 2>/dev/null)" == ii* ]]
}

missing=()
for package in "${packages[@]}"; do
  # Any installed run-time library of clang will do, whatever its version.
  if [[ $package == libclang-rt-dev ]] &&
      dpkg-query -W -f='${db:Status-Abbrev} ${Package}\n' 'libclang-rt-*dev' 2>/dev/null | grep -q '^ii'; then
    continue
  fi
  installed "$package" || missing+=("$package")
done
if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  if ! command -v sudo >/dev/null; then
    echo "These packages are missing: ${missing[*]}" >&2
    echo "Installing them takes root, and there is no sudo here. As root, run:" >&2
    echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

echo "Installing: ${missing[*]}"
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get)
"${apt[@]}" update -q
for index in "${!missing[@]}"; do
  # A release without the unversioned name has the one of its own clang.
  if [[ ${missing[index]} == libclang-rt-dev ]] && ! apt-cache show libclang-rt-dev >/dev/null 2>&1; then
    version=$(apt-cache show clang 2>/dev/null | sed -n 's/^Version: \(.*:\)\?\([0-9]*\)\..*/\2/p' | head -n 1)
    missing[index]="libclang-rt-${version}-dev"
  fi
done
"${apt[@]}" install -q -y --no-install-recommends "${missing[@]}"
