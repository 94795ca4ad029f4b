// SegmentationOptions.h - how a tree is flattened and filled.
#ifndef KX_SVG_SEGMENTATIONOPTIONS_H
#define KX_SVG_SEGMENTATIONOPTIONS_H

#include <kx/svg/Export.h>
#include <kx/svg/Triangulate.h>

namespace kx {
namespace svg {

/// Settings of `SegmenterVisitor`. A default-constructed record gives the
/// visitor's historical output, bit for bit: even-odd fills of outlines that
/// must not cross, contour clean-up, 32 pieces per circle, cubic and arc, and
/// nothing segmented after the first fill that fails. `realSvg()` is the
/// preset for drawings from the wild.
struct KXSVG_API SegmentationOptions {
    /// Which winding numbers a fill covers.
    TriangulationFillRule fillRule = TriangulationFillRule::EvenOdd;
    /// Split outline segments where they cross or overlap before filling, so
    /// that self-intersecting outlines fill (see `kx::TriangulateFill`).
    bool resolveCrossings = false;
    /// Stop segmenting after the first item whose fill fails (the visitor's
    /// `hasError()` is then true). Off, a failed fill is logged and flagged
    /// on its primitive (`SegmentedPrimitive::fillFailed`), its outline is
    /// kept, and the walk goes on; `hasError()` still reports it.
    bool stopAtFirstFailedFill = true;
    /// Clean each contour before filling (merge tiny segments, drop
    /// straight-through vertices, close nearly closed contours; see
    /// `kx::CleanupContour`). The outline handed out is the cleaned one.
    bool cleanupContours = true;
    /// At most this many leaves per cubic Bezier curve.
    unsigned int bezierMaxLeaves = 32;
    /// Subdivision stops once no leaf's error exceeds this (see
    /// `SegmentationUtils::DeCasteljauGetBezierPoints`).
    float bezierTolerance = -0.999f;
    /// Pieces per elliptical arc of a path.
    unsigned int arcPieces = 32;
    /// Pieces per circle.
    unsigned int circlePieces = 32;

    /// Also build each visibly stroked item's stroke as triangles
    /// (`SegmentedPrimitive::strokePoints` / `strokeIndices`, document
    /// coordinates): width, caps, joins (miter limit 4), dashes and
    /// non-scaling-stroke as the item's cascaded properties say. Off, those
    /// members stay empty.
    bool strokeMeshes = false;
    /// Largest distance, in document units, between a round join, cap or dot
    /// and the chords that draw it.
    float strokeTolerance = 0.05f;
    /// Replace each stroke mesh by the union of its pieces, so that no two
    /// triangles overlap (a translucent stroke then does not darken where
    /// its pieces cross). Costs a non-zero fill per stroked item.
    bool strokeNonOverlapping = false;
    /// The length, in user units, that 100% stands for in a dash array: the
    /// viewport's diagonal divided by the square root of 2. 0 (unknown)
    /// draws strokes with percentage dashes solid.
    float strokePercentLength = 0.0f;

    /// Even-odd fills with crossings resolved, going on past a failed fill:
    /// how drawings from real editors and icon sets come out whole.
    static SegmentationOptions realSvg()
    {
        SegmentationOptions options;
        options.resolveCrossings = true;
        options.stopAtFirstFailedFill = false;
        return options;
    }
};

} // namespace svg
} // namespace kx

#endif
