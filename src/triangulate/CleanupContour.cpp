// CleanupContour.cpp - removes tiny segments and straight-through vertices from a contour.
#include <kx/svg/Triangulate.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace kx {

namespace {

// Index replacement "every occurrence of b becomes a" is recorded as an alias
// instead of rewriting the whole list each time, which keeps the walk linear.
// An alias is only ever set on a value currently present in the list, so the
// alias chains never form cycles.
unsigned int resolve(std::vector<unsigned int>& alias, unsigned int v) {
    unsigned int root = v;
    while (alias[root] != root) root = alias[root];
    while (alias[v] != root) {
        const unsigned int next = alias[v];
        alias[v] = root;
        v = next;
    }
    return root;
}

} // namespace

void CleanupContour(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& lineIndices) {
    if (lineIndices.empty() || points.empty() || (lineIndices.size() % 2) != 0) return;
    if (points.size() < 2) return;
    const std::size_t pointCount = points.size();
    for (unsigned int index : lineIndices)
        if (index >= pointCount) return; // malformed input: leave it to the caller's checks

    float minX = points[0].X(), maxX = minX, minY = points[0].Y(), maxY = minY;
    for (const auto& p : points) {
        if (!std::isfinite(p.X()) || !std::isfinite(p.Y())) return;
        if (p.X() < minX) minX = p.X();
        if (p.X() > maxX) maxX = p.X();
        if (p.Y() < minY) minY = p.Y();
        if (p.Y() > maxY) maxY = p.Y();
    }
    const float width = maxX - minX;
    const float height = maxY - minY;
    // A flat or overflowing box cannot be normalised; the contour is left as it is.
    if (!(width > 0.0f) || !(height > 0.0f) || !std::isfinite(width) || !std::isfinite(height)) return;

    // Tolerances are relative to the bounding box: work on a unit-square copy.
    std::vector<Wm4::Vector2<float>> unit(pointCount);
    for (std::size_t i = 0; i < pointCount; ++i)
        unit[i] = Wm4::Vector2<float>((points[i].X() - minX) / width, (points[i].Y() - minY) / height);

    std::vector<unsigned int> alias(pointCount);
    for (std::size_t i = 0; i < pointCount; ++i) alias[i] = static_cast<unsigned int>(i);

    const float tolerance = 0.001f;
    const float collinearTolerance = 1.0000001e-06f;
    const std::size_t pairCount = lineIndices.size() / 2;
    std::size_t kept = 0; // pairs [0, kept) of lineIndices hold the kept pairs (values may be stale aliases)
    for (std::size_t i = 0; i < pairCount; ++i) {
        const unsigned int a = resolve(alias, lineIndices[2 * i]);
        const unsigned int b = resolve(alias, lineIndices[2 * i + 1]);
        const float dx = unit[b].X() - unit[a].X();
        const float dy = unit[b].Y() - unit[a].Y();
        if (std::fabs(dx) < tolerance && std::fabs(dy) < tolerance) {
            if (a != b) alias[b] = a; // the short segment collapses onto its start
            continue;
        }
        if (kept > 0) {
            const unsigned int predEnd = resolve(alias, lineIndices[2 * kept - 1]);
            if (predEnd == a) {
                const unsigned int p = resolve(alias, lineIndices[2 * kept - 2]);
                const float ux = unit[a].X() - unit[p].X();
                const float uy = unit[a].Y() - unit[p].Y();
                const float cross = ux * dy - uy * dx;
                if (std::fabs(cross) < collinearTolerance) {
                    alias[a] = b; // straight-through vertex: the previous segment now ends at b
                    continue;
                }
            }
        }
        lineIndices[2 * kept] = a;
        lineIndices[2 * kept + 1] = b;
        ++kept;
    }
    lineIndices.resize(2 * kept);
    for (unsigned int& index : lineIndices) index = resolve(alias, index);

    if (!lineIndices.empty()) {
        const Wm4::Vector2<float>& first = unit[lineIndices.front()];
        const Wm4::Vector2<float>& last = unit[lineIndices.back()];
        if (std::fabs(last.X() - first.X()) < tolerance && std::fabs(last.Y() - first.Y()) < tolerance)
            lineIndices.back() = lineIndices.front();
    }
    // The caller's coordinates were never modified: normalisation worked on a copy.
}

} // namespace kx
