// Library.h - start-up and shut-down of libkxSvg.
#ifndef KX_SVG_LIBRARY_H
#define KX_SVG_LIBRARY_H

#include <kx/svg/Export.h>

namespace kx {
namespace svg {

/// Prepares the library: the XML layer, the IO manager and its SVG driver.
/// Calls nest; only the first one does the work. Thread-safe.
KXSVG_API void initializeKxSvg();

/// Undoes `initializeKxSvg` on the last matching call: the driver and the
/// manager are deleted (`kxSvgIOManager::get()` returns null again).
/// No load or save may run while the last call is under way.
KXSVG_API void terminateKxSvg();

} // namespace svg
} // namespace kx

#endif
