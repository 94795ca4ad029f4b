// kxStringUtils.cpp - locale-independent number texts and UTF-8 checks.
#include <kx/system/kxStringUtils.h>

#include <charconv>
#include <cstdlib>
#include <system_error>

const locale_t kxStringUtils::msCLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
const std::locale kxStringUtils::msCplusLocale = std::locale::classic();

std::string kxStringUtils::fromInt64(int64_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string kxStringUtils::fromUInt64(uint64_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

namespace {

// Rewrites a scientific text "[-]d[.ddd]e±xx" (as std::to_chars writes it)
// in plain positional form: "1.5e-03" -> "0.0015", "1.2e+05" -> "120000".
std::string expandScientific(const char* first, const char* last)
{
    std::string out;
    if (first < last && *first == '-') {
        out.push_back('-');
        ++first;
    }
    std::string digits;
    const char* p = first;
    for (; p < last && *p != 'e'; ++p) {
        if (*p != '.')
            digits.push_back(*p);
    }
    int exponent = 0;
    if (p < last) {
        ++p; // 'e'
        if (p < last && *p == '+')
            ++p;
        std::from_chars(p, last, exponent);
    }
    // Trailing zeros of the mantissa carry no information once the point is placed.
    while (digits.size() > 1 && digits.back() == '0')
        digits.pop_back();
    if (digits.empty())
        digits = "0";
    if (digits == "0") {
        out += "0";
        return out;
    }

    const int count = static_cast<int>(digits.size());
    const int pointPosition = exponent + 1; // digits before the decimal point
    if (pointPosition <= 0) {
        out += "0.";
        out.append(static_cast<size_t>(-pointPosition), '0');
        out += digits;
    } else if (pointPosition >= count) {
        out += digits;
        out.append(static_cast<size_t>(pointPosition - count), '0');
    } else {
        out.append(digits, 0, static_cast<size_t>(pointPosition));
        out.push_back('.');
        out.append(digits, static_cast<size_t>(pointPosition), std::string::npos);
    }
    return out;
}

} // namespace

std::string kxStringUtils::fromFloatImpl(float value, int maxDigits, int /*mode*/)
{
    char buffer[64];
    // Shortest round-trip digits; the scientific form keeps the digits and
    // the exponent apart, whatever the magnitude.
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    if (result.ec != std::errc())
        return "0";
    const std::string_view text(buffer, static_cast<size_t>(result.ptr - buffer));
    if (text.find('e') == std::string_view::npos) // "inf", "-inf", "nan"
        return std::string(text);

    if (maxDigits > 0) {
        size_t significant = 0;
        for (char c : text) {
            if (c == 'e')
                break;
            if (c >= '0' && c <= '9')
                ++significant;
        }
        if (significant > static_cast<size_t>(maxDigits)) {
            result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific,
                                   maxDigits - 1);
            if (result.ec != std::errc())
                return "0";
        }
    }
    return expandScientific(buffer, result.ptr);
}

bool kxStringUtils::IsUtf8String(const std::string& text)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* const end = p + text.size();
    while (p < end) {
        const unsigned char lead = *p;
        if (lead < 0x80) {
            ++p;
            continue;
        }
        int length = 0;
        uint32_t codePoint = 0;
        uint32_t minimum = 0;
        if ((lead & 0xE0) == 0xC0) {
            length = 2;
            codePoint = lead & 0x1Fu;
            minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            codePoint = lead & 0x0Fu;
            minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            codePoint = lead & 0x07u;
            minimum = 0x10000;
        } else {
            return false; // continuation byte or 0xF8..0xFF as a lead
        }
        if (end - p < length)
            return false;
        for (int i = 1; i < length; ++i) {
            const unsigned char c = p[i];
            if ((c & 0xC0) != 0x80)
                return false;
            codePoint = (codePoint << 6) | (c & 0x3Fu);
        }
        if (codePoint < minimum || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return false;
        p += length;
    }
    return true;
}
