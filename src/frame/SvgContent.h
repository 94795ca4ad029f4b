// SvgContent.h - recognising SVG bytes and inflating gzip-compressed ones.
#ifndef KX_SVG_FRAME_SVGCONTENT_H
#define KX_SVG_FRAME_SVGCONTENT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kx {
namespace svg {
namespace impl {

/// Makes `bytes` ready for the XML reader. Gzip data (magic 1f 8b) is inflated
/// into `inflated`, at most `maxInflated` bytes, and `text` then views it;
/// otherwise `text` views `bytes` itself. The text must then look like XML:
/// after an optional UTF-8 byte-order mark and white space it starts with
/// '<', or it starts with a UTF-16 byte-order mark. On failure returns false
/// and appends one message naming the input as `what` ("File 'a.svg'",
/// "Data") to `messages`.
bool DecodeSvgContent(std::string_view bytes, const std::string& what, std::uint64_t maxInflated,
                      std::string& inflated, std::string_view& text, std::vector<std::string>& messages);

/// Reads a whole file into `bytes`; false when it cannot be opened or read.
bool ReadWholeFile(const std::string& path, std::string& bytes);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
