// PreflightFillRule.cpp - writing a non-zero fill as path data that fills even-odd.
#include "preflight/PreflightFillRule.h"

#include "preflight/PreflightPath.h"

#include <kx/svg/Items.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Triangulate.h>

#include <cmath>
#include <exception>

namespace kx {
namespace svg {
namespace preflight {

namespace {

constexpr std::size_t kMaxPoints = 100000;
// The flattening the segmenter applies to paths.
constexpr unsigned int kMaxJobs = 32;
constexpr float kTolerance = -0.999f;
// Areas closer than this share of the larger one count as the same fill
// (the two boundaries round their crossing points independently).
constexpr double kSameAreaShare = 1e-6;

// The area of a region given as outer rings (counter-clockwise, positive) and
// holes (clockwise, negative).
double regionArea(const std::vector<FillRing>& rings)
{
    double total = 0;
    for (const FillRing& ring : rings) {
        double twice = 0;
        for (std::size_t i = 0, n = ring.size(); i < n; ++i) {
            const auto& a = ring[i];
            const auto& b = ring[(i + 1) % n];
            twice += double(a.X()) * double(b.Y()) - double(b.X()) * double(a.Y());
        }
        total += twice / 2;
    }
    return std::fabs(total);
}

} // namespace

bool NonZeroFillAsEvenOdd(const std::string& d, std::string& boundary)
{
    boundary.clear();
    Path path;
    try {
        if (!ConvertPathStringToCommands(d, path.editCommands(), nullptr)) return false;
    } catch (const std::exception&) {
        return false;
    }
    // Without a fill the segmentation only flattens.
    RenderingProperties noFill;
    noFill.fill = "none";
    const auto outline = SegmentPath(path, kMaxJobs, kTolerance, nullptr, &noFill, nullptr, nullptr);
    if (!outline || outline->points.size() < 3 || outline->points.size() > kMaxPoints) return false;

    FillOptions options;
    options.rule = TriangulationFillRule::NonZero;
    std::vector<FillRing> nonZero, evenOdd;
    if (!ComputeFillBoundary(outline->points, outline->lineIndices, nonZero, options)) return false;
    options.rule = TriangulationFillRule::EvenOdd;
    if (!ComputeFillBoundary(outline->points, outline->lineIndices, evenOdd, options)) return false;
    const double a = regionArea(nonZero), b = regionArea(evenOdd);
    if (std::fabs(a - b) <= kSameAreaShare * std::max(a, b)) return false;

    for (const FillRing& ring : nonZero) {
        if (ring.size() < 3) continue;
        for (std::size_t i = 0; i < ring.size(); ++i) {
            if (!boundary.empty()) boundary += ' ';
            boundary += i == 0 ? "M " : i == 1 ? "L " : "";
            boundary += FormatFloat(ring[i].X());
            boundary += ' ';
            boundary += FormatFloat(ring[i].Y());
        }
        boundary += " Z";
    }
    return !boundary.empty();
}

} // namespace preflight
} // namespace svg
} // namespace kx
