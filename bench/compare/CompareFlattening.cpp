// CompareFlattening.cpp - cubic flattening as the segmenter runs it, and the
// heap allocations it makes once its buffers have grown.
#include "Compare.h"

#include "segment/SegmentationCommon.h"

#include <memory>
#include <random>

namespace kxcompare {

using namespace kx::svg;

void CompareFlattening()
{
    std::printf("\n== flattening ==\n");
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> coordinate(-100.0f, 100.0f);
    std::vector<std::unique_ptr<Wm4::BezierCurve2<float>>> curves;
    for (int i = 0; i < 20000; ++i) {
        Vec2* control = new Vec2[4];
        for (int k = 0; k < 4; ++k) control[k] = Vec2(coordinate(random), coordinate(random));
        curves.emplace_back(new Wm4::BezierCurve2<float>(3, control));
    }
    SegmentationUtils::BezierSegmentationWorkspace workspace;
    SegmentedPrimitive out;
    // As the segmenter flattens path cubics: at most 32 leaves, split while
    // chord / polygon < 0.999.
    std::vector<double> times;
    unsigned long long allocations = 0;
    std::size_t points = 0;
    for (int r = 0; r < gRounds + 1; ++r) {
        out.points.clear();
        out.lineIndices.clear();
        const unsigned long long before = gAllocations.load();
        const double t = CpuSeconds();
        for (const auto& curve : curves)
            SegmentationUtils::DeCasteljauSegmentBezier(workspace, *curve, out, true, 32, -0.999f);
        const double elapsed = CpuSeconds() - t;
        const unsigned long long after = gAllocations.load();
        if (r == 0) continue; // the first pass grows the workspace and the outline
        times.push_back(elapsed);
        allocations += after - before;
        points = out.points.size();
    }
    const double rate = double(points) / Median(times) / 1e6;
    AddRow("flattening", "random cubics, 32 leaves at most (M points/s)", Fixed(rate, 1), ">= 20", Verdict(rate >= 20),
           std::to_string(points / curves.size()) + " points per curve");
    AddRow("flattening", "heap allocations after the first pass", std::to_string(allocations), "0",
           Verdict(allocations == 0),
           "over " + std::to_string(curves.size() * times.size()) + " curves");
}

} // namespace kxcompare
