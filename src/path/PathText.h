// PathText.h - path-data conversion over text the caller keeps alive.
#ifndef KX_SVG_SRC_PATH_PATHTEXT_H
#define KX_SVG_SRC_PATH_PATHTEXT_H

#include <kx/svg/Items.h>

#include <list>
#include <string>
#include <string_view>

namespace kx {
namespace svg {
namespace impl {

/// `ConvertPathStringToCommands` over `text` where it lies: the reader hands
/// attribute values over without copying them (long path data would take
/// two large copies per path otherwise). Same results, messages and
/// exceptions.
bool ConvertPathTextToCommands(std::string_view text, std::list<Path::Command>& commands, std::string* error);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
