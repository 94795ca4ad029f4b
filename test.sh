#!/usr/bin/env bash
# Builds libkxSvg, its tests, tool, benchmarks and Python module in build/ and runs the test suite,
# then builds and runs the suite twice more under sanitizers (ASan+UBSan, and TSan for the thread
# test). With --quick only the normal build and suite run.
# Installs missing Debian packages when run as root; otherwise prints the command.
set -euo pipefail

quick=0
case "${1:-}" in
  --quick) quick=1 ;;
  "") ;;
  *) echo "usage: $0 [--quick]" >&2; exit 2 ;;
esac

cd "$(dirname "$0")"
source scripts/setup.sh
ensure_packages "${KXSVG_BUILD_PACKAGES[@]}" "${KXSVG_PYTHON_PACKAGES[@]}"
ensure_comma_locale

cmake -S . -B build -DKXSVG_BUILD_TESTS=ON -DKXSVG_BUILD_BENCH=ON -DKXSVG_BUILD_PYTHON=ON
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)
if [[ $quick -eq 1 ]]; then
  exit 0
fi
# The suite once more under ASan+UBSan, and the thread test under TSan.
./tests/sanitizers.sh
