// CrossingResolver.cpp - finds where segments cross, touch or overlap and splits them there.
//
// Candidate pairs come from a recursive halving of the outline's box: a cell
// with few segments tests all its pairs, a fuller one is cut in two along its
// longer side and each segment goes to the halves its line passes through.
// Crossings of real outlines are few and local, so most cells are small and
// the search is near-linear; a cluster of segments through one point is
// tested pair by pair, which costs what its crossings cost anyway.
//
// Whether two segments meet is decided exactly (Orient2d). Where they cross
// is not representable in float: the point is rounded, which bends both
// segments a little and may make a bent piece cross a neighbour it missed
// before. Such new contacts only involve changed pieces, so each further
// round tests only pairs with a changed piece, until a round changes nothing
// (snap rounding in the manner of Hobby, "Practical segment intersection with
// finite precision output", 1999, with the float grid as the grid).
#include "CrossingResolver.h"

#include "ExactPredicates.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>

namespace kx {
namespace impl {
namespace {

constexpr int kMaxRounds = 16;
constexpr std::size_t kLeafSize = 12;
constexpr int kMaxDepth = 48;
// Pair tests and cell assignments allowed per segment, plus a fixed amount:
// beyond that the input has more crossings than a drawing can use.
constexpr std::size_t kWorkPerSegment = 256;
constexpr std::size_t kFixedWork = std::size_t(1) << 27;

struct Box {
    double x0, y0, x1, y1;
};

struct Cell {
    std::size_t begin;
    std::size_t end;
    Box box;
    int depth;
};

struct Split {
    uint32_t segment;
    uint32_t point;
    double along; // position along the segment, for ordering the pieces
};

uint64_t KeyOf(float x, float y) {
    uint32_t bx, by;
    std::memcpy(&bx, &x, 4);
    std::memcpy(&by, &y, 4);
    return (uint64_t(bx) << 32) | by;
}

class Resolver {
public:
    Resolver(std::vector<VertexSet::Coordinates>& points, std::vector<ArrangementSegment>& segments)
        : m_points(points), m_segments(segments), m_sortedCount(points.size()) {
        m_workBound = kFixedWork + kWorkPerSegment * segments.size();
    }

    void run() {
        m_dirty.assign(m_segments.size(), 1);
        for (int round = 0; round < kMaxRounds; ++round) {
            m_splits.clear();
            const std::size_t pointsBefore = m_points.size();
            m_pixelPhase = false;
            findContacts();
            if (m_splits.empty()) return;
            // Every segment passing through the pixel of a new crossing point
            // is bent through it too, so that rounding that point makes no
            // new crossing nearby (Hobby's hot pixels, on the float grid).
            m_pixels.clear();
            for (std::size_t p = pointsBefore; p < m_points.size(); ++p) m_pixels.push_back(static_cast<uint32_t>(p));
            if (!m_pixels.empty()) {
                m_pixelPhase = true;
                findContacts();
            }
            applySplits();
        }
        throw FillFailure("The crossings of the outline did not settle after " + std::to_string(kMaxRounds) +
                          " rounds of splitting.");
    }

private:
    bool lexLess(uint32_t p, uint32_t q) const {
        const VertexSet::Coordinates& a = m_points[p];
        const VertexSet::Coordinates& b = m_points[q];
        return a.x < b.x || (a.x == b.x && a.y < b.y);
    }

    int orient(uint32_t a, uint32_t b, uint32_t c) const {
        const VertexSet::Coordinates& pa = m_points[a];
        const VertexSet::Coordinates& pb = m_points[b];
        const VertexSet::Coordinates& pc = m_points[c];
        return Orient2d(pa.x, pa.y, pb.x, pb.y, pc.x, pc.y);
    }

    void spend(std::size_t work) {
        m_work += work;
        if (m_work > m_workBound)
            throw FillFailure("The outline has too many crossings to resolve (more than " +
                              std::to_string(m_workBound) + " segment tests).");
    }

    // The index of the point with these coordinates, added when new.
    uint32_t pointAt(float x, float y) {
        const double dx = x, dy = y;
        // The input points are sorted and unique: search them first.
        auto first = m_points.begin(), last = m_points.begin() + static_cast<std::ptrdiff_t>(m_sortedCount);
        auto it = std::lower_bound(first, last, VertexSet::Coordinates{dx, dy},
                                   [](const VertexSet::Coordinates& a, const VertexSet::Coordinates& b) {
                                       return a.x < b.x || (a.x == b.x && a.y < b.y);
                                   });
        if (it != last && it->x == dx && it->y == dy) return static_cast<uint32_t>(it - m_points.begin());
        const auto found = m_added.find(KeyOf(x, y));
        if (found != m_added.end()) return found->second;
        if (m_points.size() >= kNone - 1) throw FillFailure("The outline has too many crossing points.");
        const uint32_t index = static_cast<uint32_t>(m_points.size());
        m_points.push_back(VertexSet::Coordinates{dx, dy});
        m_added.emplace(KeyOf(x, y), index);
        return index;
    }

    void addSplit(uint32_t segment, uint32_t point) {
        const ArrangementSegment& s = m_segments[segment];
        const VertexSet::Coordinates& a = m_points[s.a];
        const VertexSet::Coordinates& b = m_points[s.b];
        const VertexSet::Coordinates& p = m_points[point];
        m_splits.push_back(Split{segment, point, (p.x - a.x) * (b.x - a.x) + (p.y - a.y) * (b.y - a.y)});
    }

    // True when the point lies in the cell being tested, so that of the cells
    // meeting a pair only those around the contact report it. The cell is
    // widened by a few float steps: a rounded crossing point may sit just
    // outside the cell where the exact one lies, and a contact reported twice
    // costs only a duplicate split.
    bool inCell(double x, double y) const {
        const double mx = 1e-6 * (std::fabs(m_cell.x0) + std::fabs(m_cell.x1)) + 1e-30;
        const double my = 1e-6 * (std::fabs(m_cell.y0) + std::fabs(m_cell.y1)) + 1e-30;
        return x >= m_cell.x0 - mx && x <= m_cell.x1 + mx && y >= m_cell.y0 - my && y <= m_cell.y1 + my;
    }
    bool inCell(uint32_t point) const { return inCell(m_points[point].x, m_points[point].y); }

    // True when c, known to be on the line of (a, b), lies strictly between them.
    bool strictlyBetween(uint32_t a, uint32_t b, uint32_t c) const {
        return c != a && c != b && lexLess(a, c) && lexLess(c, b);
    }

    void testPair(uint32_t i, uint32_t j) {
        const ArrangementSegment& s = m_segments[i];
        const ArrangementSegment& t = m_segments[j];
        if (s.a == t.a && s.b == t.b) return; // the same segment twice: merged later
        const int o1 = orient(s.a, s.b, t.a);
        const int o2 = orient(s.a, s.b, t.b);
        if (o1 * o2 > 0) return;
        const int o3 = orient(t.a, t.b, s.a);
        const int o4 = orient(t.a, t.b, s.b);
        if (o3 * o4 > 0) return;
        if (o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0) {
            addCrossing(i, j);
            return;
        }
        // Contact at an end point: a vertex inside the other segment, or
        // collinear segments overlapping (each end inside the other is cut).
        if (o1 == 0 && strictlyBetween(s.a, s.b, t.a) && inCell(t.a)) addSplit(i, t.a);
        if (o2 == 0 && strictlyBetween(s.a, s.b, t.b) && inCell(t.b)) addSplit(i, t.b);
        if (o3 == 0 && strictlyBetween(t.a, t.b, s.a) && inCell(s.a)) addSplit(j, s.a);
        if (o4 == 0 && strictlyBetween(t.a, t.b, s.b) && inCell(s.b)) addSplit(j, s.b);
    }

    // Both segments properly cross: bend both through the rounded crossing point.
    void addCrossing(uint32_t i, uint32_t j) {
        if (i > j) std::swap(i, j); // the same point whichever cell finds the pair
        const ArrangementSegment& s = m_segments[i];
        const ArrangementSegment& t = m_segments[j];
        const VertexSet::Coordinates a = m_points[s.a], b = m_points[s.b];
        const VertexSet::Coordinates c = m_points[t.a], d = m_points[t.b];
        const double d1 = (d.x - c.x) * (a.y - c.y) - (d.y - c.y) * (a.x - c.x);
        const double d2 = (d.x - c.x) * (b.y - c.y) - (d.y - c.y) * (b.x - c.x);
        double r = d1 / (d1 - d2);
        if (!(r >= 0.0)) r = 0.0;
        if (!(r <= 1.0)) r = 1.0;
        const double px = a.x + r * (b.x - a.x), py = a.y + r * (b.y - a.y);
        // The point lies in both segments' boxes; rounding must not move it out.
        const double loX = std::max(std::min(a.x, b.x), std::min(c.x, d.x));
        const double hiX = std::min(std::max(a.x, b.x), std::max(c.x, d.x));
        const double loY = std::max(std::min(a.y, b.y), std::min(c.y, d.y));
        const double hiY = std::min(std::max(a.y, b.y), std::max(c.y, d.y));
        float fx = static_cast<float>(std::min(std::max(px, loX), hiX));
        float fy = static_cast<float>(std::min(std::max(py, loY), hiY));
        fx += 0.0f; // -0 becomes +0, one point for both zeros
        fy += 0.0f;
        // A pair met in several cells is reported by the cells holding its point.
        if (!inCell(fx, fy)) return;
        const uint32_t p = pointAt(fx, fy);
        addSplit(i, p);
        addSplit(j, p);
    }

    // Items of the search: segments first, then the hot pixels of this round.
    bool isPixel(uint32_t item) const { return item >= m_segments.size(); }
    uint32_t pixelPoint(uint32_t item) const { return m_pixels[item - m_segments.size()]; }
    // Searched for contacts: changed segments, or pixels in the pixel phase.
    bool isActive(uint32_t item) const { return m_pixelPhase ? isPixel(item) : m_dirty[item] != 0; }

    // The square of points that round to the point's coordinates: half the
    // gap to the neighbouring floats on each side.
    Box pixelBox(uint32_t point) const {
        const VertexSet::Coordinates& p = m_points[point];
        auto half = [](double v) {
            const float f = static_cast<float>(v);
            const double up = double(std::nextafter(f, std::numeric_limits<float>::infinity())) - v;
            const double down = v - double(std::nextafter(f, -std::numeric_limits<float>::infinity()));
            return 0.5 * std::max(up, down);
        };
        const double hx = half(p.x), hy = half(p.y);
        return Box{p.x - hx, p.y - hy, p.x + hx, p.y + hy};
    }

    Box itemBox(uint32_t item) const {
        return isPixel(item) ? pixelBox(pixelPoint(item)) : segmentBox(m_segments[item]);
    }

    // Whether an item goes into a half cell, from the boxes of this search.
    bool itemTouches(uint32_t item, const Box& box) const {
        const Box& b = m_boxes[item];
        if (b.x1 < box.x0 || b.x0 > box.x1 || b.y1 < box.y0 || b.y0 > box.y1) return false;
        // A segment inside the box touches it, as touchesLine() would say;
        // only the segments over the box's edges need its corner tests.
        if (isPixel(item) || (b.x0 >= box.x0 && b.x1 <= box.x1 && b.y0 >= box.y0 && b.y1 <= box.y1)) return true;
        return touchesLine(m_segments[item], box);
    }

    // A segment through a hot pixel (its box, decided exactly) is bent through the pixel's point.
    void testPixel(uint32_t segment, uint32_t point) {
        const ArrangementSegment& s = m_segments[segment];
        if (point == s.a || point == s.b) return;
        const Box b = pixelBox(point);
        const VertexSet::Coordinates& a = m_points[s.a];
        const VertexSet::Coordinates& c = m_points[s.b];
        int positive = 0, negative = 0;
        const double xs[2] = {b.x0, b.x1}, ys[2] = {b.y0, b.y1};
        for (double x : xs)
            for (double y : ys) {
                const int o = Orient2d(a.x, a.y, c.x, c.y, x, y);
                positive += o > 0;
                negative += o < 0;
            }
        if (positive == 4 || negative == 4) return;
        if (inCell(point)) addSplit(segment, point);
    }

    Box segmentBox(const ArrangementSegment& s) const {
        const VertexSet::Coordinates& a = m_points[s.a];
        const VertexSet::Coordinates& b = m_points[s.b];
        return Box{a.x, std::min(a.y, b.y), b.x, std::max(a.y, b.y)};
    }

    // Conservative: true unless the line of a segment whose box meets the
    // box certainly misses it (all four corners clearly on one side). Never
    // false for a segment lying inside the box: the corners of a box that
    // holds a point of the line are on both sides of it or on it, and the
    // rounding of each corner's determinant is far below the slack.
    bool touchesLine(const ArrangementSegment& s, const Box& box) const {
        const VertexSet::Coordinates& a = m_points[s.a];
        const VertexSet::Coordinates& b = m_points[s.b];
        const double dx = b.x - a.x, dy = b.y - a.y;
        int positive = 0, negative = 0;
        const double xs[2] = {box.x0, box.x1}, ys[2] = {box.y0, box.y1};
        for (double x : xs)
            for (double y : ys) {
                const double u = dx * (y - a.y), v = dy * (x - a.x);
                const double det = u - v;
                const double slack = 1e-9 * (std::fabs(u) + std::fabs(v));
                if (det > slack) ++positive;
                else if (det < -slack) ++negative;
                else return true;
            }
        return positive == 0 || negative == 0 ? false : true;
    }

    void testCell(std::size_t begin, std::size_t end, const Box& box) {
        m_cell = box;
        const std::size_t count = end - begin;
        spend(count * (count - 1) / 2);
        for (std::size_t x = begin; x < end; ++x) {
            const uint32_t i = m_ids[x];
            const Box bi = m_boxes[i];
            for (std::size_t y = x + 1; y < end; ++y) {
                const uint32_t j = m_ids[y];
                if (!isActive(i) && !isActive(j)) continue;
                const Box& bj = m_boxes[j];
                if (bj.x1 < bi.x0 || bj.x0 > bi.x1 || bj.y1 < bi.y0 || bj.y0 > bi.y1) continue;
                if (!m_pixelPhase) {
                    testPair(i, j);
                } else if (isPixel(i) != isPixel(j)) {
                    testPixel(isPixel(i) ? j : i, pixelPoint(isPixel(i) ? i : j));
                }
            }
        }
    }

    void findContacts() {
        const std::size_t n = m_segments.size() + (m_pixelPhase ? m_pixels.size() : 0);
        m_ids.clear();
        // Boxes stay as they are during a search: splits are applied after it.
        m_boxes.resize(n);
        Box root{0.0, 0.0, 0.0, 0.0};
        bool first = true;
        std::size_t dirtyCount = 0;
        for (uint32_t i = 0; i < n; ++i) {
            const Box b = itemBox(i);
            m_boxes[i] = b;
            if (first) {
                root = b;
                first = false;
            } else {
                root.x0 = std::min(root.x0, b.x0);
                root.y0 = std::min(root.y0, b.y0);
                root.x1 = std::max(root.x1, b.x1);
                root.y1 = std::max(root.y1, b.y1);
            }
            m_ids.push_back(i);
            dirtyCount += isActive(i);
        }
        if (dirtyCount == 0) return;
        spend(n);
        m_cells.clear();
        m_cells.push_back(Cell{0, n, root, 0});
        // Depth first; each cell's range lies at the end of m_ids while it is
        // on top of the stack, so finished ranges are dropped by a resize.
        while (!m_cells.empty()) {
            const Cell cell = m_cells.back();
            m_cells.pop_back();
            const std::size_t count = cell.end - cell.begin;
            if (count <= kLeafSize || cell.depth >= kMaxDepth) {
                if (count > 1) testCell(cell.begin, cell.end, cell.box);
                m_ids.resize(m_cells.empty() ? 0 : m_cells.back().end);
                continue;
            }
            const bool alongX = (cell.box.x1 - cell.box.x0) >= (cell.box.y1 - cell.box.y0);
            Box low = cell.box, high = cell.box;
            if (alongX) {
                const double mid = 0.5 * (cell.box.x0 + cell.box.x1);
                low.x1 = mid;
                high.x0 = mid;
            } else {
                const double mid = 0.5 * (cell.box.y0 + cell.box.y1);
                low.y1 = mid;
                high.y0 = mid;
            }
            // Children go after the parent's range: high first, then low, so
            // that low (on top of the stack) ends the vector.
            const Box halves[2] = {high, low};
            std::size_t starts[3];
            std::size_t dirtyIn[2] = {0, 0};
            // One pass over the cell: the high half's items go on m_ids at
            // once, the low half's wait in m_lowIds and follow them.
            starts[0] = m_ids.size();
            m_lowIds.clear();
            for (std::size_t x = cell.begin; x < cell.end; ++x) {
                const uint32_t id = m_ids[x];
                const bool active = isActive(id);
                if (itemTouches(id, halves[0])) {
                    m_ids.push_back(id);
                    dirtyIn[0] += active;
                }
                if (itemTouches(id, halves[1])) {
                    m_lowIds.push_back(id);
                    dirtyIn[1] += active;
                }
            }
            spend(cell.end - cell.begin);
            spend(cell.end - cell.begin);
            starts[1] = m_ids.size();
            m_ids.insert(m_ids.end(), m_lowIds.begin(), m_lowIds.end());
            starts[2] = m_ids.size();
            const std::size_t highCount = starts[1] - starts[0], lowCount = starts[2] - starts[1];
            if (highCount == count && lowCount == count) {
                // Halving separates nothing: every segment passes through
                // both halves (a bundle through one point). Test the pairs here.
                m_ids.resize(starts[0]);
                testCell(cell.begin, cell.end, cell.box);
                m_ids.resize(m_cells.empty() ? 0 : m_cells.back().end);
                continue;
            }
            // Cells without a changed segment hold no new contact.
            if (dirtyIn[0] > 0) m_cells.push_back(Cell{starts[0], starts[1], high, cell.depth + 1});
            if (dirtyIn[1] > 0) m_cells.push_back(Cell{starts[1], starts[2], low, cell.depth + 1});
            if (m_cells.empty() || m_cells.back().end != m_ids.size())
                m_ids.resize(m_cells.empty() ? 0 : m_cells.back().end);
        }
    }

    void applySplits() {
        std::sort(m_splits.begin(), m_splits.end(), [](const Split& l, const Split& r) {
            if (l.segment != r.segment) return l.segment < r.segment;
            if (l.along != r.along) return l.along < r.along;
            return l.point < r.point;
        });
        std::fill(m_dirty.begin(), m_dirty.end(), 0);
        for (std::size_t i = 0; i < m_splits.size();) {
            const uint32_t index = m_splits[i].segment;
            const ArrangementSegment original = m_segments[index];
            uint32_t from = original.a;
            bool firstPiece = true;
            auto addPiece = [&](uint32_t to) {
                if (to == from) return;
                ArrangementSegment piece = lexLess(from, to) ? ArrangementSegment{from, to, original.delta}
                                                             : ArrangementSegment{to, from, -original.delta};
                if (firstPiece) {
                    m_segments[index] = piece;
                    m_dirty[index] = 1;
                    firstPiece = false;
                } else {
                    if (m_segments.size() >= kNone) throw FillFailure("The outline has too many crossing points.");
                    m_segments.push_back(piece);
                    m_dirty.push_back(1);
                }
                from = to;
            };
            for (; i < m_splits.size() && m_splits[i].segment == index; ++i) {
                const uint32_t p = m_splits[i].point;
                if (p == original.b) continue;
                addPiece(p);
            }
            addPiece(original.b); // when every split point was an end, the segment stays as it was
        }
    }

    std::vector<VertexSet::Coordinates>& m_points;
    std::vector<ArrangementSegment>& m_segments;
    const std::size_t m_sortedCount;
    std::unordered_map<uint64_t, uint32_t> m_added;
    std::vector<uint8_t> m_dirty;
    std::vector<uint32_t> m_ids;
    std::vector<Box> m_boxes; // by item: the box of each segment and hot pixel of the current search
    std::vector<uint32_t> m_lowIds; // the low half's items while a cell is split
    std::vector<Cell> m_cells;
    std::vector<Split> m_splits;
    std::vector<uint32_t> m_pixels; // points made by this round's crossings
    bool m_pixelPhase = false;
    Box m_cell{0.0, 0.0, 0.0, 0.0}; // the cell whose pairs are being tested
    std::size_t m_work = 0;
    std::size_t m_workBound = 0;
};

} // namespace

void ResolveCrossings(std::vector<VertexSet::Coordinates>& points, std::vector<ArrangementSegment>& segments) {
    Resolver resolver(points, segments);
    resolver.run();
}

} // namespace impl
} // namespace kx
