// Units.cpp - parsing and writing numbers with units.
#include <kx/svg/Units.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace kx {
namespace svg {

namespace {

// The "C" locale for strtof_l, created once and never freed.
locale_t ClassicCLocale()
{
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return locale;
}

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

    const locale_t locale = ClassicCLocale();
    if (locale == static_cast<locale_t>(0)) return false;
    const char* begin = rest.c_str();
    char* end = nullptr;
    const float value = strtof_l(begin, &end, locale);
    // Every character must be consumed; an embedded NUL stops the conversion
    // early and so fails here too.
    if (end != begin + rest.size()) return false;

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
