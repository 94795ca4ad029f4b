// CrossingCheck.cpp - a bounded sweep for a crossing that the map build would stop at.
//
// The fill of an outline that crosses itself first tries the plain
// triangulation, which refuses it only once the map build meets the crossing,
// often after most of the work. A sweep that finds one certain crossing lets
// the fill resolve the crossings straight away. Segments come in order of
// their left vertex; those still open at the sweep position are tested
// against each new one, box first, then with exact orientations.
#include "CrossingCheck.h"

#include <algorithm>
#include <cstddef>

namespace kx {
namespace impl {
namespace {

// Pair tests allowed per segment (plus a fixed amount): an outline with many
// segments over each vertical line (dense stars) is left to the map build.
constexpr std::size_t kTestsPerSegment = 8;
constexpr std::size_t kFixedTests = 256;
// Crossings checked for the conditions that make them certain.
constexpr int kMaxCandidates = 4;

bool ProperlyCross(const MapSegment& s, const MapSegment& t) {
    const int o1 = SideOf(s, t.leftX, t.leftY);
    const int o2 = SideOf(s, t.rightX, t.rightY);
    if (o1 == 0 || o2 == 0 || o1 == o2) return false;
    const int o3 = SideOf(t, s.leftX, s.leftY);
    const int o4 = SideOf(t, s.rightX, s.rightY);
    return o3 != 0 && o4 != 0 && o3 != o4;
}

// Another segment on the line of `s` whose vertex range overlaps that of `s`:
// the two would be split into coinciding pieces and merged, which may remove
// the piece of `s` that crosses.
bool HasCollinearNeighbour(const LargeArray<MapSegment>& segments, const MapSegment& s, std::size_t& work) {
    for (const MapSegment& u : segments) {
        ++work;
        if (u.right <= s.left || u.left >= s.right || (u.left == s.left && u.right == s.right)) continue;
        if (SideOf(s, u.leftX, u.leftY) == 0 && SideOf(s, u.rightX, u.rightY) == 0) return true;
    }
    return false;
}

// True when the crossing of `s` and `t` is certain: no vertex lies on both
// lines (the only point that could is the crossing, whose rank falls inside
// both segments' ranges) and neither segment shares its line with another.
bool Certain(const VertexSet& vertices, const LargeArray<MapSegment>& segments, const MapSegment& s,
             const MapSegment& t, std::size_t& work) {
    const uint32_t from = std::max(s.left, t.left) + 1, to = std::min(s.right, t.right);
    for (uint32_t v = from; v < to; ++v) {
        ++work;
        const VertexSet::Coordinates& c = vertices.at[v];
        if (SideOf(s, c.x, c.y) == 0 && SideOf(t, c.x, c.y) == 0) return false;
    }
    return !HasCollinearNeighbour(segments, s, work) && !HasCollinearNeighbour(segments, t, work);
}

} // namespace

bool HasCertainCrossing(const VertexSet& vertices, const LargeArray<MapSegment>& segments) {
    const std::size_t budget = kFixedTests + kTestsPerSegment * segments.size();
    std::size_t work = 0;
    int candidates = 0;
    std::vector<uint32_t> open; // segments whose right end is not passed yet
    for (uint32_t i = 0; i < segments.size(); ++i) {
        const MapSegment& s = segments[i];
        const double sLow = std::min(s.leftY, s.rightY), sHigh = std::max(s.leftY, s.rightY);
        std::size_t kept = 0;
        for (std::size_t k = 0; k < open.size(); ++k) {
            const MapSegment& t = segments[open[k]];
            // Ends before s starts (or where it starts: a shared end is no crossing).
            if (t.right <= s.left) continue;
            open[kept++] = open[k];
            if (++work > budget) return false;
            if (std::max(t.leftY, t.rightY) < sLow || std::min(t.leftY, t.rightY) > sHigh) continue;
            if (t.right == s.right || !ProperlyCross(s, t)) continue;
            if (Certain(vertices, segments, s, t, work)) return true;
            if (++candidates >= kMaxCandidates || work > budget) return false;
        }
        open.resize(kept);
        open.push_back(i);
    }
    return false;
}

} // namespace impl
} // namespace kx
