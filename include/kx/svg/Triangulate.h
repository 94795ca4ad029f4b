// Triangulate.h - polygon triangulation and contour clean-up.
#ifndef KX_SVG_TRIANGULATE_H
#define KX_SVG_TRIANGULATE_H

#include <kx/svg/Export.h>

#include <Wm4/Wm4Vector2.h>

#include <string>
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
/// chains may be outer outlines and holes in any orientation, listed in any
/// order. Points with equal coordinates are the same vertex, so outlines may
/// share vertices or touch; a segment given twice counts twice (under
/// even-odd the two cancel out). A run of consecutive pairs that does not come
/// back to its start is filled as if closed by a segment from its end to its
/// start. With `flag` true a segment whose two ends are the same vertex is
/// skipped; with `flag` false such a segment makes the call fail.
///
/// On success `outPoints` receives the input vertices the triangles use, each
/// once (the first input point of equal coordinates stands for all of them),
/// in order of first use, and `outIndices` index triples into `outPoints`,
/// every triangle counter-clockwise (positive area in a y-up frame). Input that
/// encloses no area succeeds with both outputs empty.
///
/// Returns false, with both outputs empty, when the input cannot be
/// triangulated exactly: an odd index count, an index out of range, segments
/// that properly cross, or coordinates that are NaN or infinite. Never throws.
/// The work is randomised with a fixed seed, so equal input gives equal output.
KXSVG_API bool TriangulatePoly(const std::vector<Wm4::Vector2<float>>& points,
                               const std::vector<unsigned int>& edgeIndices,
                               std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                               TriangulationFillRule rule, bool flag);

/// How `TriangulateFill` and `ComputeFillBoundary` read their outline.
struct FillOptions {
    /// Which winding numbers are inside.
    TriangulationFillRule rule = TriangulationFillRule::EvenOdd;
    /// Split segments where they cross or overlap, so that any outline fills
    /// (intersection points are decided exactly and rounded to float). Off,
    /// proper crossings make the call fail as they do in `TriangulatePoly`.
    bool resolveCrossings = true;
    /// Skip segments whose two ends are the same vertex (the `flag` of
    /// `TriangulatePoly`); off, such a segment makes the call fail.
    bool skipZeroLengthSegments = true;
};

/// Triangulates the area enclosed by closed chains of segments, like
/// `TriangulatePoly` (same input conventions, same outputs), but also when
/// the chains cross themselves or each other, touch, or run along each other.
///
/// Input that `TriangulatePoly` fills gives exactly its result. Otherwise,
/// with `options.resolveCrossings`, every crossing and overlap is found with
/// exact orientation tests, the segments are split at the crossing points
/// (rounded to the nearest float, then checked again until no two pieces
/// cross), and the pieces are filled by the rule. `outPoints` then also holds
/// the crossing points that the triangles use, numbered in order of first use
/// like the input vertices.
///
/// Returns false, with both outputs empty and `reason` (may be null) set to
/// an English sentence, when the input cannot be filled: an odd index count,
/// an index out of range, a coordinate that is NaN or infinite, or more
/// crossings than the work bound allows. The work grows as (n + k) log n for
/// n segments and k crossings. Never throws.
KXSVG_API bool TriangulateFill(const std::vector<Wm4::Vector2<float>>& points,
                               const std::vector<unsigned int>& edgeIndices,
                               std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                               const FillOptions& options = FillOptions(), std::string* reason = nullptr);

/// One closed ring of a fill boundary: its vertices in order, the closing
/// segment from the last back to the first implied.
using FillRing = std::vector<Wm4::Vector2<float>>;

/// The boundary of the region that `TriangulateFill` fills for the same
/// input, as simple rings that neither cross nor overlap each other: outer
/// rings counter-clockwise, holes clockwise (in a y-up frame), so that the
/// region is the same under either fill rule. Rings may touch at vertices.
/// Straight runs keep their intermediate vertices. Input that encloses no
/// area gives no ring.
///
/// Fails like `TriangulateFill`, with `rings` empty. Never throws.
KXSVG_API bool ComputeFillBoundary(const std::vector<Wm4::Vector2<float>>& points,
                                   const std::vector<unsigned int>& edgeIndices, std::vector<FillRing>& rings,
                                   const FillOptions& options = FillOptions(), std::string* reason = nullptr);

/// Cleans a contour before triangulation: merges segments shorter than a
/// thousandth of the bounding box, removes straight-through vertices and
/// closes a contour whose ends nearly meet. Only `lineIndices` changes; the
/// points keep their number and coordinates.
KXSVG_API void CleanupContour(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& lineIndices);

} // namespace kx

#endif
