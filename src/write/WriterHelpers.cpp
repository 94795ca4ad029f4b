// WriterHelpers.cpp - number and attribute formatting of the SVG writer.
#include <kx/svg/WriterHelpers.h>

#include "write/NumberFormat.h"

#include <kx/system/kxLog.h>
#include <kx/system/kxStringUtils.h>
#include <kx/xml/XmlSaveContext.h>

#include <libxml/xmlwriter.h>

#include <charconv>
#include <cmath>

namespace kx {
namespace svg {

namespace impl {

std::size_t FormatSvgNumber(char* buffer, float value, int32_t floatPrecision)
{
    if (std::isnan(value)) {
        // A classic-locale stream prints NaN as printf does, with its sign.
        if (std::signbit(value)) {
            std::char_traits<char>::copy(buffer, "-nan", 4);
            return 4;
        }
        std::char_traits<char>::copy(buffer, "nan", 3);
        return 3;
    }
    if (std::isinf(value)) {
        if (value < 0.0f) {
            std::char_traits<char>::copy(buffer, "-inf", 4);
            return 4;
        }
        std::char_traits<char>::copy(buffer, "inf", 3);
        return 3;
    }

    if (floatPrecision == kShortestRoundTripPrecision) {
        // Shortest round-trip digits in plain (never exponent) form.
        const std::to_chars_result result =
            std::to_chars(buffer, buffer + kNumberBufferSize, value, std::chars_format::fixed);
        std::size_t length = static_cast<std::size_t>(result.ptr - buffer);
        if (length == 2 && buffer[0] == '-' && buffer[1] == '0') {
            buffer[0] = '0';
            length = 1;
        }
        return length;
    }

    int precision = floatPrecision < 0 ? 6 : floatPrecision;
    if (precision > kMaxUsefulPrecision) precision = kMaxUsefulPrecision;
    // std::to_chars in fixed form with a precision gives exactly the digits of
    // printf's "%.*f", which is what a classic-locale stream produces, without
    // touching any locale or allocating.
    const std::to_chars_result result = std::to_chars(buffer, buffer + kNumberBufferSize, static_cast<double>(value),
                                                      std::chars_format::fixed, precision);
    std::size_t length = static_cast<std::size_t>(result.ptr - buffer);

    if (precision > 0) {
        // Fixed notation with a positive precision always has a point.
        while (length > 0 && buffer[length - 1] == '0') --length;
        if (length > 0 && buffer[length - 1] == '.') --length;
    }
    if (length == 2 && buffer[0] == '-' && buffer[1] == '0') {
        buffer[0] = '0';
        length = 1;
    }
    return length;
}

} // namespace impl

namespace Helpers {

using impl::FormatSvgNumber;
using impl::kMaxUsefulPrecision;
using impl::kNumberBufferSize;

void appendSvgNumber(std::string& out, float value, const SaveOptions& options)
{
    char buffer[kNumberBufferSize];
    const std::size_t length = FormatSvgNumber(buffer, value, options.floatPrecision);
    out.append(buffer, length);
}

std::string floatToSvgNumber(float value, const SaveOptions& options)
{
    char buffer[kNumberBufferSize];
    const std::size_t length = FormatSvgNumber(buffer, value, options.floatPrecision);
    return std::string(buffer, length);
}

bool writeAttributeString(kx::xml::XmlSaveContext& context, const SaveOptions&, const char* name, const char* value)
{
    xmlTextWriter* writer = context.getWriter();
    const int rc = (writer && name && value)
                       ? xmlTextWriterWriteAttribute(writer, reinterpret_cast<const xmlChar*>(name),
                                                     reinterpret_cast<const xmlChar*>(value))
                       : -1;
    if (rc < 0) {
        kxLog::write(2, "svg", "Failed to write attribute");
        return false;
    }
    return true;
}

bool writeAttributeString(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                          const std::string& value)
{
    return writeAttributeString(context, options, name, value.c_str());
}

bool writeAttributeFloatValue(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                              float value)
{
    char buffer[kNumberBufferSize + 1];
    const std::size_t length = FormatSvgNumber(buffer, value, options.floatPrecision);
    buffer[length] = '\0';
    return writeAttributeString(context, options, name, buffer);
}

bool writeAttributeBox(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name, float x,
                       float y, float width, float height)
{
    std::string text;
    text.reserve(64);
    appendSvgNumber(text, x, options);
    text += ' ';
    appendSvgNumber(text, y, options);
    text += ' ';
    appendSvgNumber(text, width, options);
    text += ' ';
    appendSvgNumber(text, height, options);
    return writeAttributeString(context, options, name, text);
}

bool writeAttributeUnitValue(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                             const UnitValue& value)
{
    std::string text;
    appendSvgNumber(text, value.value, options);
    UnitToString(value.unit, text, true);
    return writeAttributeString(context, options, name, text);
}

bool writeAttributeUnitValues(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                              const std::vector<UnitValue>& values)
{
    std::string text;
    // An allocation hint only: digits after the point plus room for the
    // integer part, the unit and the separator.
    const std::size_t precision = options.floatPrecision < 0 ? 6u : static_cast<std::size_t>(options.floatPrecision);
    if (precision <= kMaxUsefulPrecision && values.size() < (std::size_t(1) << 24))
        text.reserve((precision + 14) * values.size());
    bool first = true;
    for (const UnitValue& value : values) {
        if (!first) text += ' ';
        first = false;
        appendSvgNumber(text, value.value, options);
        UnitToString(value.unit, text, true);
    }
    return writeAttributeString(context, options, name, text);
}

bool writeAttributeUnsignedInt(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                               uint64_t value)
{
    return writeAttributeString(context, options, name, kxStringUtils::fromUInt64(value));
}

bool writeAttributeSignedInt(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                             int64_t value)
{
    return writeAttributeString(context, options, name, kxStringUtils::fromInt64(value));
}

bool writeAttributeTransform(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                             const Wm4::Matrix3<float>& matrix)
{
    // SVG's a b c d e f: the first two rows read column by column.
    std::string text;
    text.reserve(96);
    const float values[6] = {matrix(0, 0), matrix(1, 0), matrix(0, 1), matrix(1, 1), matrix(0, 2), matrix(1, 2)};
    text += "matrix(";
    for (int i = 0; i < 6; ++i) {
        if (i > 0) text += ' ';
        appendSvgNumber(text, values[i], options);
    }
    text += ')';
    return writeAttributeString(context, options, name, text);
}

} // namespace Helpers
} // namespace svg
} // namespace kx
