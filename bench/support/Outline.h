// Outline.h - closed chains of segments as the triangulation takes them,
// shared by the benchmarks and the tests (header only).
#ifndef KX_SUPPORT_OUTLINE_H
#define KX_SUPPORT_OUTLINE_H

#include <Wm4/Wm4Vector2.h>

#include <cstddef>
#include <vector>

namespace kxcorpus {

/// Points and index pairs, one pair per outline segment.
struct Outline {
    std::vector<Wm4::Vector2<float>> points;
    std::vector<unsigned int> edges;

    /// Appends a closed chain through the given points (in reverse order when `reversed`).
    void addChain(const std::vector<Wm4::Vector2<float>>& chain, bool reversed = false)
    {
        const unsigned int base = static_cast<unsigned int>(points.size());
        const std::size_t n = chain.size();
        for (std::size_t i = 0; i < n; ++i) points.push_back(chain[reversed ? n - 1 - i : i]);
        for (std::size_t i = 0; i < n; ++i) {
            edges.push_back(base + static_cast<unsigned int>(i));
            edges.push_back(base + static_cast<unsigned int>((i + 1) % n));
        }
    }
};

} // namespace kxcorpus

#endif
