// PreflightSplit.h - splitting a path whose sub-paths cross into fillable groups.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTSPLIT_H
#define KX_SVG_PREFLIGHT_PREFLIGHTSPLIT_H

#include <kx/svg/Items.h>

#include <string>
#include <vector>

namespace kx {
namespace svg {
namespace preflight {

/// The library fills a path even-odd and refuses the fill of a path whose
/// outlines cross (an icon built from overlapping pieces, the usual way of
/// drawing a union under SVG's default non-zero rule). When `commands` (path
/// data as the strict reader parsed it) are such a path, this finds groups of
/// its sub-paths that fill on their own, keeping each sub-path with the first
/// group that overlaps it and still fills, so that holes stay with their
/// outlines, and
/// returns true with one path-data text per group in `parts`, in document
/// order of their first sub-paths. A sub-path starting with a relative
/// move-to gets its absolute start point; every other number keeps its value.
/// Returns false, `parts` empty, when the whole path fills, when one sub-path
/// cannot fill even alone, or when the path is too large to search
/// (more than 256 sub-paths or 100,000 outline points, or more than
/// 1,000,000 outline points flattened over all the tests).
bool SplitCrossingSubpaths(const Path::Commands& commands, std::vector<std::string>& parts);

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
