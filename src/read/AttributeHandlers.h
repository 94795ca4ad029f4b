// AttributeHandlers.h - turning the attributes of one element into item fields.
#ifndef KX_SVG_READ_ATTRIBUTEHANDLERS_H
#define KX_SVG_READ_ATTRIBUTEHANDLERS_H

#include "read/LoadDocument.h"

#include <kx/svg/Items.h>
#include <kx/xml/XmlSaxParser.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kx {
namespace svg {
namespace impl {

/// What a handler made of one attribute.
enum HandlerResult : int {
    AttributeStored = 0,      ///< recognised and stored (or skipped with a warning)
    AttributeNotMine = 1,     ///< not this handler's; the next one is asked
    AttributeFailed = 2       ///< an error was reported; the load fails
};

/// Every attribute name a handler knows. The common attributes come first.
enum class AttributeId : uint8_t {
    Id,
    Class,
    Transform,
    Opacity,
    Fill,
    FillOpacity,
    Stroke,
    StrokeWidth,
    StrokeOpacity,
    StrokeLinecap,
    StrokeLinejoin,
    StrokeDasharray,
    VectorEffect,
    Xmlns, // first element-specific attribute
    ViewBox,
    X1,
    Y1,
    X2,
    Y2,
    X,
    Y,
    Width,
    Height,
    Rx,
    Ry,
    Cx,
    Cy,
    R,
    D,
    Dx,
    Dy,
    FontSize,
    TextLength,
    FontFamily,
    FontWeight,
    FontStyle,
    TextDecoration,
    XmlSpace,
    Href,
    PreserveAspectRatio,
    Unknown
};

/// The known attribute an XML attribute stands for: unprefixed names by
/// exact comparison, and "xml:space"; every other prefixed name is Unknown.
AttributeId LookupAttribute(const kx::xml::XmlAttribute& attribute);

/// "prefix:local", or the local name alone when there is no prefix.
std::string AttributeDisplayName(const kx::xml::XmlAttribute& attribute);

/// `text` in double quotes, as the messages show names and values.
std::string Quoted(std::string_view text);

/// The per-element state the handlers share with the loader: the message
/// sinks, the load option, the "seen" flags of the current element and the
/// text offsets that are applied once all attributes are read.
class AttributeContext {
public:
    AttributeContext(const MessageSink& errorSink, const MessageSink& warningSink, bool ignoreUnsupported)
        : m_errorSink(errorSink), m_warningSink(warningSink), m_ignoreUnsupported(ignoreUnsupported)
    {
    }

    /// Clears the flags and offsets for a new element.
    void startElement()
    {
        m_seen = 0;
        m_textOffset[0] = 0.0f;
        m_textOffset[1] = 0.0f;
    }

    bool ignoreUnsupported() const { return m_ignoreUnsupported; }
    bool seen(AttributeId id) const { return (m_seen >> unsigned(id)) & 1u; }
    void markSeen(AttributeId id) { m_seen |= uint64_t(1) << unsigned(id); }

    /// Offsets read from "dx" and "dy", added to a text's position at the end of its attributes.
    float* textOffset() { return m_textOffset; }

    /// Sends `text` to the error sink when there is one. Never throws.
    void error(const std::string& text) const { send(m_errorSink, text); }
    /// Sends `text` to the warning sink when there is one. Never throws.
    void warning(const std::string& text) const { send(m_warningSink, text); }

    /// True when any error was sent.
    bool errorSent() const { return m_errorSent; }

private:
    void send(const MessageSink& sink, const std::string& text) const;

    const MessageSink& m_errorSink;
    const MessageSink& m_warningSink;
    bool m_ignoreUnsupported;
    uint64_t m_seen = 0;
    float m_textOffset[2] = {0.0f, 0.0f};
    mutable bool m_errorSent = false;
};

/// An attribute handler: reads `attribute` into `item`, returning a `HandlerResult`.
using AttributeHandler = int (*)(AttributeContext& context, ItemInterface& item,
                                 const kx::xml::XmlAttribute& attribute);

/// The attributes every item may carry: "id", "transform" and the presentation attributes.
int HandleCommonAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
/// "svg": "xmlns" (ignored) and "viewBox".
int HandleDocumentAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
/// "g": recognises nothing.
int HandleGroupAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandleLineAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandleRectAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandleCircleAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandlePathAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandleTextAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);
int HandleImageAttribute(AttributeContext& context, ItemInterface& item, const kx::xml::XmlAttribute& attribute);

/// Runs the common handler and then `elementHandler` over every attribute in
/// order, reporting unsupported attributes by the load option; then adds a
/// text's "dx"/"dy" to its position. False at the first failure.
bool ProcessAttributes(AttributeContext& context, ItemInterface& item, AttributeHandler elementHandler,
                       const std::vector<kx::xml::XmlAttribute>& attributes);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
