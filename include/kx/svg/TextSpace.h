// TextSpace.h - turning the raw content of a text element into displayed text.
#ifndef KX_SVG_TEXTSPACE_H
#define KX_SVG_TEXTSPACE_H

#include <kx/svg/Export.h>

#include <string>

namespace kx {
namespace svg {

/// The displayed form of `text` when xml:space is "preserve": every tab, line
/// feed and carriage return becomes one space. The length never changes.
/// Works on bytes, so UTF-8 sequences pass through unchanged.
KXSVG_API std::string ApplySvgXMLSpacePreserve(const std::string& text);

/// The displayed form of `text` in the default xml:space mode: line breaks are
/// dropped, runs of spaces and tabs become one space, leading and trailing
/// blanks go. Blanks on each side of a line break stay separate runs (so
/// "a \n b" gives "a  b"), and a first word ended by a line break still counts
/// as the start of the text (so "a\n b" gives "ab"). Works on bytes.
KXSVG_API std::string ApplySvgXMLSpaceDefault(const std::string& text);

} // namespace svg
} // namespace kx

#endif
