// SegmentedPrimitive.cpp - outline plus fill triangulation for one item.
#include <kx/svg/SegmentedPrimitive.h>
#include "segment/SegmentationCommon.h"
#include "segment/StrokeMesh.h"
#include <kx/svg/Triangulate.h>
#include <kx/system/kxLog.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace kx {
namespace svg {

SegmentedPrimitive::SegmentedPrimitive(SegmentedPrimitive&& other) noexcept
    : points(std::move(other.points)),
      lineIndices(std::move(other.lineIndices)),
      trianglePoints(std::move(other.trianglePoints)),
      triangleIndices(std::move(other.triangleIndices)),
      properties(std::move(other.properties)),
      fillFailed(other.fillFailed),
      strokePoints(std::move(other.strokePoints)),
      strokeIndices(std::move(other.strokeIndices)) {}

SegmentedPrimitive& SegmentedPrimitive::operator=(SegmentedPrimitive&& other) noexcept {
    if (this != &other) {
        points = std::move(other.points);
        lineIndices = std::move(other.lineIndices);
        trianglePoints = std::move(other.trianglePoints);
        triangleIndices = std::move(other.triangleIndices);
        // Optional members follow the source exactly: an absent field empties the target's.
        properties = std::move(other.properties);
        fillFailed = other.fillFailed;
        strokePoints = std::move(other.strokePoints);
        strokeIndices = std::move(other.strokeIndices);
    }
    return *this;
}

namespace {

void transformPoints(std::vector<Wm4::Vector2<float>>& pts, const Wm4::Matrix3<float>& m) {
    const float m0 = m(0, 0), m1 = m(0, 1), m2 = m(0, 2);
    const float m3 = m(1, 0), m4 = m(1, 1), m5 = m(1, 2);
    for (auto& p : pts) {
        const float x = p.X(), y = p.Y();
        p = Wm4::Vector2<float>(m0 * x + m1 * y + m2, m3 * x + m4 * y + m5);
    }
}

} // namespace

namespace impl {

// A sub-path is filled as if a straight line closed it back to its start. The
// chains of an outline are its runs of pairs joined by index (the segmenter
// starts every sub-path with a point of its own, and clean-up keeps runs
// joined), so each open run gets its closing pair here. Without this the
// triangulation would only see coordinates, and a sub-path starting where the
// previous one ended would be taken for its continuation and closed with it.
// Ends closer than the clean-up tolerance are left to the triangulation,
// which closes such chains on their first vertex instead of adding a sliver.
// Returns false (and leaves `closed` alone) when every chain is closed.
bool CloseOpenChains(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& indices,
                     std::vector<unsigned int>& closed) {
    const std::size_t pairCount = indices.size() / 2;
    if (pairCount == 0) return false;
    for (unsigned int index : indices)
        if (index >= points.size()) return false; // left to the triangulation's own checks
    float minX = points[indices[0]].X(), maxX = minX, minY = points[indices[0]].Y(), maxY = minY;
    for (unsigned int index : indices) {
        minX = std::min(minX, points[index].X());
        maxX = std::max(maxX, points[index].X());
        minY = std::min(minY, points[index].Y());
        maxY = std::max(maxY, points[index].Y());
    }
    const float tolX = 1e-3f * (maxX - minX), tolY = 1e-3f * (maxY - minY);
    bool any = false;
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < pairCount; ++i) {
        if (i + 1 < pairCount && indices[2 * i + 2] == indices[2 * i + 1]) continue;
        const unsigned int first = indices[2 * runStart], last = indices[2 * i + 1];
        runStart = i + 1;
        const float dx = std::fabs(points[last].X() - points[first].X());
        const float dy = std::fabs(points[last].Y() - points[first].Y());
        if (first == last || (dx < tolX && dy < tolY) || (dx == 0.0f && dy == 0.0f)) continue;
        if (!any) {
            closed.reserve(indices.size() + 16);
            closed.assign(indices.begin(), indices.end());
            any = true;
        }
        closed.push_back(last);
        closed.push_back(first);
    }
    return any;
}

bool TriangulateOutlineFill(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& lineIndices,
                            std::vector<Wm4::Vector2<float>>& trianglePoints,
                            std::vector<unsigned int>& triangleIndices, const SegmentationOptions& options) {
    if (options.cleanupContours) CleanupContour(points, lineIndices);
    std::vector<unsigned int> closedIndices;
    const bool reclosed = CloseOpenChains(points, lineIndices, closedIndices);
    const std::vector<unsigned int>& edges = reclosed ? closedIndices : lineIndices;
    if (!options.resolveCrossings)
        return TriangulatePoly(points, edges, trianglePoints, triangleIndices, options.fillRule, true);
    FillOptions fill;
    fill.rule = options.fillRule;
    fill.resolveCrossings = true;
    fill.skipZeroLengthSegments = true;
    return TriangulateFill(points, edges, trianglePoints, triangleIndices, fill);
}

SegmentedPrimitive FromContour(std::vector<Wm4::Vector2<float>>&& points, std::vector<unsigned int>&& lineIndices,
                               const Wm4::Matrix3<float>* transform, const RenderingProperties* props,
                               const SegmentationOptions& options, bool* fillFailed,
                               const std::vector<unsigned int>* closedEnds) {
    if (fillFailed) *fillFailed = false;
    SegmentedPrimitive primitive;
    // The stroke follows each sub-path as drawn, before clean-up changes the contour.
    AttachStrokeMesh(points, lineIndices, closedEnds, transform, props, options, primitive);

    const bool wantFill = (props == nullptr || props->hasFill()) && (lineIndices.size() % 2) == 0;
    if (wantFill) {
        // The fill is computed in the item's own coordinates; the affine map below keeps it valid.
        if (!TriangulateOutlineFill(points, lineIndices, primitive.trianglePoints, primitive.triangleIndices,
                                    options)) {
            primitive.trianglePoints.clear();
            primitive.triangleIndices.clear();
            primitive.fillFailed = true;
            if (fillFailed) *fillFailed = true;
            kxLog::write(2, "svg", "Shape cannot be rendered. Only its contour will be visible.");
        }
    }

    primitive.points = std::move(points);
    primitive.lineIndices = std::move(lineIndices);

    if (transform != nullptr) {
        transformPoints(primitive.points, *transform);
        transformPoints(primitive.trianglePoints, *transform);
    }
    return primitive;
}

} // namespace impl

SegmentedPrimitive SegmentedPrimitive::FromContour(std::vector<Wm4::Vector2<float>>&& points,
                                                   std::vector<unsigned int>&& lineIndices,
                                                   const Wm4::Matrix3<float>* transform,
                                                   const RenderingProperties* props, bool* fillFailed) {
    return impl::FromContour(std::move(points), std::move(lineIndices), transform, props, SegmentationOptions(),
                             fillFailed);
}

} // namespace svg
} // namespace kx
