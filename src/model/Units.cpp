// Units.cpp - parsing and writing numbers with units.
#include <kx/svg/Units.h>

#include "model/Numbers.h"

namespace kx {
namespace svg {

namespace {

// The C library's white-space set in the "C" locale, for any byte.
bool IsCSpace(char c)
{
    switch (static_cast<unsigned char>(c)) {
    case ' ':
    case '\t':
    case '\n':
    case '\v':
    case '\f':
    case '\r':
        return true;
    default:
        return false;
    }
}

void TrimTrailingSpace(std::string& text)
{
    std::size_t n = text.size();
    while (n > 0 && IsCSpace(text[n - 1])) --n;
    text.resize(n);
}

struct SuffixEntry {
    char first;
    char second;
    Unit unit;
};

constexpr SuffixEntry kTwoLetterUnits[] = {
    {'e', 'm', Unit::Em}, {'p', 'x', Unit::Px}, {'p', 't', Unit::Pt},
    {'c', 'm', Unit::Cm}, {'m', 'm', Unit::Mm}, {'i', 'n', Unit::In},
};

} // namespace

bool UnitValue::parseVal(const std::string& text, UnitValue& out)
{
    std::string rest(text);
    TrimTrailingSpace(rest);

    Unit unit = Unit::None;
    const std::size_t n = rest.size();
    if (n > 0 && rest[n - 1] == '%') {
        unit = Unit::Percent;
        rest.resize(n - 1);
    } else if (n >= 2) {
        for (const SuffixEntry& entry : kTwoLetterUnits) {
            if (rest[n - 2] == entry.first && rest[n - 1] == entry.second) {
                unit = entry.unit;
                rest.resize(n - 2);
                break;
            }
        }
    }
    TrimTrailingSpace(rest);

    // Every character must be consumed (an embedded NUL fails too); a bare
    // unit ("px") is the number 0, as strtof_l on an empty text gives.
    float value = 0.0f;
    if (!rest.empty() && !impl::ConvertFloat(rest, value)) return false;

    out.value = value;
    out.unit = unit;
    return true;
}

bool UnitToString(Unit unit, std::string& text, bool append)
{
    if (!append) text.clear();
    switch (static_cast<uint8_t>(unit)) {
    case 0:
    case 8:
        return true;
    case 1:
        text += '%';
        return true;
    case 2:
        text += "em";
        return true;
    case 3:
        text += "px";
        return true;
    case 4:
        text += "pt";
        return true;
    case 5:
        text += "cm";
        return true;
    case 6:
        text += "mm";
        return true;
    case 7:
        text += "in";
        return true;
    default:
        return false;
    }
}

} // namespace svg
} // namespace kx
