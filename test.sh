#!/usr/bin/env bash
# Builds libkxSvg, its tests and benchmarks in build/ and runs the test suite.
# Installs missing Debian packages when run as root; otherwise prints the command.
set -euo pipefail

cd "$(dirname "$0")"

packages=(cmake g++ make pkg-config libxml2-dev libutfcpp-dev libfast-float-dev libfmt-dev
          googletest libgtest-dev libbenchmark-dev)
# The command-line tool under apps/ needs these as well.
if [[ -f apps/CMakeLists.txt ]]; then
  packages+=(libcli11-dev nlohmann-json3-dev libcairo2-dev)
fi

ensure_packages() {
  if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "note: not a Debian system; make sure these are installed: ${packages[*]}" >&2
    return 0
  fi
  local missing=()
  local p
  for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  if [[ ${#missing[@]} -eq 0 ]]; then
    return 0
  fi
  if [[ $(id -u) -eq 0 ]]; then
    echo "Installing missing packages: ${missing[*]}"
    apt-get update
    DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
  else
    echo "Missing packages: ${missing[*]}" >&2
    echo "Install them with:" >&2
    echo "  sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
}

ensure_packages
cmake -S . -B build -DKXSVG_BUILD_TESTS=ON -DKXSVG_BUILD_BENCH=ON
cmake --build build -j2
cd build
ctest --output-on-failure -j2
