// SaveDocument.h - the document save routine as the driver runs it.
#ifndef KX_SVG_WRITE_SAVEDOCUMENT_H
#define KX_SVG_WRITE_SAVEDOCUMENT_H

#include <kx/svg/Items.h>
#include <kx/svg/Options.h>

class kxIoDevice;

namespace kx {
namespace svg {
namespace impl {

/// Writes `root` and its subtree as an SVG document to `device`: XML
/// declaration, head comments, elements, flushing every 8192 bytes. True when
/// the writer met no error.
bool SaveSvgDocument(const ItemInterface& root, kxIoDevice& device, const SaveOptions& options);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
