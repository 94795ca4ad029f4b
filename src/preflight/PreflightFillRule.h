// PreflightFillRule.h - writing a non-zero fill as path data that fills even-odd.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTFILLRULE_H
#define KX_SVG_PREFLIGHT_PREFLIGHTFILLRULE_H

#include <string>

namespace kx {
namespace svg {
namespace preflight {

/// The library fills paths even-odd; SVG's default is non-zero. When the
/// non-zero fill of `d` (data the strict reader accepts), flattened as the
/// segmenter flattens paths, covers a different area than its even-odd fill
/// (sub-paths nested in the same direction, a sub-path crossing itself,
/// crossing sub-paths), writes in `boundary` the boundary rings of the
/// non-zero region ("M x y L ... Z" per ring, coordinates rounded to float)
/// and returns true. Returns false, `boundary` empty, when both fills agree,
/// when the outline cannot be filled, or when it has more than 100,000 points.
bool NonZeroFillAsEvenOdd(const std::string& d, std::string& boundary);

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
