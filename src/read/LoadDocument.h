// LoadDocument.h - the SVG reader as the driver runs it.
#ifndef KX_SVG_READ_LOADDOCUMENT_H
#define KX_SVG_READ_LOADDOCUMENT_H

#include <kx/svg/Items.h>
#include <kx/svg/Options.h>

#include <functional>
#include <string>

class kxIoDevice;

namespace kx {
namespace svg {
namespace impl {

using MessageSink = std::function<void(const std::string&)>;

/// Parses SVG from `device` into `result` with a `Loader`. Errors and
/// warnings go to the two sinks (either may be empty). Returns the XML
/// parser's verdict; never throws for bad input.
bool LoadSvgDocument(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const LoadOptions& options,
                     const MessageSink& errorSink, const MessageSink& warningSink);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
