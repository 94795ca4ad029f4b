// PathDataWriter.h - the "d" text of a path.
#ifndef KX_SVG_WRITE_PATHDATAWRITER_H
#define KX_SVG_WRITE_PATHDATAWRITER_H

#include <kx/svg/Items.h>
#include <kx/svg/Options.h>

#include <string>

namespace kx {
namespace svg {
namespace impl {

/// Replaces `out` with the path data of `commands`: compact (separators only
/// where two numbers would merge) or, with `formatOutput`, one space between
/// every token. Letters of implicit repetitions are left out.
void BuildPathData(const Path::Commands& commands, const SaveOptions& options, std::string& out);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
