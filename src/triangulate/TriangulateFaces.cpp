// TriangulateFaces.cpp - the faces of the trapezoidal map: the diagonals that
// cut the inside into monotone pieces, the one walk over the inside faces,
// the triangles of each piece and the rings of the fill boundary.
#include "Triangulator.h"

#include <kx/svg/Triangulate.h>

#include <algorithm>
#include <cmath>

namespace kx {
namespace impl {

// Reads the winding of the trapezoids on both sides of every segment once,
// so that the face walk tests a byte per half-edge instead of a trapezoid.
void Triangulator::classifySegmentSides() {
    const auto& traps = m_map->trapezoids();
    m_insideSides.assign(m_segments.size(), 0);
    for (uint32_t s = 0; s < m_segments.size(); ++s) {
        const uint32_t above = m_map->trapezoidAbove(s), below = m_map->trapezoidBelow(s);
        if (above == kNone || below == kNone) FailTriangulation();
        m_insideSides[s] = static_cast<uint8_t>((insideOf(traps[above]) ? kInsideAbove : 0) |
                                                (insideOf(traps[below]) ? kInsideBelow : 0));
    }
}

bool Triangulator::insideLeftOf(uint32_t halfEdge) const {
    const GraphEdge& e = m_graph[halfEdge >> 1];
    if (e.segment == kNone) return true; // diagonals only run through inside trapezoids
    const bool forward = (halfEdge & 1) == 0;
    const uint32_t from = forward ? e.a : e.b;
    const uint32_t to = forward ? e.b : e.a;
    // Walking rightwards, the face on the left lies above the segment.
    return (m_insideSides[e.segment] & ((from < to) ? kInsideAbove : kInsideBelow)) != 0;
}

void Triangulator::buildFaces() {
    const auto& traps = m_map->trapezoids();
    m_graph.clear();
    m_graph.reserve(m_segments.size() * 2);
    for (uint32_t s = 0; s < m_segments.size(); ++s)
        m_graph.push_back(GraphEdge{m_segments[s].left, m_segments[s].right, s});
    for (const Trapezoid& t : traps) {
        if (t.node == kNone || !insideOf(t)) continue;
        if (t.top == kNone || t.bottom == kNone || t.leftp == kNone || t.rightp == kNone) FailTriangulation();
        const MapSegment& top = m_segments[t.top];
        const MapSegment& bottom = m_segments[t.bottom];
        const bool sameTop = t.leftp == top.left && t.rightp == top.right;
        const bool sameBottom = t.leftp == bottom.left && t.rightp == bottom.right;
        if (sameTop || sameBottom) continue;
        if (t.leftp == t.rightp) continue;
        // The two side vertices are not ends of one boundary segment: join
        // them. Such diagonals cut every split or merge vertex away from the
        // region it would break, so each piece left is x-monotone (Seidel).
        m_graph.push_back(GraphEdge{t.leftp, t.rightp, kNone});
    }
    sortAroundVertices();
}

// Lists the half-edges of m_graph leaving each vertex in counter-clockwise order.
void Triangulator::sortAroundVertices() {
    const std::size_t vertexCount = m_representative.size();
    const std::size_t halfCount = m_graph.size() * 2;
    m_outStart.assign(vertexCount + 1, 0);
    for (const GraphEdge& e : m_graph) {
        ++m_outStart[e.a + 1];
        ++m_outStart[e.b + 1];
    }
    for (std::size_t v = 0; v < vertexCount; ++v) m_outStart[v + 1] += m_outStart[v];
    m_outList.assign(halfCount, 0);
    {
        std::vector<uint32_t> fill(m_outStart.begin(), m_outStart.end() - 1);
        for (uint32_t e = 0; e < m_graph.size(); ++e) {
            m_outList[fill[m_graph[e].a]++] = 2 * e;
            m_outList[fill[m_graph[e].b]++] = 2 * e + 1;
        }
    }
    const VertexSet& v = m_vertices;
    auto endsOf = [this](uint32_t h, uint32_t& from, uint32_t& to) {
        const GraphEdge& e = m_graph[h >> 1];
        from = (h & 1) ? e.b : e.a;
        to = (h & 1) ? e.a : e.b;
    };
    // Counter-clockwise order of directions, starting from the positive x axis.
    auto angleLess = [&](uint32_t h1, uint32_t h2) {
        uint32_t f1, t1, f2, t2;
        endsOf(h1, f1, t1);
        endsOf(h2, f2, t2);
        const double dx1 = v.x(t1) - v.x(f1), dy1 = v.y(t1) - v.y(f1);
        const double dx2 = v.x(t2) - v.x(f2), dy2 = v.y(t2) - v.y(f2);
        const bool upper1 = dy1 > 0.0 || (dy1 == 0.0 && dx1 > 0.0);
        const bool upper2 = dy2 > 0.0 || (dy2 == 0.0 && dx2 > 0.0);
        if (upper1 != upper2) return upper1;
        return v.orient(f1, t1, t2) > 0; // both leave f1 == f2
    };
    for (std::size_t vtx = 0; vtx < vertexCount; ++vtx) {
        auto first = m_outList.begin() + m_outStart[vtx];
        auto last = m_outList.begin() + m_outStart[vtx + 1];
        if (last - first == 2) {
            // Most vertices join two edges: one test orders them, and the
            // test that they differ in direction is the same one, or its mirror.
            if (angleLess(first[0], first[1])) continue;
            std::swap(first[0], first[1]);
            if (!angleLess(first[0], first[1])) FailTriangulation();
            continue;
        }
        std::sort(first, last, angleLess);
        // Two edges leaving in the same direction overlap.
        for (auto it = first; it + 1 < last; ++it)
            if (!angleLess(*it, *(it + 1))) FailTriangulation();
    }
    m_position.assign(halfCount, 0);
    for (uint32_t i = 0; i < halfCount; ++i) m_position[m_outList[i]] = i;
}

// Walks every face of m_graph that has the inside on its left, each from its
// lowest half-edge, and hands `emit` the simple polygons (counter-clockwise
// vertex lists) it is cut into where it passes a vertex twice, as outlines
// that touch make it do. The faces of the triangulation and the rings of the
// fill boundary both come from this walk.
template <class Emit>
void Triangulator::walkInsideFaces(Emit&& emit) {
    const std::size_t halfCount = m_graph.size() * 2;
    m_visited.assign(halfCount, 0);
    m_slot.assign(m_representative.size(), kNone);
    for (uint32_t start = 0; start < halfCount; ++start) {
        if (m_visited[start] || !insideLeftOf(start)) continue;
        m_open.clear();
        uint32_t h = start;
        std::size_t guard = 0;
        do {
            if (m_visited[h] || ++guard > halfCount || !insideLeftOf(h)) FailTriangulation();
            m_visited[h] = 1;
            const GraphEdge& e = m_graph[h >> 1];
            const uint32_t from = (h & 1) ? e.b : e.a;
            const uint32_t to = (h & 1) ? e.a : e.b;
            if (m_slot[from] != kNone) {
                const std::size_t at = m_slot[from];
                emit(m_open.data() + at, m_open.size() - at);
                for (std::size_t i = at + 1; i < m_open.size(); ++i) m_slot[m_open[i]] = kNone;
                m_open.resize(at + 1);
            } else {
                m_slot[from] = static_cast<uint32_t>(m_open.size());
                m_open.push_back(from);
            }
            // Next edge of the face on the left: the one just clockwise of the way back.
            const uint32_t back = m_position[h ^ 1];
            const uint32_t prev = (back == m_outStart[to]) ? m_outStart[to + 1] - 1 : back - 1;
            h = m_outList[prev];
        } while (h != start);
        emit(m_open.data(), m_open.size());
        for (uint32_t vtx : m_open) m_slot[vtx] = kNone;
    }
}

void Triangulator::emitTriangle(uint32_t a, uint32_t b, uint32_t c) {
    const int o = m_vertices.orient(a, b, c);
    if (o == 0) return;
    m_triangles.push_back(a);
    if (o > 0) {
        m_triangles.push_back(b);
        m_triangles.push_back(c);
    } else {
        m_triangles.push_back(c);
        m_triangles.push_back(b);
    }
}

// Triangulates a polygon given counter-clockwise that must be monotone in
// (x, y) order: from its lowest-ranked vertex forwards to its highest runs
// the lower chain, backwards the upper chain.
void Triangulator::emitPolygon(const uint32_t* poly, std::size_t count) {
    if (count < 3) return;
    std::size_t minAt = 0, maxAt = 0;
    for (std::size_t i = 1; i < count; ++i) {
        if (poly[i] < poly[minAt]) minAt = i;
        if (poly[i] > poly[maxAt]) maxAt = i;
    }
    // Merge both chains in increasing order; 0 marks the lower chain, 1 the upper.
    m_sorted.clear();
    m_chain.clear();
    m_sorted.push_back(poly[minAt]);
    m_chain.push_back(2);
    std::size_t lo = (minAt + 1) % count;
    std::size_t up = (minAt + count - 1) % count;
    uint32_t lastLo = poly[minAt], lastUp = poly[minAt];
    while (lo != maxAt || up != maxAt) {
        const bool takeLower = (lo != maxAt) && (up == maxAt || poly[lo] < poly[up]);
        if (takeLower) {
            if (poly[lo] <= lastLo) FailTriangulation(); // not monotone
            lastLo = poly[lo];
            m_sorted.push_back(poly[lo]);
            m_chain.push_back(0);
            lo = (lo + 1) % count;
        } else {
            if (poly[up] <= lastUp) FailTriangulation();
            lastUp = poly[up];
            m_sorted.push_back(poly[up]);
            m_chain.push_back(1);
            up = (up + count - 1) % count;
        }
    }
    m_sorted.push_back(poly[maxAt]);
    m_chain.push_back(2);
    if (m_sorted.size() != count) FailTriangulation();

    // Area of the polygon (fan around its first vertex) to check the result against.
    double polygonArea = 0.0, magnitude = 0.0;
    const VertexSet& v = m_vertices;
    for (std::size_t i = 1; i + 1 < count; ++i) {
        const uint32_t a = poly[0], b = poly[i], c = poly[i + 1];
        const double term = (v.x(b) - v.x(a)) * (v.y(c) - v.y(a)) - (v.y(b) - v.y(a)) * (v.x(c) - v.x(a));
        polygonArea += term;
        magnitude += std::fabs(term);
    }
    if (!(polygonArea > 0.0)) FailTriangulation(); // inside faces run counter-clockwise
    const std::size_t firstTriangle = m_triangles.size();

    m_stack.clear();
    m_stack.push_back(0);
    m_stack.push_back(1);
    for (std::size_t j = 2; j + 1 < count; ++j) {
        const uint32_t u = m_sorted[j];
        const uint8_t chain = m_chain[j];
        if (chain != m_chain[m_stack.back()]) {
            // Opposite chain: fan from u to every vertex on the stack.
            while (m_stack.size() > 1) {
                const std::size_t a = m_stack.back();
                m_stack.pop_back();
                emitTriangle(u, m_sorted[a], m_sorted[m_stack.back()]);
            }
            m_stack.clear();
            m_stack.push_back(static_cast<unsigned>(j - 1));
            m_stack.push_back(static_cast<unsigned>(j));
        } else {
            std::size_t lastPopped = m_stack.back();
            m_stack.pop_back();
            while (!m_stack.empty()) {
                const std::size_t top = m_stack.back();
                const int o = v.orient(m_sorted[top], m_sorted[lastPopped], u);
                const bool convex = (chain == 0) ? o > 0 : o < 0;
                if (!convex) break;
                emitTriangle(u, m_sorted[lastPopped], m_sorted[top]);
                lastPopped = top;
                m_stack.pop_back();
            }
            m_stack.push_back(static_cast<unsigned>(lastPopped));
            m_stack.push_back(static_cast<unsigned>(j));
        }
    }
    const uint32_t last = m_sorted[count - 1];
    while (m_stack.size() > 1) {
        const std::size_t a = m_stack.back();
        m_stack.pop_back();
        emitTriangle(last, m_sorted[a], m_sorted[m_stack.back()]);
    }

    double triangleArea = 0.0;
    for (std::size_t t = firstTriangle; t < m_triangles.size(); t += 3) {
        const uint32_t a = m_triangles[t], b = m_triangles[t + 1], c = m_triangles[t + 2];
        triangleArea += (v.x(b) - v.x(a)) * (v.y(c) - v.y(a)) - (v.y(b) - v.y(a)) * (v.x(c) - v.x(a));
    }
    if (std::fabs(triangleArea - polygonArea) > 1e-9 * magnitude) FailTriangulation();
}

void Triangulator::run(std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices) {
    TrapezoidRepresentation map(m_vertices, m_segments);
    if (!buildMap(map)) return;
    m_map = &map;
    classifySegmentSides();
    buildFaces();
    m_triangles.clear();
    walkInsideFaces([this](const uint32_t* poly, std::size_t count) { emitPolygon(poly, count); });
    m_map = nullptr;

    // Output only the vertices the triangles use, numbered in order of first use.
    std::vector<uint32_t> outIndexOf(m_representative.size(), kNone);
    outIndices.reserve(m_triangles.size());
    for (uint32_t vtx : m_triangles) {
        if (outIndexOf[vtx] == kNone) {
            outIndexOf[vtx] = static_cast<uint32_t>(outPoints.size());
            outPoints.push_back(outputPoint(vtx));
        }
        outIndices.push_back(outIndexOf[vtx]);
    }
}

// The segments with the inside on exactly one side, each directed with the
// inside on its left, traced face by face like the triangulation's faces and
// cut into simple rings where a face passes a vertex twice.
void Triangulator::runBoundary(std::vector<FillRing>& rings) {
    TrapezoidRepresentation map(m_vertices, m_segments);
    if (!buildMap(map)) return;
    m_map = &map;
    classifySegmentSides();
    m_graph.clear();
    for (uint32_t s = 0; s < m_segments.size(); ++s) {
        const uint8_t sides = m_insideSides[s];
        if (sides == kInsideAbove || sides == kInsideBelow)
            m_graph.push_back(GraphEdge{m_segments[s].left, m_segments[s].right, s});
    }
    sortAroundVertices();
    walkInsideFaces([&](const uint32_t* ring, std::size_t count) {
        if (count < 3) return;
        FillRing out;
        out.reserve(count);
        for (std::size_t i = 0; i < count; ++i) out.push_back(outputPoint(ring[i]));
        rings.push_back(std::move(out));
    });
    m_map = nullptr;
}

} // namespace impl
} // namespace kx
