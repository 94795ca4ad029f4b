#!/usr/bin/env bash
# Builds libkxSvg and its kxsvg tool in build/, then shows what the library
# does with a bundled drawing: a summary, a flattened mesh and a picture.
# Installs missing Debian packages when run as root; otherwise prints the command.
set -euo pipefail

cd "$(dirname "$0")"
source scripts/setup.sh
ensure_packages "${KXSVG_BUILD_PACKAGES[@]}"
ensure_comma_locale

cmake -S . -B build -DKXSVG_BUILD_TESTS=OFF
cmake --build build -j2 --target kxsvg kxsvg_example_build_tree

drawing=examples/data/badge.svg
out=build/run
mkdir -p "$out"

echo
echo "== A drawing built in memory, copied and saved"
./build/examples/kxsvg_example_build_tree

echo
echo "== kxsvg info $drawing"
./build/apps/kxsvg info "$drawing"

echo
echo "== kxsvg flatten and render"
./build/apps/kxsvg flatten "$drawing" -o "$out/badge.json"
./build/apps/kxsvg flatten "$drawing" -o "$out/badge.obj"
./build/apps/kxsvg render "$drawing" -o "$out/badge.png" --width 480 --background white
./build/apps/kxsvg render "$drawing" -o "$out/badge-wire.png" --width 480 --background white --wire
echo "Outputs written:"
echo "  $out/badge.json      segmented primitives (points, segments, triangles, colours)"
echo "  $out/badge.obj       the same as a Wavefront OBJ mesh"
echo "  $out/badge.png       the primitives drawn with cairo"
echo "  $out/badge-wire.png  the same with the fill triangles outlined"
