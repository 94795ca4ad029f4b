// Triangulate.h - polygon triangulation and contour clean-up.
#ifndef KX_SVG_TRIANGULATE_H
#define KX_SVG_TRIANGULATE_H

#include <kx/svg/Export.h>

#include <Wm4/Wm4Vector2.h>

#include <vector>

namespace kx {

/// Which part of the plane a set of closed chains encloses.
enum class TriangulationFillRule : int {
    EvenOdd = 0, ///< inside when a ray crosses the outline an odd number of times (holes whatever their direction)
    NonZero = 1  ///< inside when the winding number is not zero
};

/// Triangulates the area enclosed by closed chains of segments.
///
/// `edgeIndices` holds index pairs into `points`, one pair per segment; the
/// chains may be outer outlines and holes in any orientation. With `flag`
/// true a segment whose two ends are the same vertex is skipped. On success
/// `outPoints` receives the triangle vertices and `outIndices` index triples
/// into them. Returns false, with both outputs empty, when the input cannot
/// be triangulated: an odd index count, an index out of range, segments that
/// properly cross, or coordinates that are NaN or infinite. Never throws for
/// bad input.
KXSVG_API bool TriangulatePoly(const std::vector<Wm4::Vector2<float>>& points,
                               const std::vector<unsigned int>& edgeIndices,
                               std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                               TriangulationFillRule rule, bool flag);

/// Cleans a contour before triangulation: merges segments shorter than a
/// thousandth of the bounding box, removes straight-through vertices and
/// closes a contour whose ends nearly meet. Only `lineIndices` changes; the
/// points keep their number and coordinates.
KXSVG_API void CleanupContour(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& lineIndices);

} // namespace kx

#endif
