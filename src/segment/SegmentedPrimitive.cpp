// SegmentedPrimitive.cpp - outline plus fill triangulation for one item.
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Triangulate.h>
#include <kx/system/kxLog.h>

#include <utility>

namespace kx {
namespace svg {

SegmentedPrimitive::SegmentedPrimitive(SegmentedPrimitive&& other) noexcept
    : points(std::move(other.points)),
      lineIndices(std::move(other.lineIndices)),
      trianglePoints(std::move(other.trianglePoints)),
      triangleIndices(std::move(other.triangleIndices)),
      properties(std::move(other.properties)) {}

SegmentedPrimitive& SegmentedPrimitive::operator=(SegmentedPrimitive&& other) noexcept {
    if (this != &other) {
        points = std::move(other.points);
        lineIndices = std::move(other.lineIndices);
        trianglePoints = std::move(other.trianglePoints);
        triangleIndices = std::move(other.triangleIndices);
        // Optional members follow the source exactly: an absent field empties the target's.
        properties = std::move(other.properties);
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

SegmentedPrimitive SegmentedPrimitive::FromContour(std::vector<Wm4::Vector2<float>>&& points,
                                                   std::vector<unsigned int>&& lineIndices,
                                                   const Wm4::Matrix3<float>* transform,
                                                   const RenderingProperties* props, bool* fillFailed) {
    if (fillFailed) *fillFailed = false;
    SegmentedPrimitive primitive;

    const bool wantFill = (props == nullptr || props->hasFill()) && (lineIndices.size() % 2) == 0;
    if (wantFill) {
        CleanupContour(points, lineIndices);
        // The fill is computed in the item's own coordinates; the affine map below keeps it valid.
        if (!TriangulatePoly(points, lineIndices, primitive.trianglePoints, primitive.triangleIndices,
                             TriangulationFillRule::EvenOdd, true)) {
            primitive.trianglePoints.clear();
            primitive.triangleIndices.clear();
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

} // namespace svg
} // namespace kx
