// TriangulateFill.cpp - fills of outlines that may cross themselves.
#include <kx/svg/Triangulate.h>

namespace kx {

bool TriangulateFill(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                     std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                     const FillOptions& options, std::string* reason) {
    // Provisional: crossing resolution lands in the next change.
    if (TriangulatePoly(points, edgeIndices, outPoints, outIndices, options.rule, options.skipZeroLengthSegments))
        return true;
    if (reason) *reason = "The outline cannot be filled.";
    return false;
}

bool ComputeFillBoundary(const std::vector<Wm4::Vector2<float>>&, const std::vector<unsigned int>&,
                         std::vector<FillRing>& rings, const FillOptions&, std::string* reason) {
    rings.clear();
    if (reason) *reason = "The fill boundary is not available yet.";
    return false;
}

} // namespace kx
