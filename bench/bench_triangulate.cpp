// bench_triangulate.cpp - throughput of kx::TriangulatePoly on generated
// polygons from 100 to 1,000,000 vertices. The "vertices/s" counter should
// stay roughly flat as the size grows (near-linear total time).
#include "Outline.h"

#include <kx/svg/Triangulate.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using Point = Wm4::Vector2<float>;

using Input = kxcorpus::Outline;

std::vector<Point> circle(std::size_t n, double radius, std::mt19937* rng, double minRadius) {
    std::vector<Point> pts;
    pts.reserve(n);
    std::uniform_real_distribution<double> ur(minRadius, radius);
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * M_PI * double(i) / double(n);
        const double r = rng ? ur(*rng) : radius;
        pts.emplace_back(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)));
    }
    return pts;
}

Input convex(std::size_t n) {
    Input in;
    in.addChain(circle(n, 1000.0, nullptr, 0.0), false);
    return in;
}

Input star(std::size_t n) {
    std::mt19937 rng(42);
    Input in;
    in.addChain(circle(n, 1000.0, &rng, 100.0), false);
    return in;
}

Input spiral(std::size_t n) {
    // A thick spiral band: n / 2 points out along the inner edge, back along the outer.
    const std::size_t half = n / 2;
    const double turns = std::max(1.0, std::sqrt(double(half)) / 8.0);
    std::vector<Point> pts;
    pts.reserve(2 * half);
    for (std::size_t i = 0; i < half; ++i) {
        const double a = 2 * M_PI * turns * double(i) / double(half);
        const double r = 10.0 + 4.0 * a;
        pts.emplace_back(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)));
    }
    for (std::size_t i = half; i-- > 0;) {
        const double a = 2 * M_PI * turns * double(i) / double(half);
        const double r = 10.0 + 4.0 * a + 2.0;
        pts.emplace_back(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)));
    }
    Input in;
    in.addChain(pts, false);
    return in;
}

// A disc outline with `holes` square holes on a grid, the rest of the vertex
// budget on the outline.
Input disc(std::size_t n, std::size_t holes) {
    const std::size_t side = static_cast<std::size_t>(std::ceil(std::sqrt(double(holes))));
    const std::size_t outline = n > 4 * holes + 16 ? n - 4 * holes : 16;
    Input in;
    in.addChain(circle(outline, 1000.0 * double(side), nullptr, 0.0), false);
    std::size_t made = 0;
    const double start = -700.0 * double(side);
    for (std::size_t i = 0; i < side && made < holes; ++i)
        for (std::size_t j = 0; j < side && made < holes; ++j, ++made) {
            const float x = static_cast<float>(start + 1400.0 * double(i)), y = static_cast<float>(start + 1400.0 * double(j));
            in.addChain({Point(x, y), Point(x + 600, y), Point(x + 600, y + 600), Point(x, y + 600)}, made % 2 == 0);
        }
    return in;
}

template <Input (*Make)(std::size_t)>
void run(benchmark::State& state) {
    const Input in = Make(static_cast<std::size_t>(state.range(0)));
    std::vector<Point> outPoints;
    std::vector<unsigned int> outIndices;
    for (auto _ : state) {
        const bool ok = kx::TriangulatePoly(in.points, in.edges, outPoints, outIndices,
                                            kx::TriangulationFillRule::EvenOdd, true);
        if (!ok) state.SkipWithError("triangulation failed");
        benchmark::DoNotOptimize(outIndices.data());
    }
    state.counters["vertices/s"] =
        benchmark::Counter(double(in.points.size()), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["triangles"] = double(outIndices.size() / 3);
}

Input disc100(std::size_t n) { return disc(n, 100); }
Input disc10k(std::size_t n) { return disc(n, 10000); }

} // namespace

BENCHMARK(run<convex>)->Name("Convex")->RangeMultiplier(10)->Range(100, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(run<star>)->Name("Star")->RangeMultiplier(10)->Range(100, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(run<spiral>)->Name("Spiral")->RangeMultiplier(10)->Range(100, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(run<disc100>)->Name("Disc100Holes")->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(run<disc10k>)->Name("Disc10000Holes")->RangeMultiplier(10)->Range(100000, 1000000)->Unit(benchmark::kMillisecond);
