// Triangulate.cpp - fill triangulation through a trapezoidal map.
//
// 1. Vertices are merged by coordinates and ranked in (x, y) order; segments
//    repeated in the input are combined (their winding contributions add up,
//    or cancel out under even-odd) and open chains are closed.
// 2. The segments form a trapezoidal map (TrapezoidRepresentation) whose
//    trapezoids carry winding numbers, so the fill rule picks the inside ones.
// 3. Every inside trapezoid whose two side vertices are not on the same
//    boundary segment gets the diagonal between them (Seidel's rule); the
//    segments and diagonals cut the inside into x-monotone polygons.
// 4. The faces of that planar graph are traced and each inside face is
//    triangulated by the linear stack algorithm for monotone polygons.
//
// Outlines that cross themselves first go through ResolveCrossings, which
// splits the segments where they meet; the rest is the same. The fill's
// boundary comes from the same map: the segments with the inside on one side
// only, traced into rings. This file does steps 1 and 2; TriangulateFaces.cpp
// the faces, their triangles and the rings.
#include "Triangulator.h"

#include "CrossingCheck.h"
#include "CrossingResolver.h"

#include <kx/svg/Triangulate.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <stdexcept>

namespace kx {
namespace impl {
namespace {

constexpr uint32_t kSeed = 0x5eed1234u;
constexpr std::size_t kMaxRebuilds = 256;
constexpr std::size_t kMaxRebuildWork = std::size_t(1) << 24; // segments inserted over all rebuilds

} // namespace

void Triangulator::rankVertices() {
    struct Keyed {
        float x;
        float y;
        uint32_t index;
    };
    const std::size_t n = m_points.size();
    m_rankOf.assign(n, kNone);
    std::vector<Keyed> used;
    used.reserve(m_edgeIndices.size() / 2 + 1);
    for (unsigned int index : m_edgeIndices) {
        if (index >= n) FailTriangulation();
        if (m_rankOf[index] == kNone) {
            const float x = m_points[index].X(), y = m_points[index].Y();
            if (!std::isfinite(x) || !std::isfinite(y)) FailTriangulation();
            m_rankOf[index] = 0;
            used.push_back(Keyed{x, y, index});
        }
    }
    // The first input index of equal points comes first and stands for them all.
    std::sort(used.begin(), used.end(), [](const Keyed& a, const Keyed& b) {
        if (a.x != b.x) return a.x < b.x;
        if (a.y != b.y) return a.y < b.y;
        return a.index < b.index;
    });
    m_representative.clear();
    m_vertices.at.clear();
    for (std::size_t i = 0; i < used.size(); ++i) {
        const Keyed& k = used[i];
        if (i == 0 || k.x != used[i - 1].x || k.y != used[i - 1].y) {
            m_representative.push_back(k.index);
            m_vertices.at.push_back(VertexSet::Coordinates{k.x, k.y});
        }
        m_rankOf[k.index] = static_cast<uint32_t>(m_representative.size() - 1);
    }
}

// An open chain whose end lies within a thousandth of the outline's extent of
// its start (on both axes, the tolerance of contour clean-up) is closed by
// taking its last vertex as its first. Real drawings are full of sub-paths
// whose rounded relative coordinates miss their start by a hair, and whose
// clean-up moved the end by up to that tolerance; closing them with a hair-thin
// extra segment would make the outline touch or cross itself right at its
// start and refuse a fill that every renderer draws.
void Triangulator::closeNearlyClosedChains() {
    const std::size_t pairCount = m_edgeIndices.size() / 2;
    const std::size_t vertexCount = m_representative.size();
    if (vertexCount < 3) return;
    double minX = m_vertices.x(0), maxX = minX, minY = m_vertices.y(0), maxY = minY;
    for (std::size_t v = 1; v < vertexCount; ++v) {
        minX = std::min(minX, m_vertices.x(static_cast<uint32_t>(v)));
        maxX = std::max(maxX, m_vertices.x(static_cast<uint32_t>(v)));
        minY = std::min(minY, m_vertices.y(static_cast<uint32_t>(v)));
        maxY = std::max(maxY, m_vertices.y(static_cast<uint32_t>(v)));
    }
    const double tolX = 1e-3 * (maxX - minX), tolY = 1e-3 * (maxY - minY);
    std::vector<uint8_t> oddDegree(vertexCount, 0);
    for (std::size_t i = 0; i < pairCount; ++i) {
        const uint32_t a = m_rankOf[m_edgeIndices[2 * i]], b = m_rankOf[m_edgeIndices[2 * i + 1]];
        if (a == b) continue;
        oddDegree[a] ^= 1;
        oddDegree[b] ^= 1;
    }
    uint32_t runFirst = kNone, runLast = kNone;
    unsigned int runLastInput = 0;
    std::size_t runLength = 0;
    auto closeRun = [&]() {
        // Three segments at least, so that the chain stays a polygon once closed.
        if (runFirst == kNone || runFirst == runLast || runLength < 3) return;
        if (!oddDegree[runFirst] || !oddDegree[runLast]) return;
        if (std::fabs(m_vertices.x(runLast) - m_vertices.x(runFirst)) < tolX &&
            std::fabs(m_vertices.y(runLast) - m_vertices.y(runFirst)) < tolY) {
            oddDegree[runFirst] = oddDegree[runLast] = 0;
            m_movedEnds.push_back(MovedEnd{runLastInput, m_rankOf[runLastInput]});
            m_rankOf[runLastInput] = runFirst;
        }
    };
    for (std::size_t i = 0; i < pairCount; ++i) {
        const uint32_t a = m_rankOf[m_edgeIndices[2 * i]], b = m_rankOf[m_edgeIndices[2 * i + 1]];
        if (a == b) continue;
        if (runFirst == kNone || a != runLast) {
            closeRun();
            runFirst = a;
            runLength = 0;
        }
        runLast = b;
        runLastInput = m_edgeIndices[2 * i + 1];
        ++runLength;
    }
    closeRun();
}

void Triangulator::collectSegments() {
    closeNearlyClosedChains();
    const std::size_t pairCount = m_edgeIndices.size() / 2;
    const std::size_t vertexCount = m_representative.size();
    std::vector<InputEdge> edges;
    edges.reserve(pairCount + 8);
    std::vector<uint8_t> oddDegree(vertexCount, 0);
    auto addEdge = [&](uint32_t a, uint32_t b) {
        const bool rightward = a < b;
        const uint64_t lo = rightward ? a : b;
        const uint64_t hi = rightward ? b : a;
        edges.push_back(InputEdge{(lo << 32) | hi, rightward ? 1 : -1});
        oddDegree[a] ^= 1;
        oddDegree[b] ^= 1;
    };
    for (std::size_t i = 0; i < pairCount; ++i) {
        const unsigned int ia = m_edgeIndices[2 * i], ib = m_edgeIndices[2 * i + 1];
        const uint32_t a = m_rankOf[ia], b = m_rankOf[ib];
        if (a == b) {
            if (!m_flag) FailTriangulation(); // a segment of zero length the caller did not allow
            continue;
        }
        addEdge(a, b);
    }

    // Open chains are filled as if closed from their end back to their start.
    // A run of consecutive pairs where each starts at the previous end is one
    // chain; `close(first, last)` is called for each.
    auto forEachRun = [&](auto&& close) {
        bool inRun = false;
        uint32_t runFirst = kNone, runLast = kNone;
        for (std::size_t i = 0; i < pairCount; ++i) {
            const uint32_t a = m_rankOf[m_edgeIndices[2 * i]], b = m_rankOf[m_edgeIndices[2 * i + 1]];
            if (a == b) continue;
            if (!inRun || a != runLast) {
                if (inRun && runFirst != runLast) close(runFirst, runLast);
                inRun = true;
                runFirst = a;
            }
            runLast = b;
        }
        if (inRun && runFirst != runLast) close(runFirst, runLast);
    };
    // A chain is closed only when both of its ends still have odd degree, so
    // closed outlines listed in any order are left alone.
    forEachRun([&](uint32_t first, uint32_t last) {
        if (oddDegree[first] && oddDegree[last]) addEdge(last, first);
    });
    // Chains that start (or end) at one shared vertex, such as sub-paths
    // drawn from the same point that each end a hair away from it, keep that
    // vertex at even degree, so the rule above leaves them open and the
    // outline has loose ends. When crossings are resolved anyway, such a
    // chain is closed back to its start as soon as one of its ends is loose.
    if (m_resolveCrossings) {
        forEachRun([&](uint32_t first, uint32_t last) {
            if (oddDegree[first] || oddDegree[last]) addEdge(last, first);
        });
    }

    mergeSegments(edges);
}

// Splits the segments where they cross, touch or overlap, then ranks the old
// and new vertices together and merges the pieces that coincide.
void Triangulator::resolveCrossings() {
    std::vector<VertexSet::Coordinates> points(m_vertices.at.begin(), m_vertices.at.end());
    std::vector<ArrangementSegment> pieces;
    pieces.reserve(m_segments.size());
    for (const MapSegment& s : m_segments) pieces.push_back(ArrangementSegment{s.left, s.right, s.delta});
    ResolveCrossings(points, pieces);

    const uint32_t oldCount = static_cast<uint32_t>(m_vertices.at.size());
    const uint32_t count = static_cast<uint32_t>(points.size());
    std::vector<uint32_t> order(count);
    for (uint32_t i = 0; i < count; ++i) order[i] = i;
    // Old vertices are sorted already; only the new ones need placing.
    std::sort(order.begin() + oldCount, order.end(), [&](uint32_t a, uint32_t b) {
        return points[a].x < points[b].x || (points[a].x == points[b].x && points[a].y < points[b].y);
    });
    std::inplace_merge(order.begin(), order.begin() + oldCount, order.end(), [&](uint32_t a, uint32_t b) {
        return points[a].x < points[b].x || (points[a].x == points[b].x && points[a].y < points[b].y);
    });
    std::vector<uint32_t> rankOf(count);
    std::vector<uint32_t> representative(count);
    m_addedOf.assign(count, kNone);
    m_added.clear();
    m_vertices.at.resize(count);
    for (uint32_t r = 0; r < count; ++r) {
        const uint32_t i = order[r];
        rankOf[i] = r;
        m_vertices.at[r] = points[i];
        if (i < oldCount) {
            representative[r] = m_representative[i];
        } else {
            representative[r] = kNone;
            m_addedOf[r] = static_cast<uint32_t>(m_added.size());
            m_added.push_back(Wm4::Vector2<float>(static_cast<float>(points[i].x), static_cast<float>(points[i].y)));
        }
    }
    m_representative.swap(representative);

    std::vector<InputEdge> edges;
    edges.reserve(pieces.size());
    for (const ArrangementSegment& p : pieces)
        edges.push_back(InputEdge{(uint64_t(rankOf[p.a]) << 32) | rankOf[p.b], p.delta});
    mergeSegments(edges);
}

Wm4::Vector2<float> Triangulator::outputPoint(uint32_t vertex) const {
    if (!m_addedOf.empty() && m_addedOf[vertex] != kNone) return m_added[m_addedOf[vertex]];
    return m_points[m_representative[vertex]];
}

// Combines repeated segments: their winding contributions add up (and cancel
// out when they run both ways, or under even-odd when they come in pairs).
void Triangulator::mergeSegments(std::vector<InputEdge>& edges) {
    std::sort(edges.begin(), edges.end(), [](const InputEdge& l, const InputEdge& r) { return l.key < r.key; });
    const bool evenOdd = m_rule == TriangulationFillRule::EvenOdd;
    m_segments.clear();
    for (std::size_t i = 0; i < edges.size();) {
        std::size_t j = i;
        int64_t sum = 0;
        while (j < edges.size() && edges[j].key == edges[i].key) {
            sum += edges[j].delta;
            ++j;
        }
        const int64_t delta = evenOdd ? (sum & 1) : sum;
        if (delta != 0) {
            if (delta > INT32_MAX / 4 || delta < -(INT32_MAX / 4)) FailTriangulation();
            const uint32_t left = static_cast<uint32_t>(edges[i].key >> 32);
            const uint32_t right = static_cast<uint32_t>(edges[i].key & 0xffffffffu);
            m_segments.push_back(MapSegment{left, right, static_cast<int32_t>(delta), m_vertices.x(left),
                                            m_vertices.y(left), m_vertices.x(right), m_vertices.y(right)});
        }
        i = j;
    }
}

// Cuts segment (left, right) at every vertex lying inside it, so that outlines
// touching it there meet at a shared vertex, then merges the pieces with the
// other segments. Vertices are ranked in (x, y) order, so the ones inside the
// segment have ranks between its ends and come in order along it.
void Triangulator::splitSegment(uint32_t left, uint32_t right) {
    std::vector<InputEdge> edges;
    edges.reserve(m_segments.size() + 16);
    bool found = false;
    for (const MapSegment& s : m_segments) {
        if (s.left != left || s.right != right) {
            edges.push_back(InputEdge{(uint64_t(s.left) << 32) | s.right, s.delta});
            continue;
        }
        found = true;
        uint32_t from = left;
        for (uint32_t v = left + 1; v < right; ++v) {
            if (m_vertices.orient(left, right, v) != 0) continue;
            edges.push_back(InputEdge{(uint64_t(from) << 32) | v, s.delta});
            from = v;
        }
        if (from == left) FailTriangulation(); // nothing to split at: inconsistent report
        edges.push_back(InputEdge{(uint64_t(from) << 32) | right, s.delta});
    }
    if (!found) FailTriangulation();
    mergeSegments(edges);
}

void Triangulator::prepareSegments() {
    if (m_prepared) return;
    if (m_edgeIndices.size() % 2 != 0) FailTriangulation();
    if (m_points.size() > 0xfffffffeu) FailTriangulation();
    rankVertices();
    collectSegments();
    m_prepared = true;
}

bool Triangulator::crossesCertainly() {
    prepareSegments();
    return HasCertainCrossing(m_vertices, m_segments);
}

// The vertex ranks stay; the segments are collected again the way they are
// when crossings are resolved, from the ranks as they were before nearly
// closed chains were closed.
void Triangulator::resolveCrossingsFromNowOn() {
    if (!m_prepared || m_resolveCrossings) return;
    for (auto it = m_movedEnds.rbegin(); it != m_movedEnds.rend(); ++it) m_rankOf[it->input] = it->rank;
    m_movedEnds.clear();
    m_resolveCrossings = true;
    collectSegments();
}

bool Triangulator::buildMap(TrapezoidRepresentation& map) {
    prepareSegments();
    if (m_resolveCrossings && !m_segments.empty()) resolveCrossings();
    if (m_segments.empty()) return false;

    // Outlines touching inside a segment are found while building; the segment
    // is then cut there and the map rebuilt. Real drawings have few such
    // contacts; a pathological number of them is refused.
    for (std::size_t attempt = 0;; ++attempt) {
        if (map.build(kSeed, m_rule == TriangulationFillRule::EvenOdd)) break;
        // Each rebuild costs a full construction: bound the total work too.
        if (attempt >= kMaxRebuilds || attempt * m_segments.size() > kMaxRebuildWork) FailTriangulation();
        const SegmentSplit split = map.pendingSplit();
        splitSegment(split.left, split.right);
        if (m_segments.empty()) return false;
    }
    if (m_resolveCrossings) keepBoundarySegments(map);
    return !m_segments.empty();
}

// Once crossings are split, overlapping outlines leave segments with the
// inside on both sides (winding 1 against 2 under non-zero, say). They bound
// nothing, and the faces they cut need not be monotone pieces; the map is
// built again from the segments that bound the fill, each carrying the
// winding step 0 <-> 1, so that either rule then gives the same region.
void Triangulator::keepBoundarySegments(TrapezoidRepresentation& map) {
    std::vector<InputEdge> edges;
    edges.reserve(m_segments.size());
    bool dropped = false;
    for (uint32_t s = 0; s < m_segments.size(); ++s) {
        const uint32_t above = map.trapezoidAbove(s), below = map.trapezoidBelow(s);
        if (above == kNone || below == kNone) FailTriangulation();
        const bool insideAbove = insideOf(map.trapezoids()[above]);
        const bool insideBelow = insideOf(map.trapezoids()[below]);
        // Under even-odd every segment left steps between inside and outside.
        const bool unitStep =
            m_rule == TriangulationFillRule::EvenOdd || m_segments[s].delta == (insideAbove ? 1 : -1);
        if (insideAbove == insideBelow || !unitStep) dropped = true;
        if (insideAbove == insideBelow) continue;
        edges.push_back(InputEdge{(uint64_t(m_segments[s].left) << 32) | m_segments[s].right, insideAbove ? 1 : -1});
    }
    if (!dropped) return;
    mergeSegments(edges);
    // The boundary segments were part of a map already: one inside another
    // here means the input was not what the first build took it for.
    if (!m_segments.empty() && !map.build(kSeed, m_rule == TriangulationFillRule::EvenOdd)) FailTriangulation();
}

} // namespace impl

bool TriangulatePoly(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                     std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                     TriangulationFillRule rule, bool flag) {
    outPoints.clear();
    outIndices.clear();
    try {
        impl::Triangulator triangulator(points, edgeIndices, rule, flag);
        triangulator.run(outPoints, outIndices);
        return true;
    } catch (...) {
        // Inconsistent input ("Shape triangulation failed") or exhausted memory:
        // either way there is no trustworthy fill.
    }
    outPoints.clear();
    outIndices.clear();
    return false;
}

} // namespace kx
