// PathPrimitives.h - path commands resolved into absolute lines, arcs and cubic curves.
#ifndef KX_SVG_PATHPRIMITIVES_H
#define KX_SVG_PATHPRIMITIVES_H

#include <kx/svg/BoundingBox.h>
#include <kx/svg/Export.h>
#include <kx/svg/Items.h>

#include <Wm4/Wm4BezierCurve2.h>
#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <functional>
#include <list>
#include <memory>

namespace kx {
namespace svg {

/// An absolute piece of a path. `getKind()` tells the concrete class.
class KXSVG_API PathPrimitive {
public:
    enum Kind : unsigned int { LineKind = 0, EllipticalArcKind = 1, BezierCubicKind = 2 };

    virtual ~PathPrimitive();
    unsigned int getKind() const { return m_kind; }
    /// Writes an estimate of the primitive's extent under `transform` into `box`.
    virtual void estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const = 0;

protected:
    explicit PathPrimitive(unsigned int kind) : m_kind(kind) {}

private:
    unsigned int m_kind;
};

/// A straight segment.
class KXSVG_API PathLine : public PathPrimitive {
public:
    PathLine(const Wm4::Vector2<float>& start, const Wm4::Vector2<float>& end);
    const Wm4::Vector2<float>& getStart() const { return m_start; }
    const Wm4::Vector2<float>& getEnd() const { return m_end; }
    /// True for the line a close-path command draws back to its sub-path's
    /// start (what tells a closed sub-path from one that merely ends there).
    bool closesContour() const { return m_closesContour; }
    void setClosesContour(bool closes) { m_closesContour = closes; }
    /// The box of the two transformed end points.
    void estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

private:
    Wm4::Vector2<float> m_start;
    Wm4::Vector2<float> m_end;
    bool m_closesContour = false;
};

/// An elliptical arc in centre form, computed in single precision at
/// construction. Radii too small for the chord are deliberately not scaled up.
class KXSVG_API PathEllipticalArc : public PathPrimitive {
public:
    /// `radii` are taken as absolute values; `rotationDegrees` is the x-axis rotation.
    PathEllipticalArc(const Wm4::Vector2<float>& radii, bool largeArc, bool sweep, const Wm4::Vector2<float>& start,
                      const Wm4::Vector2<float>& end, float rotationDegrees);

    const Wm4::Vector2<float>& getCenter() const { return m_center; }
    const Wm4::Vector2<float>& getStart() const { return m_start; }
    const Wm4::Vector2<float>& getEnd() const { return m_end; }
    const Wm4::Vector2<float>& getRadii() const { return m_radii; }
    float getRotation() const { return m_rotation; } ///< degrees
    bool getLargeArc() const { return m_largeArc; }
    bool getSweep() const { return m_sweep; }
    float getStartAngle() const { return m_startAngle; } ///< radians
    float getDeltaAngle() const { return m_delta; }      ///< radians, signed, within (-2 pi, 2 pi)
    /// Start and end are exactly equal: the arc draws nothing.
    bool isStartEqualEnd() const { return m_start == m_end; }

    void estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

private:
    Wm4::Vector2<float> m_center;
    Wm4::Vector2<float> m_start;
    Wm4::Vector2<float> m_end;
    Wm4::Vector2<float> m_radii;
    float m_rotation;
    bool m_largeArc;
    bool m_sweep;
    float m_startAngle = 0.0f;
    float m_delta = 0.0f;
};

/// A cubic Bezier curve over P0 (start), P1, P2, P3 (end).
class KXSVG_API PathBezierCubic : public PathPrimitive {
public:
    PathBezierCubic(const Wm4::Vector2<float>& p0, const Wm4::Vector2<float>& p1, const Wm4::Vector2<float>& p2,
                    const Wm4::Vector2<float>& p3);
    const Wm4::BezierCurve2<float>& getCurve() const { return m_curve; }
    /// Curves are not measured: the box is left as it was passed.
    void estimateBoundingBox(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

private:
    Wm4::BezierCurve2<float> m_curve;
};

/// Walks a command list once and hands each primitive, as soon as it is made,
/// to the callback together with a flag that is true for the first primitive
/// of each contour (after a move-to or a close-path). The callback may move
/// the primitive out of the pointer to keep it.
class KXSVG_API PathVisitorCommandsToPrimitives {
public:
    using Callback = std::function<void(std::unique_ptr<PathPrimitive>&, bool)>;

    /// `commands` is not copied and must outlive the visitor.
    PathVisitorCommandsToPrimitives(const std::list<Path::Command>& commands, const Callback& callback);
    void visit();

private:
    const std::list<Path::Command>* m_commands;
    Callback m_callback;
    Wm4::Vector2<float> m_current;
    Wm4::Vector2<float> m_subpathStart;
};

} // namespace svg
} // namespace kx

#endif
