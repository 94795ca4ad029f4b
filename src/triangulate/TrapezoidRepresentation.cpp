// TrapezoidRepresentation.cpp - randomised incremental trapezoidal map.
//
// The construction follows the classic randomised incremental scheme (Seidel
// 1991; de Berg et al., "Computational Geometry", chapter 6): segments are
// inserted in (biased) random order, the trapezoids a new segment crosses are found by
// locating its left end in the search DAG and walking right through
// neighbours, and those trapezoids are replaced by the pieces left, right,
// above and below the segment. Pieces above (or below) the segment that are
// no longer separated by a vertical extension are merged.
#include "TrapezoidRepresentation.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <stdexcept>

namespace kx {
namespace impl {

void FailTriangulation() {
    throw std::runtime_error("Shape triangulation failed");
}

namespace {

// Rounds smaller than this are not worth a pass over all waiting segments.
constexpr std::size_t kRelocateFromRound = 1024;

bool strictlyInside(const MapSegment& s, uint32_t v) {
    return s.left < v && v < s.right;
}

} // namespace

TrapezoidRepresentation::TrapezoidRepresentation(const VertexSet& vertices, const LargeArray<MapSegment>& segments)
    : m_vertices(vertices), m_segments(segments) {}

// Notes that `vertex` lies inside segment `s`; the build stops there (false).
bool TrapezoidRepresentation::stopAtSplit(const MapSegment& s, uint32_t vertex) {
    m_split = SegmentSplit{s.left, s.right, vertex};
    return false;
}

uint32_t TrapezoidRepresentation::newTrapezoid(uint32_t top, uint32_t bottom, uint32_t leftp, uint32_t rightp) {
    uint32_t index;
    if (!m_free.empty()) {
        index = m_free.back();
        m_free.pop_back();
    } else {
        index = static_cast<uint32_t>(m_traps.size());
        m_traps.emplace_back();
    }
    Trapezoid& t = m_traps[index];
    t = Trapezoid();
    t.top = top;
    t.bottom = bottom;
    t.leftp = leftp;
    t.rightp = rightp;
    t.node = newNode(QueryNode::Leaf, index, kNone, kNone);
    return index;
}

uint32_t TrapezoidRepresentation::newNode(QueryNode::Kind kind, uint32_t key, uint32_t first, uint32_t second) {
    m_nodes.push_back(QueryNode{kind, key, first, second});
    return static_cast<uint32_t>(m_nodes.size() - 1);
}

// Finds the trapezoid that segment (p, q) enters just right of p. A point equal
// to an x-node's vertex goes right (the segment starts there and runs right);
// a point on a y-node's segment must be a shared left end, and the side is
// decided by where q lies. Returns kNone when p or q lies inside a segment
// (see stopAtSplit).
uint32_t TrapezoidRepresentation::locate(uint32_t start, uint32_t p, uint32_t q) {
    const VertexSet::Coordinates pc = m_vertices.at[p];
    uint32_t n = start;
    for (std::size_t guard = 0; guard <= m_nodes.size(); ++guard) {
        const QueryNode& node = m_nodes[n];
        switch (node.kind) {
        case QueryNode::Leaf:
            return node.key;
        case QueryNode::XNode:
            n = (p < node.key) ? node.first : node.second;
            break;
        case QueryNode::YNode: {
            const MapSegment& t = m_segments[node.key];
            int side = SideOf(t, pc.x, pc.y);
            if (side == 0) {
                if (strictlyInside(t, p)) { // p touches the inside of t
                    stopAtSplit(t, p);
                    return kNone;
                }
                if (p != t.left) FailTriangulation();
                side = SideOf(t, m_vertices.x(q), m_vertices.y(q));
                if (side == 0) {
                    // Collinear from a shared left end: the shorter one ends inside the other.
                    if (q < t.right) {
                        stopAtSplit(t, q);
                        return kNone;
                    }
                    if (q > t.right) {
                        stopAtSplit(MapSegment{p, q, 0, 0.0, 0.0, 0.0, 0.0}, t.right);
                        return kNone;
                    }
                    FailTriangulation();
                }
            }
            n = (side > 0) ? node.first : node.second;
            break;
        }
        }
    }
    FailTriangulation();
}

// The new segment must stay strictly between the top and bottom segments of
// every trapezoid it walks through; touching or crossing one of them means the
// outline crosses itself (or a vertex lies inside a segment: false).
bool TrapezoidRepresentation::checkAgainstBoundary(const MapSegment& s, uint32_t boundary) {
    if (boundary == kNone) return true;
    const MapSegment& t = m_segments[boundary];
    if (s.left == t.left || s.right == t.right) {
        const bool sharedLeft = s.left == t.left;
        const uint32_t other = sharedLeft ? s.right : s.left;
        if (SideOf(t, sharedLeft ? s.rightX : s.leftX, sharedLeft ? s.rightY : s.leftY) != 0) return true;
        // Collinear from a shared end: an end of one lies inside the other.
        if (strictlyInside(t, other)) return stopAtSplit(t, other);
        const uint32_t tOther = sharedLeft ? t.right : t.left;
        if (strictlyInside(s, tOther)) return stopAtSplit(s, tOther);
        FailTriangulation();
    }
    if (s.left == t.right || s.right == t.left) return true; // consecutive, lexicographically disjoint
    const int o1 = SideOf(s, t.leftX, t.leftY);
    const int o2 = SideOf(s, t.rightX, t.rightY);
    if (o1 * o2 > 0) return true;
    const int o3 = SideOf(t, s.leftX, s.leftY);
    const int o4 = SideOf(t, s.rightX, s.rightY);
    if (o1 == 0 && o2 == 0) {
        // Collinear: they overlap when their lexicographic ranges do.
        const uint32_t lo = s.left > t.left ? s.left : t.left;
        const uint32_t hi = s.right < t.right ? s.right : t.right;
        if (lo >= hi) return true;
    } else if (o3 * o4 > 0) {
        return true;
    }
    // The segments meet. Touching at an end is a legal drawing handled by
    // splitting; a proper crossing is not.
    if (o1 == 0 && strictlyInside(s, t.left)) return stopAtSplit(s, t.left);
    if (o2 == 0 && strictlyInside(s, t.right)) return stopAtSplit(s, t.right);
    if (o3 == 0 && strictlyInside(t, s.left)) return stopAtSplit(t, s.left);
    if (o4 == 0 && strictlyInside(t, s.right)) return stopAtSplit(t, s.right);
    FailTriangulation();
}

// Returns false, with nothing changed, when the walk meets a vertex inside a
// segment (see stopAtSplit).
bool TrapezoidRepresentation::insert(uint32_t segment) {
    const MapSegment s = m_segments[segment];
    const uint32_t p = s.left;
    const uint32_t q = s.right;

    // Walk the trapezoids crossed by the segment, left to right.
    m_path.clear();
    uint32_t d = locate(m_start[segment], p, q);
    if (d == kNone) return false;
    if (m_traps[d].leftp != kNone && m_traps[d].leftp > p) FailTriangulation();
    for (;;) {
        m_path.push_back(d);
        const Trapezoid& t = m_traps[d];
        if (!checkAgainstBoundary(s, t.top) || !checkAgainstBoundary(s, t.bottom)) return false;
        const uint32_t r = t.rightp;
        if (r == kNone || q <= r) break;
        const int side = SideOf(s, m_vertices.x(r), m_vertices.y(r));
        if (side == 0) return stopAtSplit(s, r); // a vertex inside the new segment
        d = (side > 0) ? t.lowerRight : t.upperRight;
        if (d == kNone || m_path.size() > m_traps.size()) FailTriangulation();
    }

    const std::size_t k = m_path.size() - 1;
    const Trapezoid first = m_traps[m_path.front()];
    const Trapezoid last = m_traps[m_path.back()];
    const bool hasLeft = first.leftp != p;
    const bool hasRight = last.rightp != q;

    uint32_t left = kNone;
    if (hasLeft) {
        left = newTrapezoid(first.top, first.bottom, first.leftp, p);
        Trapezoid& a = m_traps[left];
        a.upperLeft = first.upperLeft;
        a.lowerLeft = first.lowerLeft;
        if (first.upperLeft != kNone) m_traps[first.upperLeft].upperRight = left;
        if (first.lowerLeft != kNone) m_traps[first.lowerLeft].lowerRight = left;
    }
    uint32_t right = kNone;
    if (hasRight) {
        right = newTrapezoid(last.top, last.bottom, q, last.rightp);
        Trapezoid& b = m_traps[right];
        b.upperRight = last.upperRight;
        b.lowerRight = last.lowerRight;
        if (last.upperRight != kNone) m_traps[last.upperRight].upperLeft = right;
        if (last.lowerRight != kNone) m_traps[last.lowerRight].lowerLeft = right;
    }

    // The pieces above and below the segment inside the first trapezoid.
    uint32_t upper = newTrapezoid(first.top, segment, p, kNone);
    uint32_t lower = newTrapezoid(segment, first.bottom, p, kNone);
    if (hasLeft) {
        m_traps[left].upperRight = upper;
        m_traps[left].lowerRight = lower;
        m_traps[upper].upperLeft = left;
        m_traps[lower].lowerLeft = left;
    } else {
        m_traps[upper].upperLeft = first.upperLeft;
        m_traps[lower].lowerLeft = first.lowerLeft;
        if (first.upperLeft != kNone) m_traps[first.upperLeft].upperRight = upper;
        if (first.lowerLeft != kNone) m_traps[first.lowerLeft].lowerRight = lower;
    }

    // Replace the crossed trapezoids left to right. At each vertical side the
    // vertex r is either above the segment (the upper piece ends there and the
    // lower one goes on, merged) or below it (the other way round).
    for (std::size_t j = 0; j <= k; ++j) {
        const uint32_t old = m_path[j];
        const uint32_t upperHere = upper;
        const uint32_t lowerHere = lower;
        if (j < k) {
            const Trapezoid cur = m_traps[old];
            const Trapezoid next = m_traps[m_path[j + 1]];
            const uint32_t r = cur.rightp;
            if (SideOf(s, m_vertices.x(r), m_vertices.y(r)) > 0) {
                const uint32_t nextUpper = newTrapezoid(next.top, segment, r, kNone);
                Trapezoid& u = m_traps[upper];
                u.rightp = r;
                u.upperRight = cur.upperRight;
                u.lowerRight = nextUpper;
                if (cur.upperRight != kNone) m_traps[cur.upperRight].upperLeft = upper;
                m_traps[nextUpper].lowerLeft = upper;
                m_traps[nextUpper].upperLeft = next.upperLeft;
                if (next.upperLeft != kNone) m_traps[next.upperLeft].upperRight = nextUpper;
                upper = nextUpper;
            } else {
                const uint32_t nextLower = newTrapezoid(segment, next.bottom, r, kNone);
                Trapezoid& l = m_traps[lower];
                l.rightp = r;
                l.lowerRight = cur.lowerRight;
                l.upperRight = nextLower;
                if (cur.lowerRight != kNone) m_traps[cur.lowerRight].lowerLeft = lower;
                m_traps[nextLower].upperLeft = lower;
                m_traps[nextLower].lowerLeft = next.lowerLeft;
                if (next.lowerLeft != kNone) m_traps[next.lowerLeft].lowerRight = nextLower;
                lower = nextLower;
            }
        }

        // The old leaf turns into the test against the segment, wrapped in the
        // tests against its ends where a left or right piece was cut off.
        const uint32_t leaf = m_traps[old].node;
        m_traps[old].node = kNone;
        m_free.push_back(old); // nothing reads it any more: later pieces may take the slot
        const QueryNode split{QueryNode::YNode, segment, m_traps[upperHere].node, m_traps[lowerHere].node};
        const bool cutLeft = (j == 0 && hasLeft);
        const bool cutRight = (j == k && hasRight);
        if (!cutLeft && !cutRight) {
            m_nodes[leaf] = split;
        } else {
            uint32_t inner = newNode(split.kind, split.key, split.first, split.second);
            if (cutRight) {
                const QueryNode xq{QueryNode::XNode, q, inner, m_traps[right].node};
                if (!cutLeft) {
                    m_nodes[leaf] = xq;
                    continue;
                }
                inner = newNode(xq.kind, xq.key, xq.first, xq.second);
            }
            m_nodes[leaf] = QueryNode{QueryNode::XNode, p, m_traps[left].node, inner};
        }
    }

    m_traps[upper].rightp = q;
    m_traps[lower].rightp = q;
    if (hasRight) {
        m_traps[right].upperLeft = upper;
        m_traps[right].lowerLeft = lower;
        m_traps[upper].upperRight = right;
        m_traps[lower].lowerRight = right;
    } else {
        m_traps[upper].upperRight = last.upperRight;
        m_traps[lower].lowerRight = last.lowerRight;
        if (last.upperRight != kNone) m_traps[last.upperRight].upperLeft = upper;
        if (last.lowerRight != kNone) m_traps[last.lowerRight].lowerLeft = lower;
    }
    return true;
}

bool TrapezoidRepresentation::build(uint32_t seed, bool parityOnly) {
    const std::size_t n = m_segments.size();
    m_traps.clear();
    m_nodes.clear();
    m_free.clear();
    m_traps.reserve(3 * n + 8);
    m_nodes.reserve(8 * n + 8);
    newTrapezoid(kNone, kNone, kNone, kNone); // the whole plane; its leaf is the root, node 0

    std::vector<uint32_t> order(n);
    for (std::size_t i = 0; i < n; ++i) order[i] = static_cast<uint32_t>(i);
    std::mt19937 rng(seed);
    for (std::size_t i = n; i > 1; --i) {
        const std::size_t j = static_cast<std::size_t>(rng() % i);
        std::swap(order[i - 1], order[j]);
    }
    // Biased randomised insertion order: the shuffled segments are cut into
    // rounds of doubling size, and each round is inserted in index order,
    // which is left-to-right order of the segments' left ends. Every round is
    // a random sample, which keeps the search DAG shallow as plain random
    // order does, while inside a round consecutive insertions touch
    // neighbouring parts of the map: on large input that cache locality is
    // worth several times the speed. (Measured against input order and
    // Z-order of midpoints, this sweep order was fastest overall.) Inserting
    // everything in one sorted order would let the DAG degenerate into long
    // chains.
    //
    // After each large round every segment still waiting remembers the leaf
    // its left end falls in (Seidel's trick); a leaf later turns into a
    // subtree in place, so the next search starts there, not at the root.
    m_start.assign(n, 0);
    std::size_t done = 0;
    for (std::size_t roundSize = 1; done < n; roundSize *= 2) {
        const std::size_t end = (n - done > roundSize) ? done + roundSize : n;
        std::sort(order.begin() + static_cast<std::ptrdiff_t>(done), order.begin() + static_cast<std::ptrdiff_t>(end));
        for (; done < end; ++done) {
            if (!insert(order[done])) return false;
            m_start[order[done]] = kNone; // inserted: needs no start any more
        }
        if (done == n || roundSize < kRelocateFromRound) continue;
        for (std::size_t s = 0; s < n; ++s) {
            if (m_start[s] == kNone) continue;
            const uint32_t d = locate(m_start[s], m_segments[s].left, m_segments[s].right);
            if (d == kNone) return false;
            m_start[s] = m_traps[d].node;
        }
    }
    labelWindings(parityOnly);
    return true;
}

// Winding numbers: zero on unbounded trapezoids, unchanged across vertical
// sides, changed by the segment's delta across a segment. One walk from the
// trapezoids unbounded below labels the map and checks every constraint as
// it goes: a trapezoid compares itself with each of its side neighbours and,
// across its top and bottom segments, with the one trapezoid recorded on the
// other side (all trapezoids below a segment check the same one above it, and
// that one checks one below, so every pair across a segment is tied).
// Input that is not a union of closed outlines is refused rather than filled
// wrongly.
void TrapezoidRepresentation::labelWindings(bool parityOnly) {
    const std::size_t segCount = m_segments.size();
    m_above.assign(segCount, kNone);
    m_below.assign(segCount, kNone);
    const int32_t unknown = INT32_MIN;
    std::vector<uint32_t> stack;
    std::size_t live = 0;
    for (uint32_t i = 0; i < m_traps.size(); ++i) {
        Trapezoid& t = m_traps[i];
        t.winding = unknown;
        if (t.node == kNone) continue;
        ++live;
        if (t.bottom != kNone) m_above[t.bottom] = i;
        if (t.top != kNone) m_below[t.top] = i;
        if (t.bottom == kNone) {
            t.winding = 0;
            stack.push_back(i);
        }
    }
    auto combine = [parityOnly](int32_t w, int32_t delta) -> int32_t {
        return parityOnly ? ((w + delta) & 1) : w + delta;
    };
    std::size_t labelled = stack.size(); // live trapezoids labelled so far
    auto visit = [&](uint32_t i, int32_t w) {
        Trapezoid& t = m_traps[i];
        if (t.winding == unknown) {
            t.winding = w;
            stack.push_back(i);
            if (t.node != kNone) ++labelled;
        } else if (t.winding != w) {
            FailTriangulation();
        }
    };
    while (!stack.empty()) {
        const uint32_t i = stack.back();
        stack.pop_back();
        const Trapezoid& t = m_traps[i];
        if (t.node != kNone && t.top == kNone && t.winding != 0) FailTriangulation();
        if (t.upperLeft != kNone) visit(t.upperLeft, t.winding);
        if (t.lowerLeft != kNone) visit(t.lowerLeft, t.winding);
        if (t.upperRight != kNone) visit(t.upperRight, t.winding);
        if (t.lowerRight != kNone) visit(t.lowerRight, t.winding);
        // Across a segment there is always a live trapezoid.
        const uint32_t above = t.top != kNone ? m_above[t.top] : kNone;
        const uint32_t below = t.bottom != kNone ? m_below[t.bottom] : kNone;
        if (above != kNone) visit(above, combine(t.winding, m_segments[t.top].delta));
        else if (t.top != kNone && t.node != kNone) FailTriangulation();
        if (below != kNone) visit(below, combine(t.winding, -m_segments[t.bottom].delta));
        else if (t.bottom != kNone && t.node != kNone) FailTriangulation();
    }
    if (labelled != live) FailTriangulation(); // a trapezoid the walk did not reach
}

} // namespace impl
} // namespace kx
