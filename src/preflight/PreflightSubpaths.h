// PreflightSubpaths.h - the sub-paths of parsed path data, their outlines and their text.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTSUBPATHS_H
#define KX_SVG_PREFLIGHT_PREFLIGHTSUBPATHS_H

#include "segment/SegmentationCommon.h"

#include <kx/svg/Items.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kx {
namespace svg {
namespace preflight {

/// Limits of the fill-rule and crossing rewrites: a path with more sub-paths,
/// or whose flattened outline has more points, is left as it is.
constexpr std::size_t kMaxRewriteSubpaths = 256;
constexpr std::size_t kMaxRewritePoints = 100000;

/// The commands of one sub-path, opened by an absolute move-to.
using Subpath = std::vector<Path::Command>;

/// Cuts parsed path data into sub-paths, each opened by an absolute move-to at
/// the point where the reader would start it (a relative move-to, or drawing
/// right after a close, gets its absolute start point; every other number
/// keeps its value). False on a command short of numbers.
bool SplitIntoSubpaths(const Path::Commands& commands, std::vector<Subpath>& subpaths);

/// Path data for the given sub-paths in order: letters as parsed, every number
/// the shortest text that reads back as the same float.
std::string WriteSubpaths(const std::vector<const Subpath*>& parts);

/// Flattens path data exactly as the segmenter flattens a path, so that fill
/// tests see the outline the library will fill. Reuses its workspace between calls.
class OutlineFlattener {
public:
    /// The outline of `path` (points and pairs of indices); false when it draws nothing.
    bool flatten(const Path& path, std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& indices);
    /// The same for a run of sub-paths.
    bool flatten(const std::vector<const Subpath*>& parts, std::vector<Wm4::Vector2<float>>& points,
                 std::vector<unsigned int>& indices);

private:
    SegmentationUtils::BezierSegmentationWorkspace m_workspace;
};

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
