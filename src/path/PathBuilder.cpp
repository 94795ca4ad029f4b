// PathBuilder.cpp - path commands from geometric pieces, in their shortest text form.
#include <kx/svg/PathBuilder.h>

#include <kx/system/kxStringUtils.h>

#include <cmath>
#include <string>
#include <utility>

namespace kx {
namespace svg {

namespace {

using Point = PathBuilder::Point;
using T = Path::CommandType;

constexpr float kTwoPi = 6.2831855f;
constexpr float kPi = static_cast<float>(WM4_PI);
constexpr float kLargestDistance = 3.4028235e38f;

float SquaredDistance(const Point& a, const Point& b) { return (b - a).SquaredLength(); }

} // namespace

// ---------------------------------------------------------------- pieces

PathBuilder::PrimitiveInterface::~PrimitiveInterface() = default;

PathBuilder::Line::Line(const Point& start, const Point& end)
    : PrimitiveInterface(PrimitiveType::Line, start == end), m_start(start), m_end(end)
{
}

void PathBuilder::Line::writeAsPath(PathBuilder& builder) const { builder.writeLineTo(getEndPoint()); }
Point PathBuilder::Line::getStartPoint() const { return isReversed() ? m_end : m_start; }
Point PathBuilder::Line::getEndPoint() const { return isReversed() ? m_start : m_end; }

PathBuilder::SegmentList::SegmentList(std::vector<Point>&& points)
    : PrimitiveInterface(PrimitiveType::SegmentList, !points.empty() && points.front() == points.back()),
      m_points(std::move(points))
{
}

PathBuilder::SegmentList::SegmentList(const std::vector<Point>& points)
    : PrimitiveInterface(PrimitiveType::SegmentList, !points.empty() && points.front() == points.back()),
      m_points(points)
{
}

void PathBuilder::SegmentList::writeAsPath(PathBuilder& builder) const
{
    const size_t n = m_points.size();
    if (n < 2) return;
    if (!isReversed()) {
        for (size_t i = 1; i < n; ++i) builder.writeLineTo(m_points[i]);
    } else {
        for (size_t i = n - 1; i-- > 0;) builder.writeLineTo(m_points[i]);
    }
}

Point PathBuilder::SegmentList::getStartPoint() const
{
    if (m_points.empty()) return Point();
    return isReversed() ? m_points.back() : m_points.front();
}

Point PathBuilder::SegmentList::getEndPoint() const
{
    if (m_points.empty()) return Point();
    return isReversed() ? m_points.front() : m_points.back();
}

namespace {

// The drawn sweep: within plus or minus a full turn; a NaN stays NaN (no arc).
float ClampSweep(float sweep)
{
    if (sweep > kTwoPi) return kTwoPi;
    if (sweep < -kTwoPi) return -kTwoPi;
    return sweep;
}

bool IsFullTurn(float sweep) { return std::fabs(sweep) >= kTwoPi; }

// Arcs of at most half a turn each: no piece has coinciding ends, and a half
// turn or less never needs the large-arc flag.
int ArcPieceCount(float sweep)
{
    const float magnitude = std::fabs(sweep);
    if (!(magnitude > 0.0f)) return 0;
    return magnitude <= kPi ? 1 : 2;
}

} // namespace

PathBuilder::Ellipse::Ellipse(const Point& center, const Point& radii, float startAngle, float sweepAngle)
    : PrimitiveInterface(PrimitiveType::Ellipse, IsFullTurn(sweepAngle)), m_center(center), m_radii(radii),
      m_startAngle(startAngle), m_sweepAngle(ClampSweep(sweepAngle))
{
    m_start = pointAt(m_startAngle);
    m_end = IsFullTurn(m_sweepAngle) ? m_start : pointAt(m_startAngle + m_sweepAngle);
}

Point PathBuilder::Ellipse::pointAt(float angle) const
{
    return Point(m_center.X() + m_radii.X() * std::cos(angle), m_center.Y() + m_radii.Y() * std::sin(angle));
}

void PathBuilder::Ellipse::writeAsPath(PathBuilder& builder) const
{
    const int pieces = ArcPieceCount(m_sweepAngle);
    if (pieces == 0) return;
    // Forwards the arc runs from the start angle by the sweep; backwards from
    // the end by the opposite sweep. The last piece ends exactly on the stored
    // end point.
    // One negative radius mirrors the ellipse and so the direction of travel.
    const bool mirrored = (m_radii.X() < 0.0f) != (m_radii.Y() < 0.0f);
    const bool positive = (m_sweepAngle > 0.0f) != mirrored;
    const bool sweepFlag = isReversed() ? !positive : positive;
    const Point radii(std::fabs(m_radii.X()), std::fabs(m_radii.Y()));
    if (pieces == 2) {
        const float middle = m_startAngle + m_sweepAngle * 0.5f;
        builder.writeEllipticalArc(radii, 0.0f, false, sweepFlag, pointAt(middle));
    }
    builder.writeEllipticalArc(radii, 0.0f, false, sweepFlag, getEndPoint());
}

Point PathBuilder::Ellipse::getStartPoint() const { return isReversed() ? m_end : m_start; }
Point PathBuilder::Ellipse::getEndPoint() const { return isReversed() ? m_start : m_end; }

// ---------------------------------------------------------------- builder

PathBuilder::PathBuilder() = default;
PathBuilder::~PathBuilder() = default;

size_t PathBuilder::NumberTextCost(float value)
{
    const std::string text = kxStringUtils::fromFloatImpl(value, 20, 2);
    // A minus sign separates a number from the one before it by itself.
    return text.size() + ((!text.empty() && text[0] == '-') ? 0 : 1);
}

void PathBuilder::startContour(bool reorder)
{
    if (m_contourOpen) endContour();
    m_contourOpen = true;
    m_reorderContour = reorder;
}

void PathBuilder::endContour()
{
    if (!m_contourOpen) return;
    m_contourOpen = false;
    if (m_contour.empty()) return;
    if (m_reorderContour) reorderContourPath();
    bool first = true;
    for (const auto& primitive : m_contour) {
        writePrimitive(*primitive, !first);
        first = false;
    }
    // Every contour written here is closed, deliberately.
    m_content.emplace_back(T::ClosePath, std::vector<float>());
    m_currentPoint = m_contour.front()->getStartPoint();
    m_contour.clear();
}

void PathBuilder::cancelContour()
{
    m_contour.clear();
    m_contourOpen = false;
}

void PathBuilder::clearCurrentContour() { m_contour.clear(); }

void PathBuilder::clearBuilder()
{
    m_contour.clear();
    m_currentPoint.reset();
    m_content.clear();
    m_contourOpen = false;
    m_reorderContour = false;
    m_primitiveInProgress = false;
}

bool PathBuilder::isEmpty() const { return m_content.empty() && m_contour.empty(); }

ItemInterfacePointer<Path> PathBuilder::createPathItem(bool clearAfterwards)
{
    endContour();
    auto path = std::make_shared<Path>();
    if (clearAfterwards) {
        path->editCommands() = std::move(m_content);
        clearBuilder();
    } else {
        path->editCommands() = m_content;
    }
    return path;
}

void PathBuilder::appendLine(const Point& start, const Point& end)
{
    appendOrWrite(std::unique_ptr<PrimitiveInterface>(new Line(start, end)));
}

void PathBuilder::appendRect(const Point& position, const Point& size)
{
    const float x = position.X();
    const float y = position.Y();
    const float right = x + size.X();
    const float bottom = y + size.Y();
    std::vector<Point> points{Point(x, y), Point(right, y), Point(right, bottom), Point(x, bottom), Point(x, y)};
    appendOrWrite(std::unique_ptr<PrimitiveInterface>(new SegmentList(std::move(points))));
}

void PathBuilder::appendEllipse(const Point& center, const Point& radii, float startAngle, float sweepAngle)
{
    appendOrWrite(std::unique_ptr<PrimitiveInterface>(new Ellipse(center, radii, startAngle, sweepAngle)));
}

void PathBuilder::appendSegmentListMove(std::vector<Point>&& points)
{
    if (points.empty()) return;
    appendOrWrite(std::unique_ptr<PrimitiveInterface>(new SegmentList(std::move(points))));
}

void PathBuilder::appendSegmentListConst(const std::vector<Point>& points)
{
    if (points.empty()) return;
    appendOrWrite(std::unique_ptr<PrimitiveInterface>(new SegmentList(points)));
}

void PathBuilder::appendPrimitive(std::unique_ptr<PrimitiveInterface> primitive)
{
    if (primitive) appendOrWrite(std::move(primitive));
}

void PathBuilder::appendOrWrite(std::unique_ptr<PrimitiveInterface> primitive)
{
    if (m_contourOpen) {
        m_contour.push_back(std::move(primitive));
        return;
    }
    writePrimitive(*primitive, false);
}

void PathBuilder::writePrimitive(const PrimitiveInterface& primitive, bool connect)
{
    startPrimitive(connect, primitive.getStartPoint());
    primitive.writeAsPath(*this);
    endPrimitive(primitive.getEndPoint());
}

void PathBuilder::reorderContourPath()
{
    // Greedy nearest-end chaining: the first piece stays first; then the
    // candidate whose nearer end is strictly closest to the chain's end comes
    // next (the earlier one on ties), reversed when its end is the nearer one.
    std::vector<std::unique_ptr<PrimitiveInterface>> candidates;
    candidates.reserve(m_contour.size());
    for (auto& primitive : m_contour) candidates.push_back(std::move(primitive));
    m_contour.clear();
    m_contour.push_back(std::move(candidates.front()));
    std::vector<bool> taken(candidates.size(), false);
    taken[0] = true;
    for (size_t remaining = candidates.size() - 1; remaining > 0; --remaining) {
        const Point chainEnd = m_contour.back()->getEndPoint();
        size_t winner = candidates.size();
        bool winnerReversed = false;
        float best = kLargestDistance;
        size_t firstFree = candidates.size();
        bool firstFreeReversed = false;
        for (size_t i = 0; i < candidates.size(); ++i) {
            if (taken[i]) continue;
            // Distances are measured to the piece as it was given.
            candidates[i]->setReversed(false);
            const float dS = SquaredDistance(chainEnd, candidates[i]->getStartPoint());
            const float dE = SquaredDistance(chainEnd, candidates[i]->getEndPoint());
            const float distance = dS <= dE ? dS : dE;
            if (firstFree == candidates.size()) {
                firstFree = i;
                firstFreeReversed = dS > dE;
            }
            if (distance < best) {
                best = distance;
                winner = i;
                winnerReversed = dS > dE;
            }
        }
        // Only infinite or NaN distances leave no winner: keep the given order.
        if (winner == candidates.size()) {
            winner = firstFree;
            winnerReversed = firstFreeReversed;
        }
        candidates[winner]->setReversed(winnerReversed);
        taken[winner] = true;
        m_contour.push_back(std::move(candidates[winner]));
    }
}

void PathBuilder::startPrimitive(bool connect, const Point& start)
{
    m_primitiveInProgress = true;
    if (m_currentPoint && *m_currentPoint == start) {
        m_currentPoint = start;
        return;
    }
    if (m_currentPoint && connect)
        writeLineTo(start);
    else
        writeMove(start);
    m_currentPoint = start;
}

void PathBuilder::endPrimitive(const Point& end)
{
    m_currentPoint = end;
    m_primitiveInProgress = false;
}

void PathBuilder::writeMove(const Point& p)
{
    if (m_currentPoint) {
        const Point offset = p - *m_currentPoint;
        if (NumberTextCost(offset.X()) + NumberTextCost(offset.Y()) < NumberTextCost(p.X()) + NumberTextCost(p.Y())) {
            m_content.emplace_back(T::MoveToRel, std::vector<float>{offset.X(), offset.Y()});
            m_currentPoint = p;
            return;
        }
    }
    m_content.emplace_back(T::MoveToAbs, std::vector<float>{p.X(), p.Y()});
    m_currentPoint = p;
}

void PathBuilder::writeLineTo(const Point& p)
{
    if (m_currentPoint) {
        if (m_currentPoint->X() == p.X()) {
            writeVLineTo(p.Y());
            return;
        }
        if (m_currentPoint->Y() == p.Y()) {
            writeHLineTo(p.X());
            return;
        }
        const Point offset = p - *m_currentPoint;
        if (NumberTextCost(offset.X()) + NumberTextCost(offset.Y()) < NumberTextCost(p.X()) + NumberTextCost(p.Y())) {
            m_content.emplace_back(T::LineToRel, std::vector<float>{offset.X(), offset.Y()});
            m_currentPoint = p;
            return;
        }
    }
    m_content.emplace_back(T::LineToAbs, std::vector<float>{p.X(), p.Y()});
    m_currentPoint = p;
}

void PathBuilder::writeHLineTo(float x)
{
    if (m_currentPoint) {
        const float offset = x - m_currentPoint->X();
        if (NumberTextCost(offset) < NumberTextCost(x)) {
            m_content.emplace_back(T::HLineToRel, std::vector<float>{offset});
            m_currentPoint->X() = x;
            return;
        }
        m_content.emplace_back(T::HLineToAbs, std::vector<float>{x});
        m_currentPoint->X() = x;
        return;
    }
    // Without a current point path data starts from (0, 0).
    m_content.emplace_back(T::HLineToAbs, std::vector<float>{x});
    m_currentPoint = Point(x, 0.0f);
}

void PathBuilder::writeVLineTo(float y)
{
    if (m_currentPoint) {
        const float offset = y - m_currentPoint->Y();
        if (NumberTextCost(offset) < NumberTextCost(y)) {
            m_content.emplace_back(T::VLineToRel, std::vector<float>{offset});
            m_currentPoint->Y() = y;
            return;
        }
        m_content.emplace_back(T::VLineToAbs, std::vector<float>{y});
        m_currentPoint->Y() = y;
        return;
    }
    m_content.emplace_back(T::VLineToAbs, std::vector<float>{y});
    m_currentPoint = Point(0.0f, y);
}

void PathBuilder::writeEllipticalArc(const Point& radii, float rotation, bool largeArc, bool sweep, const Point& end)
{
    const float large = largeArc ? 1.0f : 0.0f;
    const float sweeping = sweep ? 1.0f : 0.0f;
    if (m_currentPoint) {
        const Point offset = end - *m_currentPoint;
        if (NumberTextCost(offset.X()) + NumberTextCost(offset.Y()) <
            NumberTextCost(end.X()) + NumberTextCost(end.Y())) {
            m_content.emplace_back(T::EllipticalArcRel, std::vector<float>{radii.X(), radii.Y(), rotation, large,
                                                                           sweeping, offset.X(), offset.Y()});
            m_currentPoint = end;
            return;
        }
    }
    m_content.emplace_back(T::EllipticalArcAbs,
                           std::vector<float>{radii.X(), radii.Y(), rotation, large, sweeping, end.X(), end.Y()});
    m_currentPoint = end;
}

} // namespace svg
} // namespace kx
