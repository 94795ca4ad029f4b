// PathNumber.h - conversion of the number texts taken by the path-data scanner.
#ifndef KX_SVG_SRC_PATH_PATHNUMBER_H
#define KX_SVG_SRC_PATH_PATHNUMBER_H

namespace kx {
namespace svg {
namespace impl {

/// Converts the characters [first, last) as `strtof_l` in the "C" locale would
/// convert them on their own. Returns true and sets `value` only when the
/// conversion uses every character ("1e", "-", "." or "1e5.5" give false).
/// The common forms go through fast_float, which yields the same correctly
/// rounded float; anything it does not take whole falls back to `strtof_l`.
bool ConvertPathNumber(const char* first, const char* last, float& value);

/// The same through `strtof_l` only: the reference the fast path must match.
bool ConvertPathNumberStrtof(const char* first, const char* last, float& value);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
