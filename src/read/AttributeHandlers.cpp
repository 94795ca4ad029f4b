// AttributeHandlers.cpp - the common and per-element attribute handlers.
#include "read/AttributeHandlers.h"

#include "read/ReadNumbers.h"
#include "path/PathText.h"

#include <kx/svg/PathParser.h>

#include <utf8.h>

#include <algorithm>
#include <exception>
#include <iterator>

namespace kx {
namespace svg {
namespace impl {

using kx::xml::XmlAttribute;

namespace {

struct NamedAttribute {
    std::string_view name;
    AttributeId id;
};

// Sorted by name (byte order) for binary search.
constexpr NamedAttribute kAttributeNames[] = {
    {"class", AttributeId::Class},
    {"cx", AttributeId::Cx},
    {"cy", AttributeId::Cy},
    {"d", AttributeId::D},
    {"dx", AttributeId::Dx},
    {"dy", AttributeId::Dy},
    {"fill", AttributeId::Fill},
    {"fill-opacity", AttributeId::FillOpacity},
    {"font-family", AttributeId::FontFamily},
    {"font-size", AttributeId::FontSize},
    {"font-style", AttributeId::FontStyle},
    {"font-weight", AttributeId::FontWeight},
    {"height", AttributeId::Height},
    {"href", AttributeId::Href},
    {"id", AttributeId::Id},
    {"opacity", AttributeId::Opacity},
    {"preserveAspectRatio", AttributeId::PreserveAspectRatio},
    {"r", AttributeId::R},
    {"rx", AttributeId::Rx},
    {"ry", AttributeId::Ry},
    {"stroke", AttributeId::Stroke},
    {"stroke-dasharray", AttributeId::StrokeDasharray},
    {"stroke-linecap", AttributeId::StrokeLinecap},
    {"stroke-linejoin", AttributeId::StrokeLinejoin},
    {"stroke-opacity", AttributeId::StrokeOpacity},
    {"stroke-width", AttributeId::StrokeWidth},
    {"text-decoration", AttributeId::TextDecoration},
    {"textLength", AttributeId::TextLength},
    {"transform", AttributeId::Transform},
    {"vector-effect", AttributeId::VectorEffect},
    {"viewBox", AttributeId::ViewBox},
    {"width", AttributeId::Width},
    {"x", AttributeId::X},
    {"x1", AttributeId::X1},
    {"x2", AttributeId::X2},
    {"xmlns", AttributeId::Xmlns},
    {"y", AttributeId::Y},
    {"y1", AttributeId::Y1},
    {"y2", AttributeId::Y2},
};

constexpr bool namesSorted()
{
    for (size_t i = 1; i < std::size(kAttributeNames); ++i)
        if (!(kAttributeNames[i - 1].name < kAttributeNames[i].name)) return false;
    return true;
}
static_assert(namesSorted(), "attribute names must stay sorted");
static_assert(unsigned(AttributeId::Unknown) <= 64, "the seen flags are one 64-bit word");

int specifiedTwice(AttributeContext& context, const XmlAttribute& attribute)
{
    context.error("Attribute " + Quoted(AttributeDisplayName(attribute)) + " specified twice");
    return AttributeFailed;
}

int failedValue(AttributeContext& context, std::string_view value, const XmlAttribute& attribute)
{
    context.error("Failed to parse value " + Quoted(value) + " in attribute " + Quoted(AttributeDisplayName(attribute)));
    return AttributeFailed;
}

// A value outside an attribute's keywords: a warning that skips the attribute
// in lenient mode, the same text as an error in strict mode.
int unsupportedValue(AttributeContext& context, const XmlAttribute& attribute)
{
    const std::string text = "Ignore unsupported attribute " + Quoted(AttributeDisplayName(attribute)) +
                             " with value " + Quoted(attribute.value);
    if (context.ignoreUnsupported()) {
        context.warning(text);
        return AttributeStored;
    }
    context.error(text);
    return AttributeFailed;
}

int wrongItem(AttributeContext& context, const XmlAttribute& attribute)
{
    context.error("Internal svg error, attribute " + Quoted(AttributeDisplayName(attribute)) +
                  " given to an item of another kind");
    return AttributeFailed;
}

// Reads one number into `target`, marking the attribute seen on success.
int storeNumber(AttributeContext& context, AttributeId id, const XmlAttribute& attribute, float& target)
{
    if (!ParseSvgFloat(attribute.value, target)) return failedValue(context, attribute.value, attribute);
    context.markSeen(id);
    return AttributeStored;
}

int storeOptionalNumber(AttributeContext& context, AttributeId id, const XmlAttribute& attribute,
                        std::optional<float>& target)
{
    float value = 0.0f;
    if (!ParseSvgFloat(attribute.value, value)) return failedValue(context, attribute.value, attribute);
    target = value;
    context.markSeen(id);
    return AttributeStored;
}

template <class Enum, size_t N>
bool lookupKeyword(std::string_view value, const std::pair<std::string_view, Enum> (&table)[N], Enum& out)
{
    for (const auto& entry : table) {
        if (entry.first == value) {
            out = entry.second;
            return true;
        }
    }
    return false;
}

constexpr std::pair<std::string_view, LineCap> kLineCaps[] = {
    {"butt", LineCap::Butt}, {"round", LineCap::Round}, {"square", LineCap::Square}};

constexpr std::pair<std::string_view, LineJoin> kLineJoins[] = {{"arcs", LineJoin::Arcs},
                                                                {"bevel", LineJoin::Bevel},
                                                                {"miter", LineJoin::Miter},
                                                                {"miter-clip", LineJoin::MiterClip},
                                                                {"round", LineJoin::Round}};

constexpr std::pair<std::string_view, uint8_t> kVectorEffects[] = {{"non-scaling-stroke", NonScalingStroke},
                                                                   {"non-scaling-size", NonScalingSize},
                                                                   {"non-rotation", NonRotation},
                                                                   {"fixed-position", FixedPosition}};

constexpr std::pair<std::string_view, Image::AspectRatio> kAspectRatios[] = {
    {"none", Image::AspectRatio::None},         {"xMinYMin", Image::AspectRatio::XMinYMin},
    {"xMidYMin", Image::AspectRatio::XMidYMin}, {"xMaxYMin", Image::AspectRatio::XMaxYMin},
    {"xMinYMid", Image::AspectRatio::XMinYMid}, {"xMidYMid", Image::AspectRatio::XMidYMid},
    {"xMaxYMid", Image::AspectRatio::XMaxYMid}, {"xMinYMax", Image::AspectRatio::XMinYMax},
    {"xMidYMax", Image::AspectRatio::XMidYMax}, {"xMaxYMax", Image::AspectRatio::XMaxYMax}};

// "none" or a colour that ParseSvgColor accepts; kept as the text read.
int storeColor(AttributeContext& context, AttributeId id, const XmlAttribute& attribute,
               std::optional<std::string>& target)
{
    std::string text(attribute.value);
    if (text != "none") {
        Wm4::Vector4<unsigned char> rgba;
        if (!ParseSvgColor(text, rgba)) {
            context.error("Failed to parse color " + Quoted(text) + " in attribute " +
                          Quoted(AttributeDisplayName(attribute)));
            return AttributeFailed;
        }
    }
    target = std::move(text);
    context.markSeen(id);
    return AttributeStored;
}

// "stroke-dasharray": lengths with units separated by commas or white space;
// "none" is kept as a present, empty list so that it overrides a dash pattern
// inherited from a group.
int storeDashArray(AttributeContext& context, const XmlAttribute& attribute, RenderingProperties& properties)
{
    std::vector<UnitValue> dashes;
    std::string_view badPiece;
    if (attribute.value != "none") {
        std::string piece;
        const bool ok = ForEachListPiece(attribute.value, [&](std::string_view text) {
            piece.assign(text);
            UnitValue value;
            if (!UnitValue::parseVal(piece, value)) {
                badPiece = text;
                return false;
            }
            dashes.push_back(value);
            return true;
        });
        if (!ok) return failedValue(context, badPiece, attribute);
    }
    properties.strokeDasharray = std::move(dashes);
    context.markSeen(AttributeId::StrokeDasharray);
    return AttributeStored;
}

// "vector-effect": "none", or one or more of the four keywords.
int storeVectorEffect(AttributeContext& context, const XmlAttribute& attribute, RenderingProperties& properties)
{
    uint8_t bits = 0;
    size_t pieces = 0;
    bool sawNone = false;
    const bool ok = ForEachListPiece(attribute.value, [&](std::string_view piece) {
        ++pieces;
        if (piece == "none") {
            sawNone = true;
            return true;
        }
        uint8_t bit = 0;
        if (!lookupKeyword(piece, kVectorEffects, bit)) return false;
        bits |= bit;
        return true;
    });
    if (!ok || pieces == 0 || (sawNone && pieces != 1)) return unsupportedValue(context, attribute);
    properties.vectorEffect = bits;
    context.markSeen(AttributeId::VectorEffect);
    return AttributeStored;
}

// "stroke-width": a number, optionally followed by "px" (user units either way).
int storeStrokeWidth(AttributeContext& context, const XmlAttribute& attribute, RenderingProperties& properties)
{
    std::string_view text = attribute.value;
    if (text.size() >= 2 && text.substr(text.size() - 2) == "px") text.remove_suffix(2);
    float value = 0.0f;
    if (!ParseSvgFloat(text, value)) return failedValue(context, attribute.value, attribute);
    properties.strokeWidth = value;
    context.markSeen(AttributeId::StrokeWidth);
    return AttributeStored;
}

template <class Enum, size_t N>
int storeKeyword(AttributeContext& context, AttributeId id, const XmlAttribute& attribute,
                 const std::pair<std::string_view, Enum> (&table)[N], std::optional<Enum>& target)
{
    Enum value{};
    if (!lookupKeyword(attribute.value, table, value)) return unsupportedValue(context, attribute);
    target = value;
    context.markSeen(id);
    return AttributeStored;
}

// The one-keyword text attributes ("bold", "italic", "underline").
int storeFlagKeyword(AttributeContext& context, AttributeId id, const XmlAttribute& attribute,
                     std::string_view keyword, std::optional<bool>& target)
{
    if (attribute.value != keyword) return unsupportedValue(context, attribute);
    target = true;
    context.markSeen(id);
    return AttributeStored;
}

// Common to the element handlers: the attribute's id when `accepted` lists it
// and it has not been seen yet; Unknown with `result` set otherwise.
AttributeId elementAttribute(AttributeContext& context, const XmlAttribute& attribute,
                             std::initializer_list<AttributeId> accepted, int& result)
{
    const AttributeId id = LookupAttribute(attribute);
    if (id == AttributeId::Unknown || std::find(accepted.begin(), accepted.end(), id) == accepted.end()) {
        result = AttributeNotMine;
        return AttributeId::Unknown;
    }
    if (context.seen(id)) {
        result = specifiedTwice(context, attribute);
        return AttributeId::Unknown;
    }
    return id;
}

} // namespace

void AttributeContext::send(const MessageSink& sink, const std::string& text) const
{
    if (&sink == &m_errorSink) m_errorSent = true;
    if (!sink) return;
    try {
        sink(text);
    } catch (...) {
        // A sink that fails loses its message; the verdict stands.
    }
}

AttributeId LookupAttribute(const XmlAttribute& attribute)
{
    if (!attribute.prefix.empty())
        return attribute.prefix == "xml" && attribute.name == "space" ? AttributeId::XmlSpace : AttributeId::Unknown;
    const auto* end = std::end(kAttributeNames);
    const auto* it = std::lower_bound(std::begin(kAttributeNames), end, attribute.name,
                                      [](const NamedAttribute& a, std::string_view n) { return a.name < n; });
    return it != end && it->name == attribute.name ? it->id : AttributeId::Unknown;
}

std::string Quoted(std::string_view text)
{
    std::string result;
    result.reserve(text.size() + 2);
    result += '"';
    result.append(text);
    result += '"';
    return result;
}

std::string AttributeDisplayName(const XmlAttribute& attribute)
{
    std::string name;
    name.reserve(attribute.prefix.size() + 1 + attribute.name.size());
    if (!attribute.prefix.empty()) {
        name.append(attribute.prefix);
        name += ':';
    }
    name.append(attribute.name);
    return name;
}

int HandleCommonAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    const AttributeId id = LookupAttribute(attribute);
    if (id >= AttributeId::Xmlns) return AttributeNotMine; // element-specific or unknown
    if (context.seen(id)) return specifiedTwice(context, attribute);

    RenderingProperties& properties = item.editRenderingProperties();
    switch (id) {
    case AttributeId::Id:
        item.editId() = std::string(attribute.value);
        break;
    case AttributeId::Class:
        properties.className = std::string(attribute.value);
        break;
    case AttributeId::Transform: {
        Wm4::Matrix3<float> matrix;
        std::string error;
        if (!ParseTransformList(attribute.value, matrix, error)) {
            context.error("Failed to parse transform attribute " + Quoted(attribute.value) + error);
            return AttributeFailed;
        }
        item.editTransform() = matrix;
        break;
    }
    // Opacities are plain numbers, as in SVG 1.1: "50%" is refused, and
    // values outside [0, 1] are kept as read (the colour code clamps).
    case AttributeId::Opacity:
        return storeOptionalNumber(context, id, attribute, properties.opacity);
    case AttributeId::FillOpacity:
        return storeOptionalNumber(context, id, attribute, properties.fillOpacity);
    case AttributeId::StrokeOpacity:
        return storeOptionalNumber(context, id, attribute, properties.strokeOpacity);
    case AttributeId::Fill:
        return storeColor(context, id, attribute, properties.fill);
    case AttributeId::Stroke:
        return storeColor(context, id, attribute, properties.stroke);
    case AttributeId::StrokeWidth:
        return storeStrokeWidth(context, attribute, properties);
    case AttributeId::StrokeLinecap:
        return storeKeyword(context, id, attribute, kLineCaps, properties.strokeLinecap);
    case AttributeId::StrokeLinejoin:
        return storeKeyword(context, id, attribute, kLineJoins, properties.strokeLinejoin);
    case AttributeId::StrokeDasharray:
        return storeDashArray(context, attribute, properties);
    case AttributeId::VectorEffect:
        return storeVectorEffect(context, attribute, properties);
    default:
        return AttributeNotMine;
    }
    context.markSeen(id);
    return AttributeStored;
}

int HandleDocumentAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Document) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(context, attribute, {AttributeId::Xmlns, AttributeId::ViewBox}, result);
    if (id == AttributeId::Unknown) return result;
    if (id == AttributeId::ViewBox) {
        float v[4];
        size_t count = 0;
        std::string_view badPiece;
        if (!ParseNumberList(attribute.value, v, 4, count, badPiece))
            return failedValue(context, badPiece, attribute);
        if (count != 4) {
            context.error("Wrong number of values for " + Quoted(AttributeDisplayName(attribute)));
            return AttributeFailed;
        }
        static_cast<Document&>(item).editViewbox() =
            BoundingBox(Wm4::Vector2<float>(v[0], v[1]), Wm4::Vector2<float>(v[0] + v[2], v[1] + v[3]));
    }
    context.markSeen(id);
    return AttributeStored;
}

int HandleGroupAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Node) return wrongItem(context, attribute);
    return AttributeNotMine;
}

int HandleLineAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Line) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(
        context, attribute, {AttributeId::X1, AttributeId::Y1, AttributeId::X2, AttributeId::Y2}, result);
    Line& line = static_cast<Line&>(item);
    switch (id) {
    case AttributeId::X1:
        return storeNumber(context, id, attribute, line.editStart().X());
    case AttributeId::Y1:
        return storeNumber(context, id, attribute, line.editStart().Y());
    case AttributeId::X2:
        return storeNumber(context, id, attribute, line.editEnd().X());
    case AttributeId::Y2:
        return storeNumber(context, id, attribute, line.editEnd().Y());
    default:
        return result;
    }
}

int HandleRectAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Rect) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(context, attribute,
                                            {AttributeId::X, AttributeId::Y, AttributeId::Width,
                                             AttributeId::Height, AttributeId::Rx, AttributeId::Ry},
                                            result);
    Rect& rect = static_cast<Rect&>(item);
    switch (id) {
    case AttributeId::X:
        return storeNumber(context, id, attribute, rect.editPosition().X());
    case AttributeId::Y:
        return storeNumber(context, id, attribute, rect.editPosition().Y());
    case AttributeId::Width:
        return storeNumber(context, id, attribute, rect.editSize().X());
    case AttributeId::Height:
        return storeNumber(context, id, attribute, rect.editSize().Y());
    case AttributeId::Rx:
        return storeNumber(context, id, attribute, rect.editRx());
    case AttributeId::Ry:
        return storeNumber(context, id, attribute, rect.editRy());
    default:
        return result;
    }
}

int HandleCircleAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Circle) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id =
        elementAttribute(context, attribute, {AttributeId::Cx, AttributeId::Cy, AttributeId::R}, result);
    Circle& circle = static_cast<Circle&>(item);
    switch (id) {
    case AttributeId::Cx:
        return storeNumber(context, id, attribute, circle.editCenter().X());
    case AttributeId::Cy:
        return storeNumber(context, id, attribute, circle.editCenter().Y());
    case AttributeId::R:
        return storeNumber(context, id, attribute, circle.editRadius());
    default:
        return result;
    }
}

int HandlePathAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Path) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(context, attribute, {AttributeId::D}, result);
    if (id == AttributeId::Unknown) return result;

    // The value is scanned where the XML parser left it, without a copy.
    std::string error;
    bool ok = false;
    try {
        ok = ConvertPathTextToCommands(attribute.value, static_cast<Path&>(item).editCommands(), &error);
    } catch (const utf8::exception& e) {
        // Path data that is not UTF-8 is reported like any other malformed path.
        error = e.what();
    }
    if (!ok) {
        context.error("Malformed path attribute, " + error + " : " + std::string(attribute.value));
        return AttributeFailed;
    }
    context.markSeen(id);
    return AttributeStored;
}

int HandleTextAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Text) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(
        context, attribute,
        {AttributeId::X, AttributeId::Y, AttributeId::Dx, AttributeId::Dy, AttributeId::FontSize,
         AttributeId::TextLength, AttributeId::FontFamily, AttributeId::FontWeight, AttributeId::FontStyle,
         AttributeId::TextDecoration, AttributeId::XmlSpace},
        result);
    Text& text = static_cast<Text&>(item);
    switch (id) {
    case AttributeId::X:
        return storeNumber(context, id, attribute, text.editPosition().X());
    case AttributeId::Y:
        return storeNumber(context, id, attribute, text.editPosition().Y());
    case AttributeId::Dx:
        return storeNumber(context, id, attribute, context.textOffset()[0]);
    case AttributeId::Dy:
        return storeNumber(context, id, attribute, context.textOffset()[1]);
    case AttributeId::FontSize:
        return storeOptionalNumber(context, id, attribute, text.editFontSize());
    case AttributeId::TextLength: {
        UnitValue value;
        if (!UnitValue::parseVal(std::string(attribute.value), value))
            return failedValue(context, attribute.value, attribute);
        text.editTextLength() = value;
        break;
    }
    case AttributeId::FontFamily:
        text.editFontFamily() = std::string(attribute.value);
        break;
    case AttributeId::FontWeight:
        return storeFlagKeyword(context, id, attribute, "bold", text.editBold());
    case AttributeId::FontStyle:
        return storeFlagKeyword(context, id, attribute, "italic", text.editItalic());
    case AttributeId::TextDecoration:
        return storeFlagKeyword(context, id, attribute, "underline", text.editUnderline());
    case AttributeId::XmlSpace:
        text.editXmlSpacePreserve() = attribute.value == "preserve";
        break;
    default:
        return result;
    }
    context.markSeen(id);
    return AttributeStored;
}

int HandleImageAttribute(AttributeContext& context, ItemInterface& item, const XmlAttribute& attribute)
{
    if (item.getType() != ItemType::Image) return wrongItem(context, attribute);
    int result = AttributeNotMine;
    const AttributeId id = elementAttribute(context, attribute,
                                            {AttributeId::Href, AttributeId::X, AttributeId::Y, AttributeId::Width,
                                             AttributeId::Height, AttributeId::PreserveAspectRatio},
                                            result);
    Image& image = static_cast<Image&>(item);
    switch (id) {
    case AttributeId::Href:
        image.editHref() = std::string(attribute.value);
        context.markSeen(id);
        return AttributeStored;
    case AttributeId::X:
        return storeNumber(context, id, attribute, image.editPosition().X());
    case AttributeId::Y:
        return storeNumber(context, id, attribute, image.editPosition().Y());
    case AttributeId::Width:
        return storeNumber(context, id, attribute, image.editSize().X());
    case AttributeId::Height:
        return storeNumber(context, id, attribute, image.editSize().Y());
    case AttributeId::PreserveAspectRatio:
        return storeKeyword(context, id, attribute, kAspectRatios, image.editPreserveAspectRatio());
    default:
        return result;
    }
}

bool ProcessAttributes(AttributeContext& context, ItemInterface& item, AttributeHandler elementHandler,
                       const std::vector<XmlAttribute>& attributes)
{
    context.startElement();
    for (const XmlAttribute& attribute : attributes) {
        int result = HandleCommonAttribute(context, item, attribute);
        if (result == AttributeNotMine) result = elementHandler(context, item, attribute);
        if (result == AttributeFailed) return false;
        if (result == AttributeNotMine) {
            const std::string details =
                Quoted(AttributeDisplayName(attribute)) + " with value " + Quoted(attribute.value);
            if (!context.ignoreUnsupported()) {
                context.error("Unsupported attribute " + details);
                return false;
            }
            context.warning("Ignore unsupported attribute " + details);
        }
    }
    if (item.getType() == ItemType::Text) {
        Wm4::Vector2<float>& position = static_cast<Text&>(item).editPosition();
        position.X() += context.textOffset()[0];
        position.Y() += context.textOffset()[1];
    }
    return true;
}

} // namespace impl
} // namespace svg
} // namespace kx
