// PreflightFillRule.cpp - writing a non-zero fill as path data that fills even-odd.
#include "preflight/PreflightFillRule.h"

#include "preflight/PreflightPath.h"
#include "preflight/PreflightSubpaths.h"

#include <kx/svg/Triangulate.h>

#include <algorithm>
#include <cmath>

namespace kx {
namespace svg {
namespace preflight {

namespace {

using Vec2 = Wm4::Vector2<float>;

constexpr std::size_t kMaxPoints = 100000;
constexpr std::size_t kMaxSubpaths = 256;
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

// Area of the fill of an outline under one rule; negative when it cannot be computed.
double fillArea(const std::vector<Vec2>& points, const std::vector<unsigned int>& indices, TriangulationFillRule rule)
{
    FillOptions options;
    options.rule = rule;
    std::vector<FillRing> rings;
    if (!ComputeFillBoundary(points, indices, rings, options)) return -1;
    return regionArea(rings);
}

bool sameArea(double a, double b) { return std::fabs(a - b) <= kSameAreaShare * std::max(a, b); }

// One flattened sub-path: its edges, box and turning direction.
struct Ring {
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    float min[2] = {0, 0}, max[2] = {0, 0};
    int direction = 0; // +1 counter-clockwise, -1 clockwise, 0 no area

    // Even-odd crossing test of a point against the edges.
    bool contains(const Vec2& p) const
    {
        if (p.X() < min[0] || p.X() > max[0] || p.Y() < min[1] || p.Y() > max[1]) return false;
        bool inside = false;
        for (std::size_t i = 0; i + 1 < indices.size(); i += 2) {
            const Vec2& a = points[indices[i]];
            const Vec2& b = points[indices[i + 1]];
            if ((a.Y() > p.Y()) == (b.Y() > p.Y())) continue;
            const double x = a.X() + (double(p.Y()) - a.Y()) * (double(b.X()) - a.X()) / (double(b.Y()) - a.Y());
            if (p.X() < x) inside = !inside;
        }
        return inside;
    }
};

bool makeRing(OutlineFlattener& flattener, const Subpath& subpath, Ring& ring)
{
    if (!flattener.flatten({&subpath}, ring.points, ring.indices) || ring.indices.empty()) return false;
    ring.min[0] = ring.max[0] = ring.points[0].X();
    ring.min[1] = ring.max[1] = ring.points[0].Y();
    double twice = 0;
    for (const Vec2& p : ring.points) {
        ring.min[0] = std::min(ring.min[0], p.X());
        ring.max[0] = std::max(ring.max[0], p.X());
        ring.min[1] = std::min(ring.min[1], p.Y());
        ring.max[1] = std::max(ring.max[1], p.Y());
    }
    for (std::size_t i = 0; i + 1 < ring.indices.size(); i += 2) {
        const Vec2& a = ring.points[ring.indices[i]];
        const Vec2& b = ring.points[ring.indices[i + 1]];
        twice += double(a.X()) * double(b.Y()) - double(b.X()) * double(a.Y());
    }
    ring.direction = twice > 0 ? 1 : twice < 0 ? -1 : 0;
    return true;
}

// With no sub-path crossing another, the winding number just outside a
// sub-path is the sum of the directions of the sub-paths around it, and just
// inside it adds its own. The sub-paths across which the non-zero fill
// changes bound the region; the others lie inside or outside it and are left
// out, so that the even-odd fill of the rest is the non-zero fill.
bool dropInnerSubpaths(const Path::Commands& commands, OutlineFlattener& flattener, double nonZeroArea,
                       std::string& d)
{
    std::vector<Subpath> subpaths;
    if (!SplitIntoSubpaths(commands, subpaths) || subpaths.size() < 2 || subpaths.size() > kMaxSubpaths) return false;
    std::vector<Ring> rings(subpaths.size());
    for (std::size_t i = 0; i < subpaths.size(); ++i)
        if (!makeRing(flattener, subpaths[i], rings[i])) rings[i].direction = 0;

    std::vector<const Subpath*> kept;
    for (std::size_t i = 0; i < subpaths.size(); ++i) {
        if (rings[i].direction == 0) continue;
        const Vec2& probe = rings[i].points[rings[i].indices[0]];
        int outside = 0;
        for (std::size_t j = 0; j < subpaths.size(); ++j)
            if (j != i && rings[j].direction != 0 && rings[j].contains(probe)) outside += rings[j].direction;
        if ((outside != 0) != (outside + rings[i].direction != 0)) kept.push_back(&subpaths[i]);
    }
    if (kept.empty() || kept.size() == subpaths.size()) return false;

    // The even-odd fill of what is kept must cover the non-zero region.
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    if (!flattener.flatten(kept, points, indices)) return false;
    const double area = fillArea(points, indices, TriangulationFillRule::EvenOdd);
    if (area < 0 || !sameArea(area, nonZeroArea)) return false;
    d = WriteSubpaths(kept);
    return true;
}

} // namespace

NonZeroRewrite NonZeroFillAsEvenOdd(const Path::Commands& commands, std::string& d)
{
    d.clear();
    Path path;
    path.editCommands() = commands;
    OutlineFlattener flattener;
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    if (!flattener.flatten(path, points, indices) || points.size() < 3 || points.size() > kMaxPoints)
        return NonZeroRewrite::None;

    FillOptions options;
    options.rule = TriangulationFillRule::NonZero;
    std::vector<FillRing> nonZero;
    if (!ComputeFillBoundary(points, indices, nonZero, options)) return NonZeroRewrite::None;
    const double a = regionArea(nonZero);
    const double b = fillArea(points, indices, TriangulationFillRule::EvenOdd);
    if (b < 0 || sameArea(a, b)) return NonZeroRewrite::None;

    // Outlines that neither cross themselves nor each other fill as they are.
    std::vector<Vec2> trianglePoints;
    std::vector<unsigned int> triangles, edges = indices;
    std::vector<Vec2> outline = points;
    if (impl::TriangulateOutlineFill(outline, edges, trianglePoints, triangles) &&
        dropInnerSubpaths(commands, flattener, a, d))
        return NonZeroRewrite::SubpathsDropped;

    for (const FillRing& ring : nonZero) {
        if (ring.size() < 3) continue;
        for (std::size_t i = 0; i < ring.size(); ++i) {
            if (!d.empty()) d += ' ';
            d += i == 0 ? "M " : i == 1 ? "L " : "";
            d += FormatFloat(ring[i].X());
            d += ' ';
            d += FormatFloat(ring[i].Y());
        }
        d += " Z";
    }
    return d.empty() ? NonZeroRewrite::None : NonZeroRewrite::Boundary;
}

} // namespace preflight
} // namespace svg
} // namespace kx
