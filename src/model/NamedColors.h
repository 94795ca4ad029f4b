// NamedColors.h - the CSS named-colour table.
#ifndef KX_SVG_MODEL_NAMEDCOLORS_H
#define KX_SVG_MODEL_NAMEDCOLORS_H

#include <cstddef>
#include <string_view>

namespace kx {
namespace svg {
namespace impl {

struct NamedColor {
    const char* name;
    unsigned char red;
    unsigned char green;
    unsigned char blue;
};

/// Looks up an exact, case-sensitive colour keyword; null when unknown.
const NamedColor* FindNamedColor(std::string_view name);

/// The whole table, sorted by name (for tests).
const NamedColor* NamedColorsBegin();
std::size_t NamedColorsCount();

} // namespace impl
} // namespace svg
} // namespace kx

#endif
