// PathBuilder.h - assembles a Path item from lines, rectangles, ellipses and point lists.
#ifndef KX_SVG_PATHBUILDER_H
#define KX_SVG_PATHBUILDER_H

#include <kx/svg/Export.h>
#include <kx/svg/Items.h>

#include <Wm4/Wm4Vector2.h>

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <vector>

namespace kx {
namespace svg {

/// Builds path commands from geometric pieces, writing every move and line in
/// its shortest text form (absolute or relative, horizontal or vertical: the
/// relative form is taken only when its numbers are strictly shorter).
///
/// Pieces appended outside a contour are written at once, each starting with
/// a move unless it starts exactly where the previous one ended. Pieces
/// appended between `startContour` and `endContour` are queued; `endContour`
/// writes them (optionally reordered so that each starts near where the last
/// one ended), joins the gaps with lines and closes the contour with "Z".
class KXSVG_API PathBuilder {
public:
    using Point = Wm4::Vector2<float>;

    /// The kind of a queued piece.
    enum class PrimitiveType : int32_t { Line = 0, SegmentList = 1, Ellipse = 2, Custom = 3 };

    /// A piece of a contour. The two point getters honour `isReversed()`: a
    /// reversed piece reports its end as its start and is written backwards.
    class KXSVG_API PrimitiveInterface {
    public:
        virtual ~PrimitiveInterface();
        /// Writes the piece from its start point (already reached) to its end point.
        virtual void writeAsPath(PathBuilder& builder) const = 0;
        virtual Point getStartPoint() const = 0;
        virtual Point getEndPoint() const = 0;

        PrimitiveType getType() const { return m_type; }
        /// True when the piece ends where it starts (a rectangle, a full
        /// ellipse, a closed point list), so that reversing it cannot shorten a gap.
        bool isClosed() const { return m_closed; }
        bool isReversed() const { return m_reversed; }
        void setReversed(bool reversed) { m_reversed = reversed; }

    protected:
        PrimitiveInterface(PrimitiveType type, bool closed) : m_type(type), m_closed(closed) {}

    private:
        PrimitiveType m_type;
        bool m_closed;
        bool m_reversed = false;
    };

    /// A straight segment.
    class KXSVG_API Line : public PrimitiveInterface {
    public:
        Line(const Point& start, const Point& end);
        void writeAsPath(PathBuilder& builder) const override;
        Point getStartPoint() const override;
        Point getEndPoint() const override;

    private:
        Point m_start;
        Point m_end;
    };

    /// A polyline through its points (at least one).
    class KXSVG_API SegmentList : public PrimitiveInterface {
    public:
        explicit SegmentList(std::vector<Point>&& points);
        explicit SegmentList(const std::vector<Point>& points);
        void writeAsPath(PathBuilder& builder) const override;
        Point getStartPoint() const override;
        Point getEndPoint() const override;
        const std::vector<Point>& getPoints() const { return m_points; }

    private:
        std::vector<Point> m_points;
    };

    /// An arc of an axis-aligned ellipse, or the whole ellipse.
    ///
    /// Angles are in radians and measured as in SVG user space (from the +x
    /// axis towards +y). The point at angle t is centre + (rx cos t, ry sin t).
    /// The piece starts at `startAngle` and sweeps by `sweepAngle` (signed:
    /// positive towards increasing angles, which is the "sweep-flag 1"
    /// direction). A sweep of 2 pi or more in magnitude (or an infinite one) is
    /// the whole ellipse, whose end point is then exactly its start point. It is
    /// written as elliptical arcs of at most half a turn each (two for a whole
    /// ellipse), so that no arc has coinciding ends. A zero or NaN sweep writes
    /// no arc. A negative radius mirrors the ellipse (the point formula above
    /// still holds); the arcs are written with the radii's absolute values.
    class KXSVG_API Ellipse : public PrimitiveInterface {
    public:
        Ellipse(const Point& center, const Point& radii, float startAngle, float sweepAngle);
        void writeAsPath(PathBuilder& builder) const override;
        Point getStartPoint() const override;
        Point getEndPoint() const override;

        const Point& getCenter() const { return m_center; }
        const Point& getRadii() const { return m_radii; }
        float getStartAngle() const { return m_startAngle; }
        /// The sweep actually drawn: clamped to plus or minus 2 pi.
        float getSweepAngle() const { return m_sweepAngle; }

    private:
        Point pointAt(float angle) const;

        Point m_center;
        Point m_radii;
        float m_startAngle;
        float m_sweepAngle;
        Point m_start;
        Point m_end;
    };

    PathBuilder();
    ~PathBuilder();
    PathBuilder(const PathBuilder&) = delete;
    PathBuilder& operator=(const PathBuilder&) = delete;

    /// Opens a contour (ending an open one first). With `reorder`, `endContour`
    /// chains the queued pieces greedily by nearest end, reversing pieces whose
    /// end is strictly nearer than their start.
    void startContour(bool reorder);
    /// Writes the queued pieces, joined by lines, then "Z". Nothing when no contour is open.
    void endContour();
    /// Drops the queued pieces without writing them and closes the contour.
    void cancelContour();
    /// Drops the queued pieces; the contour stays open.
    void clearCurrentContour();
    /// Drops everything: commands, queued pieces, current point and contour state.
    void clearBuilder();
    /// True when no command has been written and no piece is queued.
    bool isEmpty() const;
    bool isContourOpen() const { return m_contourOpen; }
    /// The end of the last command written, absent before the first one.
    const std::optional<Point>& getCurrentPoint() const { return m_currentPoint; }
    const std::list<Path::Command>& getContent() const { return m_content; }

    /// A new `Path` item holding everything appended so far. An open contour is
    /// ended (written and closed) first, so no queued piece is lost. With
    /// `clearAfterwards` the commands are moved into the item and the builder
    /// is cleared (`clearBuilder`) for the next path; otherwise they are copied
    /// and the builder carries on from where it stands.
    ItemInterfacePointer<Path> createPathItem(bool clearAfterwards);

    void appendLine(const Point& start, const Point& end);
    /// The rectangle (x, y), (x + w, y), (x + w, y + h), (x, y + h), back to (x, y).
    void appendRect(const Point& position, const Point& size);
    /// See `Ellipse` for the meaning of the angles.
    void appendEllipse(const Point& center, const Point& radii, float startAngle, float sweepAngle);
    /// An empty point list is ignored.
    void appendSegmentListMove(std::vector<Point>&& points);
    void appendSegmentListConst(const std::vector<Point>& points);
    /// Appends a caller-made piece (written at once, or queued in an open contour).
    void appendPrimitive(std::unique_ptr<PrimitiveInterface> primitive);

    // Writers used by the pieces. Each appends one command and moves the
    // current point; moves, lines and arcs choose the shorter of the absolute
    // and relative texts (absolute on a tie or without a current point).
    void writeMove(const Point& p);
    /// A vertical line when x is unchanged, else a horizontal one when y is
    /// unchanged (exact comparisons; so a line to the current point itself is a
    /// zero-length vertical line), else L or l.
    void writeLineTo(const Point& p);
    void writeHLineTo(float x);
    void writeVLineTo(float y);
    /// Rotation in degrees; A or a by the same text-cost rule as lines.
    void writeEllipticalArc(const Point& radii, float rotation, bool largeArc, bool sweep, const Point& end);
    /// Starts a piece at `start`: nothing is written when the current point is
    /// exactly `start`; otherwise a line to it when `connect` is set and a
    /// current point exists, else a move.
    void startPrimitive(bool connect, const Point& start);
    void endPrimitive(const Point& end);

    /// Text cost of a number in path data: the length of its shortest
    /// round-trip text, plus one for the separator unless it starts with "-".
    static size_t NumberTextCost(float value);

private:
    void appendOrWrite(std::unique_ptr<PrimitiveInterface> primitive);
    void writePrimitive(const PrimitiveInterface& primitive, bool connect);
    void reorderContourPath();

    std::list<std::unique_ptr<PrimitiveInterface>> m_contour;
    std::optional<Point> m_currentPoint;
    std::list<Path::Command> m_content;
    bool m_contourOpen = false;
    bool m_reorderContour = false;
    bool m_primitiveInProgress = false;
};

} // namespace svg
} // namespace kx

#endif
