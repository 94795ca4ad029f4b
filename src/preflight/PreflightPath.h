// PreflightPath.h - rewriting path data into the strict path grammar.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTPATH_H
#define KX_SVG_PREFLIGHT_PREFLIGHTPATH_H

#include <string>
#include <string_view>

namespace kx {
namespace svg {
namespace preflight {

/// What a path rewrite did.
struct PathRewriteStats {
    unsigned quadratics = 0;   ///< Q/q/T/t segments turned into cubic segments
    unsigned smoothAfterQuadratic = 0; ///< S/s segments written as C/c because they followed a quadratic
    /// S/s segments written as C/c because the reader reflects the stored numbers
    /// of the previous cubic, which equals the reflected point only for S after C/S.
    unsigned smoothReflections = 0;
    /// Arcs whose radii were too small for their end points, written with the
    /// radii SVG scales them up to (the reader keeps radii as given).
    unsigned arcRadiiEnlarged = 0;
    bool truncated = false;    ///< the data had an error; what came before it was kept
};

/// Rewrites SVG path data so that the strict parser accepts it and the reader
/// draws what SVG means: one space between all numbers and flags, no commas,
/// quadratic segments as exact cubic equivalents, smooth cubics with an
/// explicit first control point wherever the reader's reflection would differ.
/// Numbers that need no change keep their exact text.
/// Returns false when not even a first move-to could be read (`out` empty).
bool RewritePathData(std::string_view in, std::string& out, PathRewriteStats& stats);

/// Shortest text of a single-precision value that reads back as the same float
/// ("-0" is written "0").
std::string FormatFloat(double value);

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
