// XmlSaxParser.h - event-driven XML parsing over a byte device.
#ifndef KX_XML_XMLSAXPARSER_H
#define KX_XML_XMLSAXPARSER_H

#include <kx/xml/Export.h>

#include <string_view>
#include <vector>

class kxIoDevice;
class kxCancelInterface;

namespace kx {
namespace xml {

/// One attribute of an element, as views valid only during the callback.
struct XmlAttribute {
    std::string_view name;   ///< local name ("space" of "xml:space")
    std::string_view prefix; ///< namespace prefix, empty when none ("xml")
    std::string_view value;  ///< value with entities substituted
};

/// What `startElement` asks the parser to do next.
enum XmlElementVerdict : int {
    XmlEnterElement = 0, ///< deliver the element's content
    XmlSkipElement = 1,  ///< deliver nothing of the element, not even its end tag
    XmlStopParsing = 2   ///< stop; the parse fails
};

/// Severity of a diagnostic passed to `message`.
enum XmlMessageSeverity : int {
    XmlSeverityError = 2,   ///< a recoverable error of the XML parser
    XmlSeverityFatal = 3,   ///< a fatal (well-formedness) error
    XmlSeverityWarning = 4  ///< a warning: parsing goes on if `message` returns true
};

/// Receives the events of `ParseXmlStream` in document order. A false result
/// (or `XmlStopParsing`) stops the parse, after which no further callback comes.
class KXXML_API XmlSaxParserHandler {
public:
    virtual ~XmlSaxParserHandler();
    virtual bool startDocument() = 0;
    virtual bool endDocument() = 0;
    /// `name` is the element name as written, with its prefix ("svg:rect").
    virtual int startElement(const char* name, const std::vector<XmlAttribute>& attributes) = 0;
    virtual bool endElement(const char* name) = 0;
    /// Character data, CDATA sections and ignorable white space, as UTF-8 bytes.
    virtual bool characters(const char* text, int length) = 0;
    /// A diagnostic of the XML parser, without trailing newline; severity 4 is a warning.
    virtual bool message(const std::string& text, int severity) = 0;
};

/// Parses the XML document read from `device`, in chunks, calling `handler`.
/// No network access, no external entity or DTD loading; libxml2's size and
/// entity-amplification limits stay on. `cancel` (may be null) is polled
/// between chunks. Diagnostics that libxml2 raises through its global error
/// handlers rather than the parser's (input that cannot be decoded, I/O
/// errors) are written to `kxLog` at level 2 with the tag "xml"; libxml2
/// prints nothing. Returns true only when the whole document was parsed and
/// no callback stopped it.
KXXML_API bool ParseXmlStream(kxIoDevice& device, XmlSaxParserHandler& handler, const kxCancelInterface* cancel);

} // namespace xml
} // namespace kx

#endif
