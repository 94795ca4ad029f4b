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

    // 1 inside, -1 outside, 0 on an edge (by an even-odd crossing test).
    int locate(const Vec2& p) const
    {
        if (p.X() < min[0] || p.X() > max[0] || p.Y() < min[1] || p.Y() > max[1]) return -1;
        bool inside = false;
        for (std::size_t i = 0; i + 1 < indices.size(); i += 2) {
            const Vec2& a = points[indices[i]];
            const Vec2& b = points[indices[i + 1]];
            const double cross = (double(b.X()) - a.X()) * (double(p.Y()) - a.Y()) -
                                 (double(b.Y()) - a.Y()) * (double(p.X()) - a.X());
            if (cross == 0 && std::min(a.X(), b.X()) <= p.X() && p.X() <= std::max(a.X(), b.X()) &&
                std::min(a.Y(), b.Y()) <= p.Y() && p.Y() <= std::max(a.Y(), b.Y()))
                return 0;
            if ((a.Y() > p.Y()) == (b.Y() > p.Y())) continue;
            const double x = a.X() + (double(p.Y()) - a.Y()) * (double(b.X()) - a.X()) / (double(b.Y()) - a.Y());
            if (p.X() < x) inside = !inside;
        }
        return inside ? 1 : -1;
    }

    // Whether this ring lies inside `other` (the rings do not cross), judged
    // at its first point that is not on `other`; false in `known` when every
    // point is.
    bool inside(const Ring& other, bool& known) const
    {
        for (const Vec2& p : points) {
            const int where = other.locate(p);
            if (where != 0) return where > 0;
        }
        known = false;
        return false;
    }
};

bool makeRing(OutlineFlattener& flattener, const Subpath& subpath, Ring& ring)
{
    if (!flattener.flatten({&subpath}, ring.points, ring.indices) || ring.indices.empty()) return false;
    // A fill closes an open sub-path.
    if (ring.indices.back() != ring.indices.front()) {
        const unsigned int last = ring.indices.back(), first = ring.indices.front();
        ring.indices.push_back(last);
        ring.indices.push_back(first);
    }
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

// The sub-paths of an outline that crosses nowhere, and those across which
// its non-zero fill changes.
struct Nesting {
    std::vector<Subpath> subpaths;
    std::vector<const Subpath*> kept;
    bool same = true; // every sub-path with an area is kept: both fills agree
};

// With no sub-path crossing another, the winding number just outside a
// sub-path is the sum of the directions of the sub-paths around it, and just
// inside it adds its own. The sub-paths across which the non-zero fill
// changes bound the region; the others lie inside or outside it and can be
// left out, so that the even-odd fill of the rest is the non-zero fill.
bool findNesting(const Path::Commands& commands, OutlineFlattener& flattener, Nesting& nesting)
{
    std::vector<Subpath>& subpaths = nesting.subpaths;
    if (!SplitIntoSubpaths(commands, subpaths) || subpaths.empty() || subpaths.size() > kMaxRewriteSubpaths) return false;
    std::vector<Ring> rings(subpaths.size());
    for (std::size_t i = 0; i < subpaths.size(); ++i)
        if (!makeRing(flattener, subpaths[i], rings[i])) rings[i].direction = 0;
    for (std::size_t i = 0; i < subpaths.size(); ++i) {
        if (rings[i].direction == 0) continue;
        int outside = 0;
        bool known = true;
        for (std::size_t j = 0; j < subpaths.size(); ++j)
            if (j != i && rings[j].direction != 0 && rings[i].inside(rings[j], known)) outside += rings[j].direction;
        if (!known) return false;
        if ((outside != 0) != (outside + rings[i].direction != 0))
            nesting.kept.push_back(&subpaths[i]);
        else
            nesting.same = false;
    }
    return true;
}

// The kept sub-paths when their even-odd fill covers the non-zero region.
bool writeKept(const Nesting& nesting, OutlineFlattener& flattener, double nonZeroArea, std::string& d)
{
    if (nesting.kept.empty()) return false;
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    if (!flattener.flatten(nesting.kept, points, indices)) return false;
    const double area = fillArea(points, indices, TriangulationFillRule::EvenOdd);
    if (area < 0 || !sameArea(area, nonZeroArea)) return false;
    d = WriteSubpaths(nesting.kept);
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
    if (!flattener.flatten(path, points, indices) || points.size() < 3 || points.size() > kMaxRewritePoints)
        return NonZeroRewrite::None;

    // An outline that crosses nowhere (it triangulates as it is) differs
    // between the rules only where sub-paths nest in the same direction,
    // which its nesting shows without computing either region.
    std::vector<Vec2> trianglePoints, outline = points;
    std::vector<unsigned int> triangles, edges = indices;
    Nesting nesting;
    const bool simple = impl::TriangulateOutlineFill(outline, edges, trianglePoints, triangles) &&
                        findNesting(commands, flattener, nesting);
    if (simple && nesting.same) return NonZeroRewrite::None;

    FillOptions options;
    options.rule = TriangulationFillRule::NonZero;
    std::vector<FillRing> nonZero;
    if (!ComputeFillBoundary(points, indices, nonZero, options)) return NonZeroRewrite::None;
    const double a = regionArea(nonZero);
    const double b = fillArea(points, indices, TriangulationFillRule::EvenOdd);
    if (b < 0 || sameArea(a, b)) return NonZeroRewrite::None;
    if (simple && writeKept(nesting, flattener, a, d)) return NonZeroRewrite::SubpathsDropped;

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
