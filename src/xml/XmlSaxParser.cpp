// XmlSaxParser.cpp - ParseXmlStream: libxml2's SAX2 push parser fed from a
// byte device in chunks, with the handler's verdicts applied on top.
#include <kx/xml/XmlSaxParser.h>

#include <kx/system/kxCancel.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>
#include <kx/xml/XmlDiagnosticScope.h>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

namespace kx {
namespace xml {

XmlSaxParserHandler::~XmlSaxParserHandler() = default;

namespace {

// Bytes handed to libxml2 per call: large enough to keep the call overhead
// low, small enough that a huge file is never held in memory.
constexpr int64_t kChunkSize = 64 * 1024;

// Entity references can make the parser produce far more than it reads (one
// 10 KB entity referenced a hundred thousand times gives a gigabyte), and
// libxml2 only catches that when it builds a tree itself. The events are
// therefore weighed here: once they outgrow the input read so far by this
// factor, beyond a fixed allowance, the parse fails.
constexpr int64_t kAmplificationFactor = 10;
constexpr int64_t kAmplificationAllowance = 8 * 1024 * 1024;
const char* const kAmplificationMessage = "Maximum entity amplification factor exceeded";

// What the callbacks share. libxml2 hands every callback a parser context
// (the document's own, or a temporary one while it parses the replacement
// text of an entity); both carry a pointer to this object in `_private`.
struct ParseSession {
    XmlSaxParserHandler& handler;
    xmlParserCtxtPtr documentContext = nullptr;
    bool started = false;   // startDocument was delivered
    bool stopped = false;   // an error, a false result or verdict 2 ended the parse
    int skipDepth = 0;      // > 0 while inside an element the handler chose to skip
    std::exception_ptr pendingException;
    std::vector<XmlAttribute> attributes; // reused by every start tag
    std::string name;                     // reused for prefixed names
    int64_t bytesFed = 0;                 // input handed to libxml2 so far
    int64_t bytesProduced = 0;            // weight of the events libxml2 produced

    explicit ParseSession(XmlSaxParserHandler& h) : handler(h) {}
};

ParseSession* sessionOf(void* context)
{
    if (!context)
        return nullptr;
    return static_cast<ParseSession*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

void stop(ParseSession& session, void* context)
{
    session.stopped = true;
    if (context)
        xmlStopParser(static_cast<xmlParserCtxtPtr>(context));
    if (session.documentContext && session.documentContext != context)
        xmlStopParser(session.documentContext);
}

// Runs a handler call; an exception (for example an allocation failure)
// must not unwind through libxml2's C frames, so it is kept and rethrown
// once the parser is released.
template <class Call>
void guarded(ParseSession& session, void* context, Call&& call)
{
    try {
        if (!call())
            stop(session, context);
    } catch (...) {
        session.pendingException = std::current_exception();
        stop(session, context);
    }
}

// Adds an event's weight; false (after reporting the failure) when the
// events have grown out of proportion with the input.
bool weigh(ParseSession& session, void* context, int64_t weight)
{
    session.bytesProduced += weight;
    if (session.bytesProduced <= kAmplificationAllowance + kAmplificationFactor * session.bytesFed)
        return true;
    guarded(session, context, [&] {
        session.handler.message(kAmplificationMessage, XmlSeverityFatal);
        return false;
    });
    return false;
}

const std::string& qualifiedName(ParseSession& session, const xmlChar* localName, const xmlChar* prefix)
{
    session.name.clear();
    if (prefix && *prefix) {
        session.name += reinterpret_cast<const char*>(prefix);
        session.name += ':';
    }
    if (localName)
        session.name += reinterpret_cast<const char*>(localName);
    return session.name;
}

std::string_view view(const xmlChar* text)
{
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

void onStartDocument(void* context)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped)
        return;
    // libxml2 keeps declared entities in a document object; the default
    // handler creates it (no tree is built: element callbacks are ours).
    if (session->started || context != session->documentContext)
        return;
    xmlSAX2StartDocument(context);
    session->started = true;
    guarded(*session, context, [&] { return session->handler.startDocument(); });
}

void onEndDocument(void*)
{
    // Delivered by ParseXmlStream itself once the last chunk was accepted.
}

void onStartElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar*,
                    int namespaceCount, const xmlChar** namespaces, int attributeCount, int,
                    const xmlChar** attributes)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped)
        return;
    int64_t weight = 2 + (localName ? static_cast<int64_t>(std::strlen(reinterpret_cast<const char*>(localName))) : 0);
    for (int i = 0; i < attributeCount && attributes; ++i) {
        const xmlChar** a = attributes + 5 * i;
        if (a[3] && a[4] && a[4] >= a[3])
            weight += 4 + (a[4] - a[3]);
    }
    if (!weigh(*session, context, weight))
        return;
    if (session->skipDepth > 0) {
        ++session->skipDepth;
        return;
    }
    guarded(*session, context, [&] {
        session->attributes.clear();
        // The default namespace declaration is handed over as an attribute
        // "xmlns"; prefixed declarations ("xmlns:xlink") are not.
        for (int i = 0; i < namespaceCount && namespaces; ++i) {
            const xmlChar* nsPrefix = namespaces[2 * i];
            if (!nsPrefix)
                session->attributes.push_back({"xmlns", std::string_view(), view(namespaces[2 * i + 1])});
        }
        for (int i = 0; i < attributeCount && attributes; ++i) {
            const xmlChar** a = attributes + 5 * i;
            const char* valueStart = reinterpret_cast<const char*>(a[3]);
            const char* valueEnd = reinterpret_cast<const char*>(a[4]);
            std::string_view value;
            if (valueStart && valueEnd && valueEnd >= valueStart)
                value = std::string_view(valueStart, static_cast<size_t>(valueEnd - valueStart));
            session->attributes.push_back({view(a[0]), view(a[1]), value});
        }
        const std::string& name = qualifiedName(*session, localName, prefix);
        const int verdict = session->handler.startElement(name.c_str(), session->attributes);
        if (verdict == XmlEnterElement)
            return true;
        if (verdict == XmlSkipElement) {
            session->skipDepth = 1;
            return true;
        }
        return false;
    });
}

void onEndElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar*)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped || !weigh(*session, context, 3))
        return;
    if (session->skipDepth > 0) {
        // The end tag of a skipped element is not delivered either.
        --session->skipDepth;
        return;
    }
    guarded(*session, context, [&] {
        const std::string& name = qualifiedName(*session, localName, prefix);
        return session->handler.endElement(name.c_str());
    });
}

void onCharacters(void* context, const xmlChar* text, int length)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped || !weigh(*session, context, length > 0 ? length : 0))
        return;
    if (session->skipDepth > 0)
        return;
    guarded(*session, context, [&] {
        return session->handler.characters(reinterpret_cast<const char*>(text), length);
    });
}

// Comments and processing instructions are not handed over, but they are
// weighed: an entity full of comments must not make the parser spin.
void onComment(void* context, const xmlChar* text)
{
    ParseSession* session = sessionOf(context);
    if (session && !session->stopped && text)
        weigh(*session, context, 7 + static_cast<int64_t>(std::strlen(reinterpret_cast<const char*>(text))));
}

void onProcessingInstruction(void* context, const xmlChar* target, const xmlChar* data)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped)
        return;
    int64_t weight = 4;
    if (target)
        weight += static_cast<int64_t>(std::strlen(reinterpret_cast<const char*>(target)));
    if (data)
        weight += static_cast<int64_t>(std::strlen(reinterpret_cast<const char*>(data)));
    weigh(*session, context, weight);
}

// External entities are never declared: a reference to one is then an
// undeclared entity, which libxml2 reports, and nothing is ever loaded from
// a file or the network whatever the document asks for.
void onEntityDeclaration(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                         const xmlChar* systemId, xmlChar* content)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped)
        return;
    if (type != XML_INTERNAL_GENERAL_ENTITY && type != XML_INTERNAL_PARAMETER_ENTITY)
        return;
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
}

xmlParserInputPtr onResolveEntity(void*, const xmlChar*, const xmlChar*)
{
    return nullptr;
}

void onExternalSubset(void*, const xmlChar*, const xmlChar*, const xmlChar*)
{
    // The external DTD subset is never loaded.
}

int severityOf(xmlErrorLevel level)
{
    switch (level) {
    case XML_ERR_WARNING: return XmlSeverityWarning;
    case XML_ERR_ERROR: return XmlSeverityError;
    default: return XmlSeverityFatal;
    }
}

void onStructuredError(void* context, xmlErrorPtr error)
{
    ParseSession* session = sessionOf(context);
    if (!session || session->stopped || !error)
        return;
    std::string text = error->message ? error->message : "XML parser error";
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    const int severity = severityOf(error->level);
    guarded(*session, context, [&] {
        const bool goOn = session->handler.message(text, severity);
        // Only a warning lets the parse go on, and only when the handler agrees.
        return goOn && severity == XmlSeverityWarning;
    });
}

xmlSAXHandler makeSaxHandler()
{
    xmlSAXHandler sax;
    std::memset(&sax, 0, sizeof sax);
    sax.initialized = XML_SAX2_MAGIC;
    sax.internalSubset = xmlSAX2InternalSubset;
    sax.externalSubset = onExternalSubset;
    sax.isStandalone = xmlSAX2IsStandalone;
    sax.hasInternalSubset = xmlSAX2HasInternalSubset;
    sax.hasExternalSubset = xmlSAX2HasExternalSubset;
    sax.resolveEntity = onResolveEntity;
    sax.getEntity = xmlSAX2GetEntity;
    sax.getParameterEntity = xmlSAX2GetParameterEntity;
    sax.entityDecl = onEntityDeclaration;
    sax.startDocument = onStartDocument;
    sax.endDocument = onEndDocument;
    sax.startElementNs = onStartElement;
    sax.endElementNs = onEndElement;
    sax.characters = onCharacters;
    sax.ignorableWhitespace = onCharacters;
    sax.cdataBlock = onCharacters;
    sax.comment = onComment;
    sax.processingInstruction = onProcessingInstruction;
    sax.serror = onStructuredError;
    return sax;
}

} // namespace

bool ParseXmlStream(kxIoDevice& device, XmlSaxParserHandler& handler, const kxCancelInterface* cancel)
{
    // libxml2 raises some diagnostics through its global handlers instead of
    // the context's (input that cannot be decoded, I/O errors, errors before
    // the context exists). They go to the log at the warning level, never to
    // standard error; the parse's verdict and messages stay libxml2's own.
    XmlDiagnosticScope diagnostics([](const std::string& text, int) { kxLog::write(2, "xml", text); });
    xmlInitParser();
    ParseSession session(handler);
    std::vector<char> chunk(static_cast<size_t>(kChunkSize));

    // The first bytes let libxml2 detect the encoding before parsing starts.
    int64_t got = device.readBytes(chunk.data(), kChunkSize);
    got = std::clamp<int64_t>(got, 0, kChunkSize); // a device must not claim more than asked
    if (got == 0 && device.hasDeviceError()) {
        const std::string& text = device.getDeviceErrorMsg();
        handler.message(text.empty() ? "Reading the input failed" : text, XmlSeverityFatal);
        return false;
    }
    const int head = static_cast<int>(got < 4 ? got : 4);

    xmlSAXHandler sax = makeSaxHandler();
    xmlParserCtxtPtr context = xmlCreatePushParserCtxt(&sax, nullptr, chunk.data(), head, nullptr);
    if (!context) {
        handler.message("Cannot create the XML parser", XmlSeverityFatal);
        return false;
    }
    context->_private = &session;
    session.documentContext = context;
    // Internal entities are substituted (so "&amp;" arrives as "&"), no
    // network access; libxml2's default size and amplification limits stay on.
    xmlCtxtUseOptions(context, XML_PARSE_NOENT | XML_PARSE_NONET);

    bool readFailed = false;
    bool cancelled = false;
    int64_t offset = head;
    session.bytesFed = head;
    for (;;) {
        const bool atEnd = got == 0;
        if (!atEnd) {
            session.bytesFed += got - offset;
            xmlParseChunk(context, chunk.data() + offset, static_cast<int>(got - offset), 0);
            if (session.stopped)
                break;
        } else {
            xmlParseChunk(context, nullptr, 0, 1);
            break;
        }
        if (cancel && cancel->shouldCancel()) {
            cancelled = true;
            break;
        }
        offset = 0;
        got = std::clamp<int64_t>(device.readBytes(chunk.data(), kChunkSize), 0, kChunkSize);
        if (device.hasDeviceError()) {
            readFailed = true;
            break;
        }
    }

    if (readFailed && !session.stopped) {
        const std::string text = device.getDeviceErrorMsg();
        guarded(session, context, [&] {
            session.handler.message(text.empty() ? "Reading the input failed" : text, XmlSeverityFatal);
            return false;
        });
    }

    bool ok = !readFailed && !cancelled && !session.stopped && session.started && context->wellFormed != 0;
    if (!ok && !readFailed && !cancelled && !session.stopped) {
        // Some libxml2 failures (input that cannot be decoded in its declared
        // or detected encoding) go to libxml2's global handlers, not to the
        // context's: the caller still gets a reason.
        const xmlError* last = xmlCtxtGetLastError(context);
        std::string text = last && last->message ? last->message : "XML parser error";
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
            text.pop_back();
        guarded(session, context, [&] {
            session.handler.message(text, XmlSeverityFatal);
            return false;
        });
    }
    if (ok)
        guarded(session, context, [&] { return session.handler.endDocument(); });
    ok = ok && !session.stopped;

    if (context->myDoc) {
        xmlFreeDoc(context->myDoc);
        context->myDoc = nullptr;
    }
    context->_private = nullptr;
    xmlFreeParserCtxt(context);

    if (session.pendingException)
        std::rethrow_exception(session.pendingException);
    return ok;
}

} // namespace xml
} // namespace kx
