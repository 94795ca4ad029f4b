// ItemWriters.cpp - how each item writes itself as one SVG element.
#include <kx/svg/Items.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/WriterHelpers.h>

#include "write/PathDataWriter.h"

#include <kx/system/kxLog.h>
#include <kx/system/kxStringUtils.h>
#include <kx/xml/XmlSaveContext.h>

#include <libxml/xmlwriter.h>

#include <algorithm>
#include <cstdint>

namespace kx {
namespace svg {

using namespace Helpers;

namespace {

const char* const kLogTag = "svg";

const xmlChar* XmlText(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

// Opens an element; logs `failureMessage` when the writer refuses.
bool StartElement(kx::xml::XmlSaveContext& context, const char* name, const char* failureMessage)
{
    xmlTextWriter* writer = context.getWriter();
    if (!writer || xmlTextWriterStartElement(writer, XmlText(name)) < 0) {
        kxLog::write(2, kLogTag, failureMessage);
        return false;
    }
    return true;
}

// Writes a number attribute unless the value is exactly 0 (SVG's default).
bool WriteIfNonZero(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name, float value)
{
    if (value == 0.0f) return true;
    return writeAttributeFloatValue(context, options, name, value);
}

const char* LineCapKeyword(LineCap cap)
{
    switch (cap) {
    case LineCap::Round:
        return "round";
    case LineCap::Square:
        return "square";
    default:
        return "butt";
    }
}

const char* LineJoinKeyword(LineJoin join)
{
    switch (join) {
    case LineJoin::Arcs:
        return "arcs";
    case LineJoin::Bevel:
        return "bevel";
    case LineJoin::Miter:
        return "miter";
    case LineJoin::MiterClip:
        return "miter-clip";
    case LineJoin::Round:
        return "round";
    default:
        return "miter";
    }
}

const char* AspectRatioKeyword(Image::AspectRatio ratio)
{
    static const char* const kKeywords[] = {"none",     "xMinYMin", "xMidYMin", "xMaxYMin", "xMinYMid",
                                            "xMidYMid", "xMaxYMid", "xMinYMax", "xMidYMax", "xMaxYMax"};
    const auto index = static_cast<uint8_t>(ratio);
    return index <= 9 ? kKeywords[index] : "none";
}

} // namespace

// ------------------------------------------------------------------ common part

bool ItemInterface::beginWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (!beginWriteAsXmlImplPre(context, options)) return false;
    if (m_id && !writeAttributeString(context, options, "id", *m_id)) return false;
    if (!m_renderingProperties.writeAttributes(context, options)) return false;
    if (m_transform && !writeAttributeTransform(context, options, "transform", *m_transform)) return false;
    return beginWriteAsXmlImplPost(context, options);
}

bool ItemInterface::endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions&) const
{
    xmlTextWriter* writer = context.getWriter();
    if (!writer || xmlTextWriterEndElement(writer) < 0) {
        kxLog::write(2, kLogTag, "Generic end element failed");
        return false;
    }
    return true;
}

bool ItemInterface::beginWriteAsXmlImplPost(kx::xml::XmlSaveContext&, const SaveOptions&) const
{
    return true;
}

bool RenderingProperties::writeAttributes(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (strokeWidth && !writeAttributeFloatValue(context, options, "stroke-width", *strokeWidth)) return false;
    if (strokeOpacity && !writeAttributeFloatValue(context, options, "stroke-opacity", *strokeOpacity)) return false;
    if (stroke && !stroke->empty() && !writeAttributeString(context, options, "stroke", *stroke)) return false;
    if (fill && !fill->empty() && !writeAttributeString(context, options, "fill", *fill)) return false;
    if (fillOpacity && !writeAttributeFloatValue(context, options, "fill-opacity", *fillOpacity)) return false;
    if (className && !className->empty() && !writeAttributeString(context, options, "class", *className))
        return false;
    if (opacity && !writeAttributeFloatValue(context, options, "opacity", *opacity)) return false;
    if (strokeLinecap && !writeAttributeString(context, options, "stroke-linecap", LineCapKeyword(*strokeLinecap)))
        return false;
    if (strokeLinejoin &&
        !writeAttributeString(context, options, "stroke-linejoin", LineJoinKeyword(*strokeLinejoin)))
        return false;
    if (strokeDasharray && !writeAttributeUnitValues(context, options, "stroke-dasharray", *strokeDasharray))
        return false;
    if (vectorEffect) {
        static const struct {
            uint8_t bit;
            const char* keyword;
        } kEffects[] = {{NonScalingStroke, "non-scaling-stroke"},
                        {NonScalingSize, "non-scaling-size"},
                        {NonRotation, "non-rotation"},
                        {FixedPosition, "fixed-position"}};
        std::string text;
        for (const auto& effect : kEffects) {
            if ((*vectorEffect & effect.bit) == 0) continue;
            if (!text.empty()) text += ' ';
            text += effect.keyword;
        }
        if (text.empty()) text = "none";
        if (!writeAttributeString(context, options, "vector-effect", text)) return false;
    }
    return true;
}

// ------------------------------------------------------------------ groups

bool Node::beginWriteAsXmlNodeWithName(kx::xml::XmlSaveContext& context, const char* name) const
{
    return StartElement(context, name, "Node failed begin");
}

bool Node::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions&) const
{
    return beginWriteAsXmlNodeWithName(context, "g");
}

bool Document::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (!beginWriteAsXmlNodeWithName(context, "svg")) return false;
    if (!writeAttributeString(context, options, "xmlns", "http://www.w3.org/2000/svg")) return false;
    if (m_viewBox && m_viewBox->isValid()) {
        const Wm4::Vector2<float>& minPoint = m_viewBox->getMinPoint();
        if (!writeAttributeBox(context, options, "viewBox", minPoint.X(), minPoint.Y(), m_viewBox->getWidth(),
                               m_viewBox->getHeight()))
            return false;
    }
    return true;
}

bool Document::beginWriteAsXmlImplPost(kx::xml::XmlSaveContext& context, const SaveOptions&) const
{
    if (!m_style) return true;
    xmlTextWriter* writer = context.getWriter();
    if (!writer || xmlTextWriterStartElement(writer, XmlText("style")) < 0) {
        kxLog::write(2, kLogTag, "Node failed begin");
        return false;
    }
    // The style sheet goes out raw inside comment-wrapped CDATA markers, so
    // that both XML and CSS readers accept it.
    xmlTextWriterWriteRaw(writer, XmlText("\n/* <![CDATA[ */"));
    xmlTextWriterWriteRawLen(writer, XmlText(m_style->c_str()), static_cast<int>(std::min<std::size_t>(
                                                                      m_style->size(), INT32_MAX)));
    xmlTextWriterWriteRaw(writer, XmlText("\n/* ]]> */"));
    if (xmlTextWriterEndElement(writer) < 0) {
        kxLog::write(2, kLogTag, "Node failed begin");
        return false;
    }
    return true;
}

bool Document::endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    return ItemInterface::endWriteAsXml(context, options);
}

// ------------------------------------------------------------------ shapes

bool Line::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    return StartElement(context, "line", "Line failed begin") && WriteIfNonZero(context, options, "x1", m_start.X()) &&
           WriteIfNonZero(context, options, "y1", m_start.Y()) && WriteIfNonZero(context, options, "x2", m_end.X()) &&
           WriteIfNonZero(context, options, "y2", m_end.Y());
}

bool Rect::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    return StartElement(context, "rect", "Rect failed begin") &&
           WriteIfNonZero(context, options, "x", m_position.X()) &&
           WriteIfNonZero(context, options, "y", m_position.Y()) &&
           writeAttributeFloatValue(context, options, "width", m_size.X()) &&
           writeAttributeFloatValue(context, options, "height", m_size.Y()) &&
           WriteIfNonZero(context, options, "rx", m_rx) && WriteIfNonZero(context, options, "ry", m_ry);
}

bool Circle::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    // "r" deliberately comes before the centre.
    return StartElement(context, "circle", "Circle failed begin") &&
           writeAttributeFloatValue(context, options, "r", m_radius) &&
           WriteIfNonZero(context, options, "cx", m_center.X()) && WriteIfNonZero(context, options, "cy", m_center.Y());
}

bool Path::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (!StartElement(context, "path", "Path failed begin")) return false;
    std::string d;
    impl::BuildPathData(m_commands, options, d);
    return writeAttributeString(context, options, "d", d);
}

bool Image::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (!StartElement(context, "image", "Image failed begin")) return false;
    if (!WriteIfNonZero(context, options, "x", m_position.X())) return false;
    if (!WriteIfNonZero(context, options, "y", m_position.Y())) return false;
    if (!writeAttributeFloatValue(context, options, "width", m_size.X())) return false;
    if (!writeAttributeFloatValue(context, options, "height", m_size.Y())) return false;
    if (!writeAttributeString(context, options, "href", m_href)) return false;
    if (m_preserveAspectRatio && *m_preserveAspectRatio != AspectRatio::None) {
        if (!writeAttributeString(context, options, "preserveAspectRatio", AspectRatioKeyword(*m_preserveAspectRatio)))
            return false;
    }
    return true;
}

// ------------------------------------------------------------------ text

bool Text::beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (!StartElement(context, "text", "Text failed begin")) return false;
    if (!WriteIfNonZero(context, options, "x", m_position.X())) return false;
    if (!WriteIfNonZero(context, options, "y", m_position.Y())) return false;
    if (m_fontFamily && !writeAttributeString(context, options, "font-family", *m_fontFamily)) return false;
    if (m_bold && *m_bold && !writeAttributeString(context, options, "font-weight", "bold")) return false;
    if (m_italic && *m_italic && !writeAttributeString(context, options, "font-style", "italic")) return false;
    if (m_underline && *m_underline && !writeAttributeString(context, options, "text-decoration", "underline"))
        return false;
    if (m_fontSize && !writeAttributeFloatValue(context, options, "font-size", *m_fontSize)) return false;
    if (m_textLength && !writeAttributeUnitValue(context, options, "textLength", *m_textLength)) return false;
    if (m_xmlSpacePreserve &&
        !writeAttributeString(context, options, "xml:space", *m_xmlSpacePreserve ? "preserve" : "default"))
        return false;
    return true;
}

bool Text::endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const
{
    if (m_content.size() >= (std::size_t(1) << 31)) {
        kxLog::write(2, kLogTag, "Text content was too long");
        return false;
    }
    if (!kxStringUtils::IsUtf8String(m_content)) {
        kxLog::write(2, kLogTag, "Text content was not utf8");
        return false;
    }
    xmlTextWriter* writer = context.getWriter();
    if (!writer || xmlTextWriterWriteString(writer, XmlText(m_content.c_str())) < 0) {
        kxLog::write(2, kLogTag, "Text failed write content");
        return false;
    }
    return ItemInterface::endWriteAsXml(context, options);
}

} // namespace svg
} // namespace kx
