#!/bin/sh
# bench.sh - builds the benchmarks and the side-by-side comparison with
# librsvg, the GLU tessellator and CGAL in Release mode, runs them and writes
# the figures, their goals and the ratios to bench/results.md.
#
# Environment: JOBS (build jobs, default 2), ROUNDS (comparison rounds,
# default 5), REPS (Google Benchmark repetitions, default 3), KXSVG_CORPUS
# (the SVG corpus, default ../shared/corpus beside the sources).
set -eu

ROOT=$(cd "$(dirname "$0")" && pwd)
BUILD="$ROOT/build-bench"
RESULTS="$ROOT/bench/results.md"
JOBS=${JOBS:-2}
ROUNDS=${ROUNDS:-5}
REPS=${REPS:-3}

# Benchmark-only packages: the library itself never uses them.
PACKAGES="librsvg2-dev libglu1-mesa-dev libcgal-dev libbenchmark-dev libxml2-dev pkg-config cmake"
missing=""
for package in $PACKAGES; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed" || missing="$missing $package"
done
if [ -n "$missing" ]; then
    if [ "$(id -u)" = 0 ]; then
        apt-get update
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
    else
        echo "bench.sh: missing packages:$missing" >&2
        echo "install them with: sudo apt-get install$missing" >&2
        exit 1
    fi
fi

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DKXSVG_BUILD_BENCH=ON -DKXSVG_BUILD_COMPARE=ON
targets="kxsvg_compare"
for source in "$ROOT"/bench/bench_*.cpp; do
    targets="$targets $(basename "$source" .cpp)"
done
# shellcheck disable=SC2086
cmake --build "$BUILD" -j"$JOBS" --target $targets

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

load=$(cut -d' ' -f1-3 /proc/loadavg)
echo "== comparison ($ROUNDS rounds) =="
"$BUILD/bench/compare/kxsvg_compare" --rounds "$ROUNDS" --markdown "$work/compare.md"

for source in "$ROOT"/bench/bench_*.cpp; do
    name=$(basename "$source" .cpp)
    echo "== $name =="
    "$BUILD/bench/$name" --benchmark_repetitions="$REPS" --benchmark_report_aggregates_only=true \
        --benchmark_counters_tabular=false 2>/dev/null | tee "$work/$name.txt"
done

cpu=$(grep -m1 'model name' /proc/cpuinfo | sed 's/.*: //')
commit=$(git -C "$ROOT" rev-parse --short HEAD 2>/dev/null || echo unknown)
{
    echo "# Benchmark results"
    echo
    echo "Written by ./bench.sh on $(date -u '+%Y-%m-%d %H:%M UTC'), commit $commit."
    echo
    echo "- Machine: $(nproc) cores, $cpu, $(uname -sr)"
    echo "- Release build, GCC $(gcc -dumpfullversion 2>/dev/null || echo '?'); librsvg $(pkg-config --modversion librsvg-2.0), GLU $(pkg-config --modversion glu), CGAL $(dpkg-query -W -f='${Version}' libcgal-dev), libxml2 $(pkg-config --modversion libxml-2.0)"
    echo "- Figures are CPU times (medians of $ROUNDS rounds, the tools alternating within each round) on a shared"
    echo "  machine where other jobs were running: they are noisy, the ratios less so."
    echo "- Load and save run on the three large drawings of the corpus; path numbers on every \`d\` attribute of them;"
    echo "  icon outlines are the filled shapes of the mdi icon set, segmented and cleaned as the library does it."
    echo "- Peak memory is the peak resident set of a fresh process that loads one file, less that of a process"
    echo "  that only reads it. The fresh-load rows time whole processes (one small program per library, started"
    echo "  alternately): wall time, with the CPU time in the note."
    echo "- Load average when the comparison started: $load"
    echo
    echo "How the figures are made and what the profiles show: bench/NOTES.md."
    echo
    echo "## Goals and comparisons"
    echo
    cat "$work/compare.md"
    echo
    echo "## Google Benchmark programs (medians of $REPS repetitions)"
    for source in "$ROOT"/bench/bench_*.cpp; do
        name=$(basename "$source" .cpp)
        echo
        echo "### $name"
        echo
        echo '```'
        grep -E '^(Benchmark|[A-Za-z_<>/0-9:.,]+_median)' "$work/$name.txt" || true
        echo '```'
    done
} > "$RESULTS"
echo "wrote $RESULTS"
