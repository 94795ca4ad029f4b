// SegmentedPrimitive.h - one flattened item: outline polyline and fill triangles.
#ifndef KX_SVG_SEGMENTEDPRIMITIVE_H
#define KX_SVG_SEGMENTEDPRIMITIVE_H

#include <kx/svg/Export.h>
#include <kx/svg/RenderingProperties.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <vector>

namespace kx {
namespace svg {

/// The output of segmentation for one item, in final (document) coordinates.
/// Movable, not copyable.
struct KXSVG_API SegmentedPrimitive {
    std::vector<Wm4::Vector2<float>> points;        ///< outline vertices
    std::vector<unsigned int> lineIndices;          ///< index pairs into `points`, one per outline segment
    std::vector<Wm4::Vector2<float>> trianglePoints; ///< fill triangle vertices
    std::vector<unsigned int> triangleIndices;      ///< index triples into `trianglePoints`
    RenderingProperties properties;                 ///< the item's cascaded presentation attributes
    /// True when the item should be filled but its fill could not be built
    /// (the outline is still there, the triangles are empty).
    bool fillFailed = false;
    /// Stroke triangle vertices in document coordinates; empty unless
    /// `SegmentationOptions::strokeMeshes` is on and the item has a visible stroke.
    std::vector<Wm4::Vector2<float>> strokePoints;
    /// Index triples into `strokePoints`, each counter-clockwise in a y-up
    /// frame. Triangles may overlap unless `SegmentationOptions::strokeNonOverlapping`.
    std::vector<unsigned int> strokeIndices;

    SegmentedPrimitive() = default;
    SegmentedPrimitive(SegmentedPrimitive&& other) noexcept;
    SegmentedPrimitive& operator=(SegmentedPrimitive&& other) noexcept;
    SegmentedPrimitive(const SegmentedPrimitive&) = delete;
    SegmentedPrimitive& operator=(const SegmentedPrimitive&) = delete;

    /// Builds a primitive from an outline given in item coordinates: unless
    /// `props` says the item is not filled (or the index count is odd), the
    /// contour is cleaned and its even-odd fill triangulated; then `transform`
    /// (may be null) maps outline and triangles. When the fill cannot be
    /// triangulated, "Shape cannot be rendered. Only its contour will be
    /// visible." is logged at level 2, `*fillFailed` (may be null) is set and
    /// the outline is kept.
    static SegmentedPrimitive FromContour(std::vector<Wm4::Vector2<float>>&& points,
                                          std::vector<unsigned int>&& lineIndices,
                                          const Wm4::Matrix3<float>* transform, const RenderingProperties* props,
                                          bool* fillFailed);
};

} // namespace svg
} // namespace kx

#endif
