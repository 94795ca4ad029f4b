// PathPrimitives.cpp - absolute lines, arcs and cubic curves from path commands.
#include <kx/svg/PathPrimitives.h>

#include "PathCommands.h"
#include "PathGeometry.h"

#include <cmath>

namespace kx {
namespace svg {

namespace {

constexpr float kDegreesToRadians = 0.017453292f;
constexpr float kTwoPi = 6.2831855f;
constexpr float kHalfPi = static_cast<float>(0.5 * WM4_PI);
constexpr float kPi = static_cast<float>(WM4_PI);
constexpr float kThreeHalfPi = static_cast<float>(1.5 * WM4_PI);
// Radii below this make an arc degenerate: consumers draw it as a straight line.
constexpr float kMinimumRadius = 0.01f;

using Vec = Wm4::Vector2<float>;

} // namespace

// ---------------------------------------------------------------- primitives

PathPrimitive::~PathPrimitive() = default;

PathLine::PathLine(const Vec& start, const Vec& end) : PathPrimitive(LineKind), m_start(start), m_end(end) {}

void PathLine::estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    box = impl::BoxOfPoints(impl::TransformPoint(transform, m_start), impl::TransformPoint(transform, m_end));
}

PathEllipticalArc::PathEllipticalArc(const Vec& radii, bool largeArc, bool sweep, const Vec& start, const Vec& end,
                                     float rotationDegrees)
    : PathPrimitive(EllipticalArcKind), m_center(0.0f, 0.0f), m_start(start), m_end(end),
      m_radii(std::fabs(radii.X()), std::fabs(radii.Y())), m_rotation(rotationDegrees), m_largeArc(largeArc),
      m_sweep(sweep)
{
    if (start == end) return;
    const float rx = m_radii.X();
    const float ry = m_radii.Y();
    if (rx < kMinimumRadius || ry < kMinimumRadius) return;

    // Centre form in the ellipse's own frame (rotated by -phi, origin at the
    // chord's midpoint). Everything stays in single precision.
    const float dx2 = (start.X() - end.X()) * 0.5f;
    const float dy2 = (start.Y() - end.Y()) * 0.5f;
    const float phi = rotationDegrees * kDegreesToRadians;
    const float sinPhi = std::sin(phi);
    const float cosPhi = std::cos(phi);
    const float x1 = cosPhi * dx2 + sinPhi * dy2;
    const float y1 = cosPhi * dy2 - sinPhi * dx2;

    const float rx2 = rx * rx;
    const float ry2 = ry * ry;
    const float x12 = x1 * x1;
    const float y12 = y1 * y1;
    const float q = (rx2 * ry2 - rx2 * y12 - ry2 * x12) / (rx2 * y12 + ry2 * x12);
    // Radii too small for the chord are not scaled up: the centre then falls
    // on the chord's midpoint and the radii are kept as given.
    float k = q >= 0.0f ? std::sqrt(q) : 0.0f;
    if (largeArc == sweep) k = -k;
    const float cx1 = k * rx * y1 / ry;
    const float cy1 = -k * ry * x1 / rx;

    m_center = Vec((start.X() + end.X()) * 0.5f + cosPhi * cx1 - sinPhi * cy1,
                   (start.Y() + end.Y()) * 0.5f + sinPhi * cx1 + cosPhi * cy1);

    const Vec u((x1 - cx1) / rx, (y1 - cy1) / ry);
    const Vec v((-x1 - cx1) / rx, (-y1 - cy1) / ry);
    const float uLength = u.Length();
    m_startAngle = std::acos(u.X() / uLength);
    if (u.Y() < 0.0f) m_startAngle = -m_startAngle;

    float c = u.Dot(v) / (uLength * v.Length());
    if (c < -1.0f) c = -1.0f;
    if (c > 1.0f) c = 1.0f;
    const float a = std::acos(c);
    if (u.X() * v.Y() - u.Y() * v.X() < 0.0f) {
        m_delta = -a;
        if (sweep && a > 0.0f) m_delta = kTwoPi - a;
    } else {
        m_delta = a;
        if (!sweep && a > 0.0f) m_delta = a - kTwoPi;
    }
}

void PathEllipticalArc::estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const
{
    box = BoundingBox();
    if (isStartEqualEnd()) return;
    if (m_radii.X() < kMinimumRadius || m_radii.Y() < kMinimumRadius) {
        // A degenerate arc is a straight line; its points are deliberately
        // taken as they are, without the transform.
        box.expandToContain(m_start);
        box.expandToContain(m_end);
        return;
    }

    float a0 = std::fmod(m_startAngle, kTwoPi);
    float a1 = a0 + std::fmod(m_delta, kTwoPi);
    if (a1 < a0) std::swap(a0, a1);
    if (a0 < 0.0f) {
        a0 += kTwoPi;
        a1 += kTwoPi;
    }

    const float phi = m_rotation * kDegreesToRadians;
    const float sinPhi = std::sin(phi);
    const float cosPhi = std::cos(phi);
    const float rx = m_radii.X();
    const float ry = m_radii.Y();
    auto grow = [&](float theta) {
        const float ex = rx * std::cos(theta);
        const float ey = ry * std::sin(theta);
        const Vec p(m_center.X() + ex * cosPhi - ey * sinPhi, m_center.Y() + ex * sinPhi + ey * cosPhi);
        box.expandToContain(impl::TransformPoint(transform, p));
    };
    // The extremes of the ellipse in its own frame: the ends of the arc and
    // every quarter angle strictly inside it.
    grow(a0);
    grow(a1);
    const float quarters[4] = {0.0f, kHalfPi, kPi, kThreeHalfPi};
    for (float q : quarters)
        if (q > a0 && q < a1) grow(q);
}

PathBezierCubic::PathBezierCubic(const Vec& p0, const Vec& p1, const Vec& p2, const Vec& p3)
    : PathPrimitive(BezierCubicKind), m_curve(3, new Vec[4]{p0, p1, p2, p3})
{
}

void PathBezierCubic::estimateBoundingBox(BoundingBox& /*box*/, const Wm4::Matrix3<float>& /*transform*/) const
{
    // Curves are deliberately not measured; the path's estimate deals with
    // the (empty) box it started for this primitive.
}

// ---------------------------------------------------------------- command walk

PathVisitorCommandsToPrimitives::PathVisitorCommandsToPrimitives(const std::list<Path::Command>& commands,
                                                                 const Callback& callback)
    : m_commands(&commands), m_callback(callback), m_current(0.0f, 0.0f), m_subpathStart(0.0f, 0.0f)
{
}

namespace {

// Numbers in one group of the command's arguments.
unsigned NumbersNeeded(Path::CommandType type) { return impl::PathCommandOf(type).argumentCount; }

bool IsCubic(Path::CommandType type)
{
    using T = Path::CommandType;
    return type == T::CubicBezierAbs || type == T::CubicBezierRel || type == T::SmoothCubicBezierAbs ||
           type == T::SmoothCubicBezierRel;
}

bool IsKnown(Path::CommandType type) { return static_cast<std::size_t>(type) < impl::kPathCommandCount; }

} // namespace

void PathVisitorCommandsToPrimitives::visit()
{
    using T = Path::CommandType;
    bool contourStart = true;
    const Path::Command* previous = nullptr;
    for (const Path::Command& command : *m_commands) {
        const Path::Command* before = previous;
        previous = &command;
        // Only the first group of numbers is read; a command too short for its
        // type (possible only from code) is skipped like an unknown one.
        if (!IsKnown(command.type) || command.arguments.size() < NumbersNeeded(command.type)) continue;
        const float* a = command.arguments.data();
        const Vec c = m_current;

        std::unique_ptr<PathPrimitive> primitive;
        bool fromClose = false;
        switch (command.type) {
        case T::MoveToAbs:
            m_current = m_subpathStart = Vec(a[0], a[1]);
            contourStart = true;
            break;
        case T::MoveToRel:
            m_current = m_subpathStart = c + Vec(a[0], a[1]);
            contourStart = true;
            break;
        case T::LineToAbs:
        case T::LineToRel:
        case T::HLineToAbs:
        case T::HLineToRel:
        case T::VLineToAbs:
        case T::VLineToRel: {
            Vec end;
            switch (command.type) {
            case T::LineToAbs: end = Vec(a[0], a[1]); break;
            case T::LineToRel: end = c + Vec(a[0], a[1]); break;
            case T::HLineToAbs: end = Vec(a[0], c.Y()); break;
            case T::HLineToRel: end = Vec(c.X() + a[0], c.Y()); break;
            case T::VLineToAbs: end = Vec(c.X(), a[0]); break;
            default: end = Vec(c.X(), c.Y() + a[0]); break;
            }
            primitive.reset(new PathLine(c, end));
            m_current = end;
            break;
        }
        case T::ClosePath:
            // Made even when it has zero length.
            primitive.reset(new PathLine(c, m_subpathStart));
            static_cast<PathLine&>(*primitive).setClosesContour(true);
            m_current = m_subpathStart;
            fromClose = true;
            break;
        case T::CubicBezierAbs:
        case T::CubicBezierRel: {
            const Vec offset = command.type == T::CubicBezierRel ? c : Vec(0.0f, 0.0f);
            const Vec p1 = Vec(a[0], a[1]) + offset;
            const Vec p2 = Vec(a[2], a[3]) + offset;
            const Vec p3 = Vec(a[4], a[5]) + offset;
            primitive.reset(new PathBezierCubic(c, p1, p2, p3));
            m_current = p3;
            break;
        }
        case T::SmoothCubicBezierAbs:
        case T::SmoothCubicBezierRel: {
            // The reflected control point comes from the previous command's
            // numbers as stored (offsets for a relative command), not from
            // absolute points: a deliberate rule.
            Vec p1 = c;
            bool reflected = false;
            if (before && IsCubic(before->type) && before->arguments.size() >= NumbersNeeded(before->type)) {
                const float* b = before->arguments.data();
                const unsigned last = NumbersNeeded(before->type);
                const Vec q(b[last - 4], b[last - 3]);
                const Vec r(b[last - 2], b[last - 1]);
                p1 = r * 2.0f - q;
                reflected = true;
            }
            const bool relative = command.type == T::SmoothCubicBezierRel;
            if (relative && reflected) p1 += c;
            const Vec offset = relative ? c : Vec(0.0f, 0.0f);
            const Vec p2 = Vec(a[0], a[1]) + offset;
            const Vec p3 = Vec(a[2], a[3]) + offset;
            primitive.reset(new PathBezierCubic(c, p1, p2, p3));
            m_current = p3;
            break;
        }
        case T::EllipticalArcAbs:
        case T::EllipticalArcRel: {
            const Vec end = command.type == T::EllipticalArcRel ? c + Vec(a[5], a[6]) : Vec(a[5], a[6]);
            // A flag is set when its number is not 0 (NaN counts as set).
            const bool largeArc = !(a[3] == 0.0f);
            const bool sweep = !(a[4] == 0.0f);
            primitive.reset(new PathEllipticalArc(Vec(a[0], a[1]), largeArc, sweep, c, end, a[2]));
            m_current = end;
            break;
        }
        }

        if (primitive) {
            m_callback(primitive, contourStart);
            contourStart = fromClose;
        }
    }
}

} // namespace svg
} // namespace kx
