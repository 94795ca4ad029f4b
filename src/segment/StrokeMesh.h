// StrokeMesh.h - the stroke of an outline as triangles: segment quads, joins,
// caps, dots and dashes.
#ifndef KX_SVG_SEGMENT_STROKEMESH_H
#define KX_SVG_SEGMENT_STROKEMESH_H

#include <kx/svg/RenderingProperties.h>
#include <kx/svg/SegmentationOptions.h>
#include <kx/svg/SegmentedPrimitive.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <vector>

namespace kx {
namespace svg {
namespace impl {

/// How an outline is stroked, every length in the outline's own units.
struct StrokeStyle {
    float width = 1.0f;                 ///< full width of the pen
    LineCap cap = LineCap::Butt;        ///< ends of open sub-paths and dashes
    LineJoin join = LineJoin::Miter;    ///< corners between segments
    float miterLimit = 4.0f;            ///< miter length over width past which a miter is cut
    std::vector<float> dashes;          ///< on/off lengths, even count and positive sum, or empty
    float tolerance = 0.05f;            ///< largest distance of a round piece's chord from its arc
};

/// The stroke style the cascaded `props` ask for: width (default 1), cap,
/// join (arcs drawn as miter-clip), and the dash array in user units, with
/// percentages of `percentLength` (the viewport's diagonal over the square
/// root of 2) and an odd count repeated. A dash array with a negative entry,
/// a zero or non-finite sum, or percentages without a `percentLength` draws
/// the stroke solid.
StrokeStyle StrokeStyleFromProperties(const RenderingProperties& props, float percentLength, float tolerance);

/// Appends the stroke of the outline (`lineIndices` pairs into `points`) as
/// triangles to `outPoints` / `outIndices`. Each run of pairs joined by index
/// is one sub-path: closed when it ends on its own first index or on an index
/// listed in `closedEnds` (ascending, may be null): joined all round, no caps;
/// open otherwise (capped). A sub-path of zero length draws a dot
/// with round or square caps. Indices out of range, non-finite points and
/// zero-length segments are skipped. Pieces may overlap. The work is linear
/// in the number of segments plus dashes plus round pieces.
void AppendStrokeMesh(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& lineIndices,
                      const std::vector<unsigned int>* closedEnds, const StrokeStyle& style,
                      std::vector<Wm4::Vector2<float>>& outPoints,
                      std::vector<unsigned int>& outIndices);

/// Replaces a triangle soup by the non-zero fill of its triangles (each taken
/// counter-clockwise): the same covered region with no triangle overlapping
/// another. False, with the input untouched, when the fill fails.
bool UnionTriangles(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& indices);

/// Fills `primitive.strokePoints` / `strokeIndices` when `options.strokeMeshes`
/// is on and `props` has a visible stroke: the outline (`points`, `lineIndices`,
/// item coordinates, before any clean-up; `closedEnds` as for
/// `AppendStrokeMesh`) is stroked in item coordinates and
/// mapped by `transform` (may be null), or with non-scaling-stroke mapped
/// first and stroked in document units. Logs at level 2 when the
/// non-overlapping union fails (the overlapping mesh is kept).
void AttachStrokeMesh(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& lineIndices,
                      const std::vector<unsigned int>* closedEnds, const Wm4::Matrix3<float>* transform,
                      const RenderingProperties* props,
                      const SegmentationOptions& options, SegmentedPrimitive& primitive);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
