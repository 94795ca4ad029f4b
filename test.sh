#!/usr/bin/env bash
# Builds libkxSvg, its tests, tool, benchmarks and Python module in build/ and runs the test suite.
# Installs missing Debian packages when run as root; otherwise prints the command.
set -euo pipefail

cd "$(dirname "$0")"
source scripts/setup.sh
ensure_packages "${KXSVG_BUILD_PACKAGES[@]}" "${KXSVG_PYTHON_PACKAGES[@]}"
ensure_comma_locale

cmake -S . -B build -DKXSVG_BUILD_TESTS=ON -DKXSVG_BUILD_BENCH=ON -DKXSVG_BUILD_PYTHON=ON
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)
# The suite once more under ASan+UBSan, and the thread test under TSan.
./tests/sanitizers.sh
