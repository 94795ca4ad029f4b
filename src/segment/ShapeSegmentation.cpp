// ShapeSegmentation.cpp - lines, rectangles, circles, arcs and paths turned
// into segmented primitives.
#include <kx/svg/Segmentation.h>

#include "segment/SegmentationCommon.h"

#include <kx/svg/PathPrimitives.h>

#include <cmath>
#include <utility>

namespace kx {
namespace svg {

namespace {

using Vec2 = Wm4::Vector2<float>;

// Degrees to radians for the arcs' x-axis rotation, as a float.
constexpr float kDegreesToRadians = 0.017453292f;
// Radii below this make an arc a straight segment.
constexpr float kMinArcRadius = 0.01f;

inline Vec2 MapPoint(const Wm4::Matrix3<float>& m, const Vec2& p)
{
    return Vec2(m(0, 0) * p.X() + m(0, 1) * p.Y() + m(0, 2), m(1, 0) * p.X() + m(1, 1) * p.Y() + m(1, 2));
}

std::shared_ptr<SegmentedPrimitive> MakePrimitive(SegmentedPrimitive&& value)
{
    return std::shared_ptr<SegmentedPrimitive>(new SegmentedPrimitive(std::move(value)));
}

// Appends a straight piece of a path: its start when it opens a chain, its
// end, and the pair joining the two.
void AppendPathLine(SegmentedPrimitive& out, const Vec2& start, const Vec2& end, bool startsChain)
{
    if (startsChain || out.points.empty()) out.points.push_back(start);
    out.points.push_back(end);
    const unsigned int n = static_cast<unsigned int>(out.points.size());
    out.lineIndices.push_back(n - 2);
    out.lineIndices.push_back(n - 1);
}

void AppendPathArc(SegmentedPrimitive& out, const PathEllipticalArc& arc, bool startsChain, unsigned int count,
                   float tolerance)
{
    if (arc.getStart() == arc.getEnd()) {
        // Draws nothing; the point only keeps the chain's position.
        if (startsChain || out.points.empty())
            out.points.push_back(arc.getEnd());
        else
            out.points.back() = arc.getEnd();
        return;
    }
    const Vec2& radii = arc.getRadii();
    if (radii.X() < kMinArcRadius || radii.Y() < kMinArcRadius) {
        AppendPathLine(out, arc.getStart(), arc.getEnd(), startsChain);
        return;
    }
    SegmentationUtils::SegmentEllipticalArc(arc.getCenter(), radii, arc.getRotation() * kDegreesToRadians,
                                            arc.getStartAngle(), arc.getDeltaAngle(), out.points, out.lineIndices,
                                            startsChain || out.points.empty(), count, tolerance);
}

} // namespace

namespace SegmentationUtils {

void SegmentEllipticalArc(const Wm4::Vector2<float>& center, const Wm4::Vector2<float>& radii, float rotation,
                          float startAngle, float sweepAngle, std::vector<Wm4::Vector2<float>>& points,
                          std::vector<unsigned int>& lineIndices, bool addStartPoint, unsigned int count,
                          float /*tolerance*/)
{
    if (impl::CheckIndexOverflow(points.size(), count)) return;
    if (count == 0) return;

    float sinPhi = 0.0f, cosPhi = 0.0f;
    ::sincosf(rotation, &sinPhi, &cosPhi);
    const float rx = radii.X(), ry = radii.Y(), cx = center.X(), cy = center.Y();

    const std::size_t firstNew = points.size();
    const bool joinPrevious = !addStartPoint && firstNew > 0;
    impl::ReserveMore(points, static_cast<std::size_t>(count) + 1);
    for (unsigned int i = joinPrevious ? 1u : 0u; i <= count; ++i) {
        const float theta = (static_cast<float>(i) / static_cast<float>(count)) * sweepAngle + startAngle;
        float sinTheta = 0.0f, cosTheta = 0.0f;
        ::sincosf(theta, &sinTheta, &cosTheta);
        const float x = rx * cosTheta * cosPhi + cx - ry * sinTheta * sinPhi;
        const float y = rx * cosTheta * sinPhi + cy + ry * sinTheta * cosPhi;
        points.push_back(Vec2(x, y));
        if (i == count) break; // count may be the largest unsigned value
    }
    impl::AppendChainIndices(lineIndices, firstNew, points.size(), joinPrevious);
}

} // namespace SegmentationUtils

std::shared_ptr<SegmentedPrimitive> SegmentLine(const Line& line, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* /*props*/)
{
    SegmentedPrimitive result;
    result.points.reserve(2);
    result.points.push_back(line.getStart());
    result.points.push_back(line.getEnd());
    result.lineIndices = {0u, 1u};
    if (transform) {
        for (Vec2& p : result.points) p = MapPoint(*transform, p);
    }
    return MakePrimitive(std::move(result));
}

namespace impl {

std::shared_ptr<SegmentedPrimitive> SegmentRect(const Rect& rect, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props, const SegmentationOptions& options,
                                                bool* fillFailed)
{
    const float x = rect.getPosition().X(), y = rect.getPosition().Y();
    const float w = rect.getSize().X(), h = rect.getSize().Y();
    std::vector<Vec2> points{Vec2(x, y), Vec2(x + w, y), Vec2(x + w, y + h), Vec2(x, y + h)};
    std::vector<unsigned int> indices{0, 1, 1, 2, 2, 3, 3, 0};
    return MakePrimitive(FromContour(std::move(points), std::move(indices), transform, props, options, fillFailed));
}

std::shared_ptr<SegmentedPrimitive> SegmentCircle(const Circle& circle, const Wm4::Matrix3<float>* transform,
                                                  const RenderingProperties* props,
                                                  const SegmentationOptions& options, bool* fillFailed)
{
    const unsigned int count = options.circlePieces;
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    points.reserve(count);
    indices.reserve(2 * static_cast<std::size_t>(count));
    const float cx = circle.getCenter().X(), cy = circle.getCenter().Y(), r = circle.getRadius();
    for (unsigned int i = 0; i < count; ++i) {
        const float theta = (static_cast<float>(i) / static_cast<float>(count)) * 2.0f * 3.1415927f;
        float sinTheta = 0.0f, cosTheta = 0.0f;
        ::sincosf(theta, &sinTheta, &cosTheta);
        points.push_back(Vec2(cx + r * cosTheta, cy + r * sinTheta));
    }
    if (count > 0) {
        for (unsigned int i = 0; i + 1 < count; ++i) {
            indices.push_back(i);
            indices.push_back(i + 1);
        }
        indices.push_back(count - 1);
        indices.push_back(0);
    }
    return MakePrimitive(FromContour(std::move(points), std::move(indices), transform, props, options, fillFailed));
}

std::shared_ptr<SegmentedPrimitive> SegmentPath(const Path& path, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props,
                                                SegmentationUtils::BezierSegmentationWorkspace* workspace,
                                                const SegmentationOptions& options, bool* fillFailed)
{
    std::unique_ptr<SegmentationUtils::BezierSegmentationWorkspace> localWorkspace;
    if (!workspace) {
        localWorkspace.reset(new SegmentationUtils::BezierSegmentationWorkspace());
        workspace = localWorkspace.get();
    }

    // Every sub-path goes into one point list, as separate chains of pairs,
    // so that inner sub-paths become holes of the fill.
    SegmentedPrimitive contour;
    // Last point of every sub-path a close-path ends: the stroke joins those all round.
    std::vector<unsigned int> closedEnds;
    PathVisitorCommandsToPrimitives visitor(
        path.getCommands(), [&](std::unique_ptr<PathPrimitive>& primitive, bool startsChain) {
            if (!primitive) return;
            switch (primitive->getKind()) {
            case PathPrimitive::LineKind: {
                const PathLine& line = static_cast<const PathLine&>(*primitive);
                AppendPathLine(contour, line.getStart(), line.getEnd(), startsChain);
                if (line.closesContour() && options.strokeMeshes)
                    closedEnds.push_back(static_cast<unsigned int>(contour.points.size() - 1));
                break;
            }
            case PathPrimitive::BezierCubicKind: {
                const PathBezierCubic& cubic = static_cast<const PathBezierCubic&>(*primitive);
                SegmentationUtils::DeCasteljauSegmentBezier(*workspace, cubic.getCurve(), contour, startsChain,
                                                            options.bezierMaxLeaves, options.bezierTolerance);
                break;
            }
            case PathPrimitive::EllipticalArcKind:
                AppendPathArc(contour, static_cast<const PathEllipticalArc&>(*primitive), startsChain,
                              options.arcPieces, options.bezierTolerance);
                break;
            default:
                break;
            }
        });
    visitor.visit();

    return MakePrimitive(FromContour(std::move(contour.points), std::move(contour.lineIndices), transform, props,
                                     options, fillFailed, &closedEnds));
}

} // namespace impl

// The public segmenters are the option-taking ones with the default fill and
// the caller's explicit counts.

std::shared_ptr<SegmentedPrimitive> SegmentRect(const Rect& rect, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props, bool* fillFailed)
{
    return impl::SegmentRect(rect, transform, props, SegmentationOptions(), fillFailed);
}

std::shared_ptr<SegmentedPrimitive> SegmentCircle(const Circle& circle, unsigned int count, float /*tolerance*/,
                                                  const Wm4::Matrix3<float>* transform,
                                                  const RenderingProperties* props, bool* fillFailed)
{
    SegmentationOptions options;
    options.circlePieces = count;
    return impl::SegmentCircle(circle, transform, props, options, fillFailed);
}

std::shared_ptr<SegmentedPrimitive> SegmentPath(const Path& path, unsigned int maxJobs, float tolerance,
                                                const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props,
                                                SegmentationUtils::BezierSegmentationWorkspace* workspace,
                                                bool* fillFailed)
{
    SegmentationOptions options;
    options.bezierMaxLeaves = maxJobs;
    options.arcPieces = maxJobs;
    options.bezierTolerance = tolerance;
    return impl::SegmentPath(path, transform, props, workspace, options, fillFailed);
}

} // namespace svg
} // namespace kx
