// RenderingProperties.cpp - cascade, paint tests and colour parsing.
#include <kx/svg/RenderingProperties.h>

#include "model/NamedColors.h"
#include "model/Numbers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <locale.h>

namespace kx {
namespace svg {

namespace {

template <class T>
void InheritIfAbsent(std::optional<T>& child, const std::optional<T>& parent)
{
    if (!child) child = parent;
}

float Clamp01(double v)
{
    double r = v >= 0.0 ? v : 0.0;
    r = std::min(r, 1.0);
    return static_cast<float>(r);
}

float FillAlpha(const RenderingProperties& p)
{
    float a = p.fillOpacity ? *p.fillOpacity : 1.0f;
    if (p.opacity) a = a * *p.opacity;
    return a;
}

float StrokeAlpha(const RenderingProperties& p)
{
    float a = p.strokeOpacity ? *p.strokeOpacity : 1.0f;
    if (p.opacity) a = a * *p.opacity;
    return a;
}

// Base-16 conversion of up to two characters that stops at the first
// character it cannot use and never fails (as strtol does); bad digits are
// deliberately not rejected.
unsigned char HexByte(char a, char b)
{
    const char text[3] = {a, b, '\0'};
    const long value = strtol_l(text, nullptr, 16, impl::ClassicLocale());
    return static_cast<unsigned char>(static_cast<unsigned long>(value) & 0xFFu);
}

// One component of "rgb(" / "rgba(", spaces already removed.
bool ParseColorComponent(const std::string& piece, unsigned char& out)
{
    const locale_t locale = impl::ClassicLocale();
    if (locale == static_cast<locale_t>(0)) return false;
    if (!piece.empty() && piece.back() == '%') {
        const std::string number = piece.substr(0, piece.size() - 1);
        float percent = 0.0f; // "%" alone is 0%, as strtof_l on an empty text gives
        if (!number.empty() && !impl::ConvertFloat(number, percent)) return false;
        if (!std::isfinite(percent)) return false;
        // Scaled by 2.55 in double precision and truncated toward zero through
        // a 64-bit integer, keeping the low byte: "100%" gives 254. Values
        // beyond the 64-bit range give 0, as the hardware conversion does.
        const double scaled = std::trunc(static_cast<double>(percent) * 2.55);
        int64_t whole = 0;
        if (scaled > -9223372036854775808.0 && scaled < 9223372036854775808.0) whole = static_cast<int64_t>(scaled);
        out = static_cast<unsigned char>(static_cast<uint64_t>(whole) & 0xFFu);
        return true;
    }
    char* end = nullptr;
    const long value = strtol_l(piece.c_str(), &end, 0, locale);
    if (end != piece.c_str() + piece.size()) return false;
    if (value > 255) return false;
    out = static_cast<unsigned char>(static_cast<unsigned long>(value) & 0xFFu);
    return true;
}

bool ParseFunctionalColor(const std::string& text, std::size_t open, std::size_t count,
                          Wm4::Vector4<unsigned char>& rgba)
{
    // The text between the parentheses, split at every comma (empty pieces kept).
    const std::size_t innerEnd = text.size() - 1;
    std::size_t start = open;
    for (std::size_t index = 0;; ++index) {
        std::size_t comma = text.find(',', start);
        if (comma == std::string::npos || comma > innerEnd) comma = innerEnd;
        if (index >= count) return false;
        std::string piece;
        piece.reserve(comma - start);
        for (std::size_t i = start; i < comma; ++i)
            if (text[i] != ' ') piece += text[i];
        unsigned char byte = 0;
        if (!ParseColorComponent(piece, byte)) return false;
        rgba[static_cast<int>(index)] = byte;
        if (comma == innerEnd) return index + 1 == count;
        start = comma + 1;
    }
}

} // namespace

void RenderingProperties::cascadeParent(const RenderingProperties& parent)
{
    InheritIfAbsent(opacity, parent.opacity);
    InheritIfAbsent(strokeWidth, parent.strokeWidth);
    InheritIfAbsent(strokeOpacity, parent.strokeOpacity);
    InheritIfAbsent(stroke, parent.stroke);
    InheritIfAbsent(strokeLinecap, parent.strokeLinecap);
    InheritIfAbsent(strokeLinejoin, parent.strokeLinejoin);
    InheritIfAbsent(strokeDasharray, parent.strokeDasharray);
    InheritIfAbsent(className, parent.className);
    InheritIfAbsent(fill, parent.fill);
    InheritIfAbsent(fillOpacity, parent.fillOpacity);
    // vectorEffect applies to the element that carries it only.
}

bool RenderingProperties::hasFill() const
{
    if (fill && *fill == "none") return false;
    return FillAlpha(*this) > 0.0f;
}

bool RenderingProperties::hasStroke() const
{
    if (!stroke || *stroke == "none") return false;
    return StrokeAlpha(*this) > 0.0f;
}

Wm4::ColorRGBA RenderingProperties::parseFillColor() const
{
    return ParseColor(fill, FillAlpha(*this));
}

Wm4::ColorRGBA RenderingProperties::parseStrokeColor() const
{
    return ParseColor(stroke, StrokeAlpha(*this));
}

Wm4::ColorRGBA RenderingProperties::ParseColor(const std::optional<std::string>& color, float alpha)
{
    Wm4::ColorRGBA result = Wm4::ColorRGBA::BLACK;
    if (!color) {
        result[3] = Clamp01(static_cast<double>(alpha) * 1.0);
        return result;
    }
    if (*color == "none") return Wm4::ColorRGBA(0.0f, 0.0f, 0.0f, 0.0f);
    Wm4::Vector4<unsigned char> rgba;
    if (!ParseSvgColor(*color, rgba)) return Wm4::ColorRGBA(0.0f, 0.0f, 0.0f, 0.0f);
    result[0] = static_cast<float>(rgba[0] / 255.0);
    result[1] = static_cast<float>(rgba[1] / 255.0);
    result[2] = static_cast<float>(rgba[2] / 255.0);
    result[3] = Clamp01((rgba[3] / 255.0) * 1.0 * alpha);
    return result;
}

bool RenderingProperties::operator==(const RenderingProperties& o) const
{
    return opacity == o.opacity && strokeWidth == o.strokeWidth && strokeOpacity == o.strokeOpacity &&
           stroke == o.stroke && strokeLinecap == o.strokeLinecap && strokeLinejoin == o.strokeLinejoin &&
           strokeDasharray == o.strokeDasharray && className == o.className && fill == o.fill &&
           fillOpacity == o.fillOpacity && vectorEffect == o.vectorEffect;
}

bool ParseSvgColor(const std::string& text, Wm4::Vector4<unsigned char>& rgba)
{
    rgba = Wm4::Vector4<unsigned char>(255, 0, 0, 255);
    const std::size_t n = text.size();
    if (n > 0 && text[0] == '#') {
        switch (n) {
        case 9:
            rgba[3] = HexByte(text[7], text[8]);
            [[fallthrough]];
        case 7:
            rgba[0] = HexByte(text[1], text[2]);
            rgba[1] = HexByte(text[3], text[4]);
            rgba[2] = HexByte(text[5], text[6]);
            return true;
        case 5:
            rgba[3] = HexByte(text[4], text[4]);
            [[fallthrough]];
        case 4:
            rgba[0] = HexByte(text[1], text[1]);
            rgba[1] = HexByte(text[2], text[2]);
            rgba[2] = HexByte(text[3], text[3]);
            return true;
        default:
            break;
        }
    }
    if (n > 0 && text[n - 1] == ')') {
        if (text.compare(0, 5, "rgba(") == 0) return ParseFunctionalColor(text, 5, 4, rgba);
        if (text.compare(0, 4, "rgb(") == 0) return ParseFunctionalColor(text, 4, 3, rgba);
    }
    const impl::NamedColor* named = impl::FindNamedColor(text);
    if (!named) return false;
    rgba = Wm4::Vector4<unsigned char>(named->red, named->green, named->blue, 255);
    return true;
}

} // namespace svg
} // namespace kx
