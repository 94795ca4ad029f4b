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
