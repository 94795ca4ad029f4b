// PathNumber.h - conversion of the number texts taken by the path-data scanner.
#ifndef KX_SVG_SRC_PATH_PATHNUMBER_H
#define KX_SVG_SRC_PATH_PATHNUMBER_H

#include "model/Numbers.h"

namespace kx {
namespace svg {
namespace impl {

/// Converts a number text taken by the path scanner: `ConvertFloat`, under the
/// name the path parser and its tests know.
inline bool ConvertPathNumber(const char* first, const char* last, float& value)
{
    return ConvertFloat(first, last, value);
}

/// The reference conversion the fast path must match (`ConvertFloatStrtof`).
inline bool ConvertPathNumberStrtof(const char* first, const char* last, float& value)
{
    return ConvertFloatStrtof(first, last, value);
}

} // namespace impl
} // namespace svg
} // namespace kx

#endif
