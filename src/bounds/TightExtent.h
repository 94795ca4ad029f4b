// TightExtent.h - exact extents of lines, cubic curves, elliptical arcs and
// shapes, measured in double precision through an affine map.
#ifndef KX_SVG_SRC_BOUNDS_TIGHTEXTENT_H
#define KX_SVG_SRC_BOUNDS_TIGHTEXTENT_H

#include <kx/svg/BoundingBox.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <limits>

namespace kx {
namespace svg {

class Circle;
class Line;
class PathPrimitive;
class Rect;

namespace impl {

/// A point in double precision.
struct Point2d {
    double x;
    double y;
};

/// The affine map of a float transform, widened to double:
/// (m00 x + m01 y + m02, m10 x + m11 y + m12).
struct AffineMap2d {
    double m00, m01, m02;
    double m10, m11, m12;

    explicit AffineMap2d(const Wm4::Matrix3<float>& m);
    Point2d apply(double x, double y) const { return Point2d{m00 * x + m01 * y + m02, m10 * x + m11 * y + m12}; }
    Point2d apply(const Wm4::Vector2<float>& p) const { return apply(p.X(), p.Y()); }
    /// The linear part only (a direction, not a position).
    Point2d applyLinear(double x, double y) const { return Point2d{m00 * x + m01 * y, m10 * x + m11 * y}; }
};

/// A box accumulated in double precision. It starts empty; NaN values are
/// ignored, so a NaN coordinate never makes the box NaN.
class Extent2d {
public:
    bool isEmpty() const { return !(m_minX <= m_maxX && m_minY <= m_maxY); }
    void addX(double x)
    {
        if (x < m_minX) m_minX = x;
        if (x > m_maxX) m_maxX = x;
    }
    void addY(double y)
    {
        if (y < m_minY) m_minY = y;
        if (y > m_maxY) m_maxY = y;
    }
    void addPoint(const Point2d& p)
    {
        addX(p.x);
        addY(p.y);
    }
    /// Grows the union by `other` (an empty `other` adds nothing).
    void add(const Extent2d& other);
    /// Moves every side outwards by the margin (a non-empty box only).
    void addMargin(double marginX, double marginY);
    /// The float box that contains this one: each side is converted to float
    /// and moved one float outwards when the conversion went inwards. The
    /// empty extent gives the empty box.
    BoundingBox toOutwardBox() const;

private:
    double m_minX = std::numeric_limits<double>::infinity();
    double m_minY = std::numeric_limits<double>::infinity();
    double m_maxX = -std::numeric_limits<double>::infinity();
    double m_maxY = -std::numeric_limits<double>::infinity();
};

/// The cubic Bezier curve over p0..p3 (already mapped): its ends and the
/// points where the derivative of x or of y is zero.
void AddCubicExtent(Extent2d& extent, const Point2d& p0, const Point2d& p1, const Point2d& p2, const Point2d& p3);

/// The elliptical arc centre + u cos(t) + v sin(t) for t from `startAngle`
/// over the signed `sweepAngle` (radians): its ends and the angles where x or
/// y is extreme. `u` and `v` are the mapped half axes, so any affine map of an
/// ellipse is measured exactly. A sweep of a full turn or more is the whole ellipse.
void AddEllipticalArcExtent(Extent2d& extent, const Point2d& center, const Point2d& u, const Point2d& v,
                            double startAngle, double sweepAngle);

/// One primitive of a path as `SegmentPath` draws it, through `map`.
void AddPathPrimitiveExtent(Extent2d& extent, const PathPrimitive& primitive, const AffineMap2d& map);

/// A line item by its two ends.
void AddLineExtent(Extent2d& extent, const Line& line, const AffineMap2d& map);

/// A rectangle with its corner radii completed and clamped as SVG does (a
/// missing radius takes the other's value; each is at most half the side).
/// Returns true when the corners are rounded.
bool AddRectExtent(Extent2d& extent, const Rect& rect, const AffineMap2d& map);

/// A circle, which the map turns into an ellipse.
void AddCircleExtent(Extent2d& extent, const Circle& circle, const AffineMap2d& map);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
