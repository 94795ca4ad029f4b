// Triangulator.h - the fill triangulation and fill boundary of a set of chains (internal).
#ifndef KX_TRIANGULATE_TRIANGULATOR_H
#define KX_TRIANGULATE_TRIANGULATOR_H

#include "TrapezoidRepresentation.h"

#include <kx/svg/Triangulate.h>

#include <cstdint>
#include <vector>

namespace kx {
namespace impl {

struct InputEdge {
    uint64_t key; // (low vertex << 32) | high vertex
    int32_t delta;
};

struct GraphEdge {
    uint32_t a;
    uint32_t b;
    uint32_t segment; // kNone for a diagonal
};

class Triangulator {
public:
    Triangulator(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                 TriangulationFillRule rule, bool flag, bool resolveCrossings = false)
        : m_points(points), m_edgeIndices(edgeIndices), m_rule(rule), m_flag(flag),
          m_resolveCrossings(resolveCrossings) {}

    void run(std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices);
    void runBoundary(std::vector<FillRing>& rings);
    /// Ranks the vertices and collects the segments (which run() and
    /// runBoundary() then reuse), and tells whether two of them cross where
    /// the map build would certainly stop (see HasCertainCrossing).
    bool crossesCertainly();
    /// After crossesCertainly(): the same work as a triangulator made with
    /// crossings resolved, keeping the vertex ranks already computed.
    void resolveCrossingsFromNowOn();

private:
    // The steps shared by the fill and its boundary; false when nothing is left to fill.
    void prepareSegments();
    bool buildMap(TrapezoidRepresentation& map);
    void rankVertices();
    void closeNearlyClosedChains();
    void collectSegments();
    void resolveCrossings();
    void keepBoundarySegments(TrapezoidRepresentation& map);
    void mergeSegments(std::vector<InputEdge>& edges);
    void splitSegment(uint32_t left, uint32_t right);
    void buildFaces();
    void sortAroundVertices();
    bool insideOf(const Trapezoid& t) const {
        return m_rule == TriangulationFillRule::EvenOdd ? (t.winding & 1) != 0 : t.winding != 0;
    }
    Wm4::Vector2<float> outputPoint(uint32_t vertex) const;
    template <class Emit>
    void walkInsideFaces(Emit&& emit);
    void emitPolygon(const uint32_t* poly, std::size_t count);
    void emitTriangle(uint32_t a, uint32_t b, uint32_t c);
    void classifySegmentSides();
    bool insideLeftOf(uint32_t halfEdge) const;

    const std::vector<Wm4::Vector2<float>>& m_points;
    const std::vector<unsigned int>& m_edgeIndices;
    TriangulationFillRule m_rule;
    bool m_flag;
    bool m_resolveCrossings;
    bool m_prepared = false; // vertices ranked and segments collected

    std::vector<uint32_t> m_rankOf;         // input index -> vertex rank (kNone when unused)
    struct MovedEnd {
        unsigned int input;
        uint32_t rank;
    };
    std::vector<MovedEnd> m_movedEnds;      // chain ends closeNearlyClosedChains moved, with their rank before
    std::vector<uint32_t> m_representative; // vertex rank -> first input index with those coordinates
    std::vector<uint32_t> m_addedOf;        // vertex rank -> index into m_added, kNone for input vertices
    std::vector<Wm4::Vector2<float>> m_added; // crossing points made by ResolveCrossings
    VertexSet m_vertices;
    LargeArray<MapSegment> m_segments;
    const TrapezoidRepresentation* m_map = nullptr;

    static constexpr uint8_t kInsideAbove = 1;
    static constexpr uint8_t kInsideBelow = 2;
    std::vector<uint8_t> m_insideSides; // per segment: which of its sides lie inside the fill

    LargeArray<GraphEdge> m_graph;
    LargeArray<uint32_t> m_outStart; // per vertex, into m_outList (CSR)
    LargeArray<uint32_t> m_outList;  // half-edges sorted by angle around their origin
    LargeArray<uint32_t> m_position; // half-edge -> index in m_outList

    LargeArray<uint8_t> m_visited; // face tracing: half-edges done
    std::vector<uint32_t> m_open;   // face tracing: the simple piece being cut out
    LargeArray<uint32_t> m_slot;   // face tracing: vertex -> position in m_open
    std::vector<uint32_t> m_triangles; // vertex ranks, three per triangle
    std::vector<uint32_t> m_sorted;    // scratch for the monotone sweep
    std::vector<uint8_t> m_chain;
    std::vector<uint32_t> m_stack;
};

} // namespace impl
} // namespace kx

#endif
