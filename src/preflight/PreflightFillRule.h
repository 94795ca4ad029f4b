// PreflightFillRule.h - writing a non-zero fill as path data that fills even-odd.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTFILLRULE_H
#define KX_SVG_PREFLIGHT_PREFLIGHTFILLRULE_H

#include <kx/svg/Items.h>

#include <string>

namespace kx {
namespace svg {
namespace preflight {

/// How a non-zero fill was written as data that fills even-odd.
enum class NonZeroRewrite {
    None,            ///< both fills agree, or the outline cannot be filled or is too large
    SubpathsDropped, ///< exact: the sub-paths that bound nothing of the region were left out
    Boundary         ///< approximated: the flattened boundary rings of the region
};

/// The library fills paths even-odd; SVG's default is non-zero. When the
/// non-zero fill of `commands` (path data as the strict reader parsed it),
/// flattened as the segmenter flattens paths, covers a different area than
/// its even-odd fill, writes in `d` data whose even-odd fill is that non-zero
/// fill. When no sub-path crosses itself or another (sub-paths nested in the
/// same direction), that is the sub-paths across which the non-zero fill
/// changes, in their order, with their numbers' values (`SubpathsDropped`);
/// otherwise the boundary rings of the non-zero region ("M x y L ... Z" per
/// ring, coordinates rounded to float, `Boundary`). Returns `None`, `d`
/// empty, when both fills agree, when the outline cannot be filled, or when it
/// has more than 100,000 points.
NonZeroRewrite NonZeroFillAsEvenOdd(const Path::Commands& commands, std::string& d);

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
