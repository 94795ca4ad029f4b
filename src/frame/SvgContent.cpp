// SvgContent.cpp - recognising SVG bytes and inflating gzip-compressed ones.
#include "frame/SvgContent.h"

#include <kx/system/kxIoDevice.h>
#include <kx/system/kxStringUtils.h>

#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <climits>

namespace kx {
namespace svg {
namespace impl {

namespace {

bool IsGzip(std::string_view bytes)
{
    return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1f &&
           static_cast<unsigned char>(bytes[1]) == 0x8b;
}

// Inflates every gzip member of `bytes` (files made by concatenation have
// several) into `out`. The output grows by doubling, so the cost stays linear.
bool Inflate(std::string_view bytes, const std::string& what, std::uint64_t maxInflated, std::string& out,
             std::vector<std::string>& messages)
{
    z_stream stream{};
    // 16 + MAX_WBITS: a gzip header and trailer around the deflate data.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) {
        messages.push_back(what + " is gzip-compressed but the decompressor could not start");
        return false;
    }
    const unsigned char* next = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t remaining = bytes.size();
    out.clear();
    std::size_t produced = 0;
    int rc = Z_OK;
    bool ok = true;
    for (;;) {
        if (stream.avail_in == 0 && remaining > 0) {
            const std::size_t chunk = std::min<std::size_t>(remaining, UINT_MAX);
            stream.next_in = const_cast<unsigned char*>(next);
            stream.avail_in = static_cast<uInt>(chunk);
            next += chunk;
            remaining -= chunk;
        }
        if (produced == out.size()) {
            if (produced >= maxInflated) {
                messages.push_back(what + " expands to more than " + kxStringUtils::fromUInt64(maxInflated) +
                                   " bytes when decompressed; it is refused");
                ok = false;
                break;
            }
            const std::uint64_t grown = std::max<std::uint64_t>(out.size() * 2, 1u << 16);
            out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(grown, maxInflated)));
        }
        const std::size_t room = std::min<std::size_t>(out.size() - produced, UINT_MAX);
        stream.next_out = reinterpret_cast<unsigned char*>(&out[produced]);
        stream.avail_out = static_cast<uInt>(room);
        rc = inflate(&stream, Z_NO_FLUSH);
        produced += room - stream.avail_out;
        if (rc == Z_STREAM_END) {
            if (stream.avail_in == 0 && remaining == 0) break;
            // Another member follows, unless what is left is padding.
            if (!IsGzip(std::string_view(reinterpret_cast<const char*>(stream.next_in),
                                         stream.avail_in > 1 ? 2 : stream.avail_in)))
                break;
            inflateReset(&stream);
            continue;
        }
        if (rc == Z_BUF_ERROR && stream.avail_in == 0 && remaining == 0) {
            messages.push_back(what + " is gzip-compressed but ends before its compressed data does");
            ok = false;
            break;
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            messages.push_back(what + " is gzip-compressed but cannot be decompressed (" +
                               (stream.msg ? std::string(stream.msg) : std::string("corrupt data")) + ")");
            ok = false;
            break;
        }
    }
    inflateEnd(&stream);
    out.resize(ok ? produced : 0);
    return ok;
}

bool LooksLikeXml(std::string_view text)
{
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    // UTF-16 in either byte order: the XML reader decodes it.
    if (text.size() >= 2 && ((byteAt(0) == 0xff && byteAt(1) == 0xfe) || (byteAt(0) == 0xfe && byteAt(1) == 0xff)))
        return true;
    std::size_t i = 0;
    if (text.size() >= 3 && byteAt(0) == 0xef && byteAt(1) == 0xbb && byteAt(2) == 0xbf) i = 3;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
    return i < text.size() && text[i] == '<';
}

} // namespace

bool DecodeSvgContent(std::string_view bytes, const std::string& what, std::uint64_t maxInflated,
                      std::string& inflated, std::string_view& text, std::vector<std::string>& messages)
{
    text = bytes;
    if (IsGzip(bytes)) {
        if (!Inflate(bytes, what, maxInflated, inflated, messages)) return false;
        text = inflated;
    }
    if (text.empty()) {
        messages.push_back(what + " is empty");
        return false;
    }
    if (!LooksLikeXml(text)) {
        messages.push_back(what + " is not an SVG file: its content does not start with '<'");
        return false;
    }
    return true;
}

bool ReadWholeFile(const std::string& path, std::string& bytes)
{
    kxIoDeviceFileStream file(path, kxIoDevice::Read, true);
    if (!file.isOpen()) return false;
    bytes.clear();
    // The first block is the file's size plus one byte, so that a regular file
    // is read into one buffer that is never copied; after that, growing
    // blocks, since the size cannot be trusted for every kind of file (pipes,
    // /proc, a file that grows), and a directory opens but cannot be read.
    std::error_code error;
    const std::uintmax_t size = std::filesystem::is_regular_file(path, error) ? std::filesystem::file_size(path, error) : 0;
    const std::size_t first = !error && size < (std::uintmax_t(1) << 40) ? static_cast<std::size_t>(size) + 1 : 0;
    std::size_t used = 0;
    for (;;) {
        if (used == bytes.size()) bytes.resize(std::max<std::size_t>({bytes.size() * 2, first, std::size_t(1) << 16}));
        const int64_t got = file.readBytes(&bytes[used], static_cast<int64_t>(bytes.size() - used));
        if (got < 0 || file.hasDeviceError()) return false;
        used += static_cast<std::size_t>(got);
        if (got == 0 || file.isEndOfData()) break;
    }
    bytes.resize(used);
    return true;
}

} // namespace impl
} // namespace svg
} // namespace kx
