// TightExtent.cpp - exact extents of lines, cubic curves, elliptical arcs and
// shapes, measured in double precision through an affine map.
#include "TightExtent.h"

#include <kx/svg/Items.h>
#include <kx/svg/PathPrimitives.h>

#include <algorithm>
#include <cmath>

namespace kx {
namespace svg {
namespace impl {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2.0 * kPi;
// The arcs' x-axis rotation is turned into radians with this float factor by
// the segmenter; the same angle is measured here.
constexpr float kDegreesToRadians = 0.017453292f;
// Radii below this make an arc a straight line, as the segmenter draws it.
constexpr float kMinArcRadius = 0.01f;

// The float nearest to `value` that is not above it (not below it when `up`).
float RoundOutward(double value, bool up)
{
    // Beyond the float range (products of large floats): the outward side is
    // the infinity, the inward one the largest float. Converting such a value
    // directly would be undefined.
    constexpr double kLargest = std::numeric_limits<float>::max();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (value > kLargest) return up ? kInfinity : std::numeric_limits<float>::max();
    if (value < -kLargest) return up ? -std::numeric_limits<float>::max() : -kInfinity;
    const float f = static_cast<float>(value);
    if (up ? static_cast<double>(f) < value : static_cast<double>(f) > value)
        return std::nextafter(f, up ? kInfinity : -kInfinity);
    return f;
}

// The position at `t` of the cubic over one coordinate, in Bernstein form so
// that t = 0 and t = 1 give the ends exactly.
double CubicAt(double p0, double p1, double p2, double p3, double t)
{
    const double s = 1.0 - t;
    return s * s * s * p0 + 3.0 * s * s * t * p1 + 3.0 * s * t * t * p2 + t * t * t * p3;
}

// Calls `add` with the cubic's value at each zero of its derivative inside
// (0, 1). The derivative over 3 is a t^2 + b t + c; the roots are taken in the
// form that does not cancel (q / a and c / q), which also copes with a tiny a.
template <class Add>
void AddCubicInteriorExtremes(double p0, double p1, double p2, double p3, Add&& add)
{
    const double a = -p0 + 3.0 * (p1 - p2) + p3;
    const double b = 2.0 * (p0 - 2.0 * p1 + p2);
    const double c = p1 - p0;
    auto addRoot = [&](double t) {
        if (t > 0.0 && t < 1.0) add(CubicAt(p0, p1, p2, p3, t));
    };
    if (a == 0.0) {
        if (b != 0.0) addRoot(-c / b);
        return;
    }
    const double discriminant = b * b - 4.0 * a * c;
    // No real root: the coordinate is monotonic. A double root is a stationary
    // point where the coordinate does not turn back, so it is not an extreme.
    if (!(discriminant > 0.0)) return;
    const double q = -0.5 * (b + std::copysign(std::sqrt(discriminant), b));
    addRoot(q / a);
    if (q != 0.0) addRoot(c / q);
}

// True when `angle` lies on the arc from `start` over the signed `sweep`.
bool AngleOnArc(double angle, double start, double sweep)
{
    double along = sweep >= 0.0 ? angle - start : start - angle;
    along = std::fmod(along, kTwoPi);
    if (along < 0.0) along += kTwoPi;
    return along <= std::fabs(sweep);
}

} // namespace

AffineMap2d::AffineMap2d(const Wm4::Matrix3<float>& m)
    : m00(m(0, 0)), m01(m(0, 1)), m02(m(0, 2)), m10(m(1, 0)), m11(m(1, 1)), m12(m(1, 2))
{
}

void Extent2d::add(const Extent2d& other)
{
    if (other.isEmpty()) return;
    addX(other.m_minX);
    addX(other.m_maxX);
    addY(other.m_minY);
    addY(other.m_maxY);
}

void Extent2d::addMargin(double marginX, double marginY)
{
    if (isEmpty()) return;
    m_minX -= marginX;
    m_maxX += marginX;
    m_minY -= marginY;
    m_maxY += marginY;
}

BoundingBox Extent2d::toOutwardBox() const
{
    if (isEmpty()) return BoundingBox();
    return BoundingBox(Wm4::Vector2<float>(RoundOutward(m_minX, false), RoundOutward(m_minY, false)),
                       Wm4::Vector2<float>(RoundOutward(m_maxX, true), RoundOutward(m_maxY, true)));
}

void AddCubicExtent(Extent2d& extent, const Point2d& p0, const Point2d& p1, const Point2d& p2, const Point2d& p3)
{
    extent.addPoint(p0);
    extent.addPoint(p3);
    AddCubicInteriorExtremes(p0.x, p1.x, p2.x, p3.x, [&extent](double x) { extent.addX(x); });
    AddCubicInteriorExtremes(p0.y, p1.y, p2.y, p3.y, [&extent](double y) { extent.addY(y); });
}

void AddEllipticalArcExtent(Extent2d& extent, const Point2d& center, const Point2d& u, const Point2d& v,
                            double startAngle, double sweepAngle)
{
    const bool whole = !(std::fabs(sweepAngle) < kTwoPi);
    if (!whole) {
        const double end = startAngle + sweepAngle;
        extent.addPoint(Point2d{center.x + u.x * std::cos(startAngle) + v.x * std::sin(startAngle),
                                center.y + u.y * std::cos(startAngle) + v.y * std::sin(startAngle)});
        extent.addPoint(Point2d{center.x + u.x * std::cos(end) + v.x * std::sin(end),
                                center.y + u.y * std::cos(end) + v.y * std::sin(end)});
    }
    // x = cx + ux cos t + vx sin t is largest, cx + |(ux, vx)|, at
    // t = atan2(vx, ux), and smallest half a turn later; the same for y.
    const double angleX = std::atan2(v.x, u.x);
    const double reachX = std::hypot(u.x, v.x);
    if (whole || AngleOnArc(angleX, startAngle, sweepAngle)) extent.addX(center.x + reachX);
    if (whole || AngleOnArc(angleX + kPi, startAngle, sweepAngle)) extent.addX(center.x - reachX);
    const double angleY = std::atan2(v.y, u.y);
    const double reachY = std::hypot(u.y, v.y);
    if (whole || AngleOnArc(angleY, startAngle, sweepAngle)) extent.addY(center.y + reachY);
    if (whole || AngleOnArc(angleY + kPi, startAngle, sweepAngle)) extent.addY(center.y - reachY);
}

void AddPathPrimitiveExtent(Extent2d& extent, const PathPrimitive& primitive, const AffineMap2d& map)
{
    switch (primitive.getKind()) {
    case PathPrimitive::LineKind: {
        const PathLine& line = static_cast<const PathLine&>(primitive);
        extent.addPoint(map.apply(line.getStart()));
        extent.addPoint(map.apply(line.getEnd()));
        break;
    }
    case PathPrimitive::BezierCubicKind: {
        const Wm4::BezierCurve2<float>& curve = static_cast<const PathBezierCubic&>(primitive).getCurve();
        const Wm4::Vector2<float>* p = curve.GetControlPoints();
        if (curve.GetDegree() != 3 || !p) break;
        AddCubicExtent(extent, map.apply(p[0]), map.apply(p[1]), map.apply(p[2]), map.apply(p[3]));
        break;
    }
    case PathPrimitive::EllipticalArcKind: {
        const PathEllipticalArc& arc = static_cast<const PathEllipticalArc&>(primitive);
        // The path runs through both ends whatever the arc between them.
        extent.addPoint(map.apply(arc.getStart()));
        extent.addPoint(map.apply(arc.getEnd()));
        const Wm4::Vector2<float>& radii = arc.getRadii();
        if (arc.isStartEqualEnd() || radii.X() < kMinArcRadius || radii.Y() < kMinArcRadius) break;
        // The arc as the segmenter draws it: centre form, radii as stored.
        const double phi = static_cast<double>(arc.getRotation() * kDegreesToRadians);
        const double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
        const double rx = radii.X(), ry = radii.Y();
        AddEllipticalArcExtent(extent, map.apply(arc.getCenter()), map.applyLinear(rx * cosPhi, rx * sinPhi),
                               map.applyLinear(-ry * sinPhi, ry * cosPhi), arc.getStartAngle(),
                               arc.getDeltaAngle());
        break;
    }
    default:
        break;
    }
}

void AddLineExtent(Extent2d& extent, const Line& line, const AffineMap2d& map)
{
    extent.addPoint(map.apply(line.getStart()));
    extent.addPoint(map.apply(line.getEnd()));
}

bool AddRectExtent(Extent2d& extent, const Rect& rect, const AffineMap2d& map)
{
    const double x = rect.getPosition().X(), y = rect.getPosition().Y();
    const double w = rect.getSize().X(), h = rect.getSize().Y();
    const double left = std::min(x, x + w), right = std::max(x, x + w);
    const double top = std::min(y, y + h), bottom = std::max(y, y + h);
    // A radius of 0 is not given: it takes the other one. Each is at most half its side.
    double rx = rect.getRx() > 0.0f ? rect.getRx() : std::max(0.0f, rect.getRy());
    double ry = rect.getRy() > 0.0f ? rect.getRy() : std::max(0.0f, rect.getRx());
    rx = std::min(rx, 0.5 * (right - left));
    ry = std::min(ry, 0.5 * (bottom - top));
    if (!(rx > 0.0 && ry > 0.0)) {
        extent.addPoint(map.apply(left, top));
        extent.addPoint(map.apply(right, top));
        extent.addPoint(map.apply(right, bottom));
        extent.addPoint(map.apply(left, bottom));
        return false;
    }
    // Four quarter ellipses, each from one straight side to the next; their
    // ends are the ends of the sides.
    const Point2d u = map.applyLinear(rx, 0.0);
    const Point2d v = map.applyLinear(0.0, ry);
    AddEllipticalArcExtent(extent, map.apply(right - rx, bottom - ry), u, v, 0.0, 0.5 * kPi);
    AddEllipticalArcExtent(extent, map.apply(left + rx, bottom - ry), u, v, 0.5 * kPi, 0.5 * kPi);
    AddEllipticalArcExtent(extent, map.apply(left + rx, top + ry), u, v, kPi, 0.5 * kPi);
    AddEllipticalArcExtent(extent, map.apply(right - rx, top + ry), u, v, 1.5 * kPi, 0.5 * kPi);
    return true;
}

void AddCircleExtent(Extent2d& extent, const Circle& circle, const AffineMap2d& map)
{
    const double r = circle.getRadius();
    AddEllipticalArcExtent(extent, map.apply(circle.getCenter()), map.applyLinear(r, 0.0), map.applyLinear(0.0, r),
                           0.0, kTwoPi);
}

} // namespace impl
} // namespace svg
} // namespace kx
