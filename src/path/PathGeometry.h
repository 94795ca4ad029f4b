// PathGeometry.h - small geometric helpers shared by the path, bounds and
// model sources.
#ifndef KX_SVG_SRC_PATH_PATHGEOMETRY_H
#define KX_SVG_SRC_PATH_PATHGEOMETRY_H

#include <kx/svg/BoundingBox.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <algorithm>

namespace kx {
namespace svg {
namespace impl {

/// The affine map of a transform: (m00 x + m01 y + m02, m10 x + m11 y + m12).
inline Wm4::Vector2<float> TransformPoint(const Wm4::Matrix3<float>& m, const Wm4::Vector2<float>& p)
{
    return Wm4::Vector2<float>(m(0, 0) * p.X() + m(0, 1) * p.Y() + m(0, 2),
                               m(1, 0) * p.X() + m(1, 1) * p.Y() + m(1, 2));
}

inline Wm4::Vector2<float> MinPoint(const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b)
{
    return Wm4::Vector2<float>(std::min(a.X(), b.X()), std::min(a.Y(), b.Y()));
}

inline Wm4::Vector2<float> MaxPoint(const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b)
{
    return Wm4::Vector2<float>(std::max(a.X(), b.X()), std::max(a.Y(), b.Y()));
}

/// The box spanned by two points (componentwise minimum and maximum).
inline BoundingBox BoxOfPoints(const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b)
{
    return BoundingBox(MinPoint(a, b), MaxPoint(a, b));
}

} // namespace impl
} // namespace svg
} // namespace kx

#endif
