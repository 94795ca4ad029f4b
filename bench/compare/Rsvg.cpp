// Rsvg.cpp - librsvg's load from memory, and libxml2's SAX parser with empty
// callbacks (the floor under any load that parses XML with it).
#include "Compare.h"

#include <libxml/parser.h>
#include <librsvg/rsvg.h>

#include <algorithm>
#include <cstring>

namespace kxcompare {
namespace {

void SaxNoOpStart(void*, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**, int, int,
                  const xmlChar**)
{
}
void SaxNoOpEnd(void*, const xmlChar*, const xmlChar*, const xmlChar*) {}
void SaxNoOpCharacters(void*, const xmlChar*, int) {}

} // namespace

bool SaxEmptyParse(const std::string& bytes)
{
    xmlSAXHandler handler;
    std::memset(&handler, 0, sizeof handler);
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = SaxNoOpStart;
    handler.endElementNs = SaxNoOpEnd;
    handler.characters = SaxNoOpCharacters;
    xmlParserCtxtPtr context = xmlCreatePushParserCtxt(&handler, nullptr, nullptr, 0, nullptr);
    if (!context) return false;
    xmlCtxtUseOptions(context, XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_NOENT);
    // The same 64 KiB blocks a stream reader would hand over.
    const std::size_t block = 65536;
    bool ok = true;
    for (std::size_t at = 0; at < bytes.size() && ok; at += block) {
        const std::size_t n = std::min(block, bytes.size() - at);
        ok = xmlParseChunk(context, bytes.data() + at, int(n), 0) == 0;
    }
    ok = ok && xmlParseChunk(context, nullptr, 0, 1) == 0 && context->wellFormed;
    xmlFreeParserCtxt(context);
    return ok;
}

bool RsvgLoad(const std::string& bytes)
{
    GInputStream* stream = g_memory_input_stream_new_from_data(bytes.data(), gssize(bytes.size()), nullptr);
    GError* error = nullptr;
    RsvgHandle* handle = rsvg_handle_new_from_stream_sync(stream, nullptr, RSVG_HANDLE_FLAG_UNLIMITED, nullptr, &error);
    g_object_unref(stream);
    if (error) g_error_free(error);
    if (!handle) return false;
    g_object_unref(handle);
    return true;
}

} // namespace kxcompare
