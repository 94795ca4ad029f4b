// TrapezoidRepresentation.h - trapezoidal map of non-crossing segments (internal).
#ifndef KX_TRIANGULATE_TRAPEZOIDREPRESENTATION_H
#define KX_TRIANGULATE_TRAPEZOIDREPRESENTATION_H

#include "ExactPredicates.h"
#include "LargePageAllocator.h"

#include <cstdint>
#include <vector>

namespace kx {
namespace impl {

/// "No trapezoid / segment / vertex"; for a trapezoid side it means the side is at infinity.
constexpr uint32_t kNone = 0xffffffffu;

/// Throws std::runtime_error("Shape triangulation failed").
[[noreturn]] void FailTriangulation();

/// Where building the map stopped because vertex `vertex` lies inside segment
/// (`left`, `right`): the caller splits that segment at the vertices on it and
/// builds again. Not an error: outlines may touch that way.
struct SegmentSplit {
    uint32_t left;
    uint32_t right;
    uint32_t vertex;
};

/// Vertices are identified by their rank in lexicographic (x, y) order, so
/// "left of" is an integer comparison. Sorting by (x, y) amounts to a
/// symbolic shear of the plane: no two vertices share an abscissa any more and
/// vertical segments need no special case, while orientation signs of
/// non-collinear triples stay exact.
struct VertexSet {
    struct Coordinates {
        double x;
        double y;
    };
    LargeArray<Coordinates> at; ///< by rank; x and y side by side, one cache line per lookup

    double x(uint32_t v) const { return at[v].x; }
    double y(uint32_t v) const { return at[v].y; }
    int orient(uint32_t a, uint32_t b, uint32_t c) const;
};

/// Sign of the cross product (b - a) x (c - a): > 0 when c lies left of a->b.
/// Exact for the single-precision coordinates the map is built from.
inline int OrientSign(double ax, double ay, double bx, double by, double cx, double cy) {
    return Orient2d(ax, ay, bx, by, cx, cy);
}

inline int VertexSet::orient(uint32_t a, uint32_t b, uint32_t c) const {
    const Coordinates& pa = at[a];
    const Coordinates& pb = at[b];
    const Coordinates& pc = at[c];
    return OrientSign(pa.x, pa.y, pb.x, pb.y, pc.x, pc.y);
}

/// A segment with `left` < `right` (vertex ranks). `delta` is what the winding
/// number changes by when a point crosses the segment from below to above.
struct MapSegment {
    uint32_t left;
    uint32_t right;
    int32_t delta;
    // Copies of the end coordinates: the tests against a segment then read
    // one record instead of two more random vertex lookups.
    double leftX;
    double leftY;
    double rightX;
    double rightY;
};

/// Side of point (x, y) relative to the line through segment `s`: > 0 above (left of left->right).
inline int SideOf(const MapSegment& s, double x, double y) {
    return OrientSign(s.leftX, s.leftY, s.rightX, s.rightY, x, y);
}

/// One node of the point-location DAG: an x-node tests a point against a
/// vertex (left/right), a y-node against a segment (above/below), a leaf
/// names a trapezoid.
struct QueryNode {
    enum Kind : uint8_t { XNode = 0, YNode = 1, Leaf = 2 };
    Kind kind;
    uint32_t key;    ///< vertex, segment or trapezoid, by kind
    uint32_t first;  ///< x-node: left child; y-node: child above
    uint32_t second; ///< x-node: right child; y-node: child below
};

/// A trapezoid of the map: between segment `bottom` and segment `top`, from
/// the vertical through `leftp` to the vertical through `rightp`.
/// `upperLeft` shares `top` across the left side, `lowerLeft` shares
/// `bottom`; likewise on the right.
struct Trapezoid {
    uint32_t top = kNone;
    uint32_t bottom = kNone;
    uint32_t leftp = kNone;
    uint32_t rightp = kNone;
    uint32_t upperLeft = kNone;
    uint32_t lowerLeft = kNone;
    uint32_t upperRight = kNone;
    uint32_t lowerRight = kNone;
    uint32_t node = kNone; ///< its leaf in the DAG; kNone once the trapezoid was replaced
    int32_t winding = 0;   ///< winding number (or parity) of the points inside
};

/// The trapezoidal map of a set of segments that do not cross (they may share
/// end points), built by randomised incremental insertion, plus the winding
/// number of every trapezoid. A vertex inside another segment stops the build
/// (see build()); any other inconsistency found on the way (crossing or
/// overlapping segments, an open outline) calls FailTriangulation().
class TrapezoidRepresentation {
public:
    TrapezoidRepresentation(const VertexSet& vertices, const LargeArray<MapSegment>& segments);

    /// Inserts the segments in rounds of doubling size drawn at random by a
    /// generator seeded with `seed` (each round left to right), then labels every trapezoid with its
    /// winding number (its parity when `parityOnly`). Returns false, with the
    /// map unusable, when a vertex lies inside a segment: pendingSplit() then
    /// names them.
    bool build(uint32_t seed, bool parityOnly);
    /// The contact that stopped the last build() that returned false.
    const SegmentSplit& pendingSplit() const { return m_split; }

    const LargeArray<Trapezoid>& trapezoids() const { return m_traps; }
    const LargeArray<QueryNode>& nodes() const { return m_nodes; }
    /// A live trapezoid lying directly above segment `s`.
    uint32_t trapezoidAbove(uint32_t s) const { return m_above[s]; }
    /// A live trapezoid lying directly below segment `s`.
    uint32_t trapezoidBelow(uint32_t s) const { return m_below[s]; }

private:
    uint32_t locate(uint32_t start, uint32_t p, uint32_t q);
    bool checkAgainstBoundary(const MapSegment& s, uint32_t boundary);
    bool insert(uint32_t segment);
    bool stopAtSplit(const MapSegment& s, uint32_t vertex);
    uint32_t newTrapezoid(uint32_t top, uint32_t bottom, uint32_t leftp, uint32_t rightp);
    uint32_t newNode(QueryNode::Kind kind, uint32_t key, uint32_t first, uint32_t second);
    void labelWindings(bool parityOnly);

    const VertexSet& m_vertices;
    const LargeArray<MapSegment>& m_segments;
    LargeArray<Trapezoid> m_traps;
    LargeArray<QueryNode> m_nodes;
    std::vector<uint32_t> m_path; // trapezoids crossed by the segment being inserted
    LargeArray<uint32_t> m_start; // per segment: a DAG node whose region holds its left end
    std::vector<uint32_t> m_free;  // slots of replaced trapezoids, reused while they are still in cache
    LargeArray<uint32_t> m_above;
    LargeArray<uint32_t> m_below;
    SegmentSplit m_split{kNone, kNone, kNone};
};

} // namespace impl
} // namespace kx

#endif
