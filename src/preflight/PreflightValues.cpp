// PreflightValues.cpp - colours, lengths and CSS text for the preflight pass.
#include "preflight/PreflightValues.h"

#include "model/NamedColors.h"
#include "model/Numbers.h"
#include "preflight/PreflightPath.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kx {
namespace svg {
namespace preflight {

namespace {
inline bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
inline bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
inline bool isIdentChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

// Reads a leading number in the SVG forms (no hexadecimal, no "inf" or "nan");
// `rest` is what follows it.
bool leadingNumber(std::string_view text, double& value, std::string_view& numberText, std::string_view& rest)
{
    size_t pos = 0;
    if (!impl::ScanNumber(text, pos, numberText, value) || !std::isfinite(value)) return false;
    rest = text.substr(pos);
    return true;
}

std::string hexColor(int r, int g, int b, int a)
{
    char buffer[16];
    if (a >= 255)
        std::snprintf(buffer, sizeof(buffer), "#%02x%02x%02x", r, g, b);
    else
        std::snprintf(buffer, sizeof(buffer), "#%02x%02x%02x%02x", r, g, b, a);
    return buffer;
}

// A channel value 0..255 from its double form; `exact` is cleared when rounding was needed.
int toByte(double v, bool& exact)
{
    if (v < 0) v = 0;
    if (v > 255) v = 255;
    const double r = std::floor(v + 0.5);
    if (std::fabs(r - v) > 1e-9) exact = false;
    return static_cast<int>(r);
}

// Splits the arguments of a colour function at commas, white space and "/".
std::vector<std::string_view> functionArguments(std::string_view inside)
{
    std::vector<std::string_view> pieces;
    size_t i = 0;
    while (i < inside.size()) {
        while (i < inside.size() && (isSpace(inside[i]) || inside[i] == ',' || inside[i] == '/')) ++i;
        size_t j = i;
        while (j < inside.size() && !(isSpace(inside[j]) || inside[j] == ',' || inside[j] == '/')) ++j;
        if (j > i) pieces.push_back(inside.substr(i, j - i));
        i = j;
    }
    return pieces;
}

// A number with an optional "%" (percent true) or unit suffix.
bool numberWithSuffix(std::string_view piece, double& value, std::string& suffix)
{
    std::string_view numberText, rest;
    if (!leadingNumber(piece, value, numberText, rest)) return false;
    suffix = ToLower(rest);
    return true;
}

bool plainDecimalByte(std::string_view piece)
{
    if (piece.empty() || piece.size() > 3) return false;
    if (piece.size() > 1 && piece[0] == '0') return false;
    int v = 0;
    for (char c : piece) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    return v <= 255;
}

double hueToRgb(double p, double q, double t)
{
    if (t < 0) t += 1;
    if (t > 1) t -= 1;
    if (t < 1.0 / 6) return p + (q - p) * 6 * t;
    if (t < 0.5) return q;
    if (t < 2.0 / 3) return p + (q - p) * (2.0 / 3 - t) * 6;
    return p;
}

ColorResult functionalColor(std::string_view t, std::string& out)
{
    const size_t open = t.find('(');
    if (open == std::string_view::npos || t.back() != ')') return ColorResult::Invalid;
    const std::string name = ToLower(Trim(t.substr(0, open)));
    const std::string_view inside = t.substr(open + 1, t.size() - open - 2);
    const std::vector<std::string_view> args = functionArguments(inside);
    if (args.size() != 3 && args.size() != 4) return ColorResult::Invalid;
    bool exact = true;
    int alpha = 255;
    if (args.size() == 4) {
        double a = 0;
        std::string suffix;
        if (!numberWithSuffix(args[3], a, suffix)) return ColorResult::Invalid;
        if (suffix == "%")
            a /= 100.0;
        else if (!suffix.empty())
            return ColorResult::Invalid;
        alpha = toByte(std::min(1.0, std::max(0.0, a)) * 255.0, exact);
    }
    if (name == "rgb" || name == "rgba") {
        // Plain decimal bytes with commas are what the reader takes as they stand.
        const bool readerForm = args.size() == 3 && name == "rgb" &&
                                std::count(inside.begin(), inside.end(), ',') == 2 && plainDecimalByte(args[0]) &&
                                plainDecimalByte(args[1]) && plainDecimalByte(args[2]);
        if (readerForm) {
            out.assign(t);
            return ColorResult::Kept;
        }
        int rgb[3];
        for (int k = 0; k < 3; ++k) {
            double v = 0;
            std::string suffix;
            if (!numberWithSuffix(args[k], v, suffix)) return ColorResult::Invalid;
            if (suffix == "%")
                v = v * 255.0 / 100.0;
            else if (!suffix.empty())
                return ColorResult::Invalid;
            rgb[k] = toByte(v, exact);
        }
        out = hexColor(rgb[0], rgb[1], rgb[2], alpha);
        return exact ? ColorResult::Converted : ColorResult::Approximated;
    }
    if (name == "hsl" || name == "hsla") {
        double h = 0, s = 0, l = 0;
        std::string hs, ss, ls;
        if (!numberWithSuffix(args[0], h, hs) || !numberWithSuffix(args[1], s, ss) ||
            !numberWithSuffix(args[2], l, ls))
            return ColorResult::Invalid;
        if (hs == "rad") h = h * 180.0 / 3.14159265358979323846;
        else if (hs == "turn") h *= 360.0;
        else if (hs == "grad") h *= 0.9;
        else if (!hs.empty() && hs != "deg") return ColorResult::Invalid;
        if ((ss != "%" && !ss.empty()) || (ls != "%" && !ls.empty())) return ColorResult::Invalid;
        h = std::fmod(h, 360.0);
        if (h < 0) h += 360.0;
        h /= 360.0;
        s = std::min(1.0, std::max(0.0, s / 100.0));
        l = std::min(1.0, std::max(0.0, l / 100.0));
        const double q = l < 0.5 ? l * (1 + s) : l + s - l * s;
        const double p = 2 * l - q;
        const double r = s == 0 ? l : hueToRgb(p, q, h + 1.0 / 3);
        const double g = s == 0 ? l : hueToRgb(p, q, h);
        const double b = s == 0 ? l : hueToRgb(p, q, h - 1.0 / 3);
        out = hexColor(toByte(r * 255, exact), toByte(g * 255, exact), toByte(b * 255, exact), alpha);
        return exact ? ColorResult::Converted : ColorResult::Approximated;
    }
    return ColorResult::Invalid;
}
} // namespace

std::string_view Trim(std::string_view text)
{
    size_t b = 0, e = text.size();
    while (b < e && isSpace(text[b])) ++b;
    while (e > b && isSpace(text[e - 1])) --e;
    return text.substr(b, e - b);
}

std::string ToLower(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return result;
}

ColorResult NormalizeColor(std::string_view text, std::string& out)
{
    const std::string_view t = Trim(text);
    if (t.empty()) return ColorResult::Invalid;
    const bool trimmed = t.size() != text.size();
    if (t[0] == '#') {
        const size_t n = t.size();
        if (n != 4 && n != 5 && n != 7 && n != 9) return ColorResult::Invalid;
        for (size_t i = 1; i < n; ++i)
            if (!isHex(t[i])) return ColorResult::Invalid;
        out.assign(t);
        return trimmed ? ColorResult::Converted : ColorResult::Kept;
    }
    const std::string lower = ToLower(t);
    if (lower == "none" || lower == "transparent") {
        out = "none";
        return t == "none" && !trimmed ? ColorResult::Kept : ColorResult::Converted;
    }
    if (impl::FindNamedColor(lower)) {
        out = lower;
        return lower == t && !trimmed ? ColorResult::Kept : ColorResult::Converted;
    }
    const ColorResult result = functionalColor(t, out);
    if (result == ColorResult::Kept && trimmed) return ColorResult::Converted;
    return result;
}

LengthResult NormalizeLength(std::string_view text, double percentBase, std::string& out, const FontSizes& fonts)
{
    const std::string_view t = Trim(text);
    double value = 0;
    std::string_view numberText, rest;
    if (!leadingNumber(t, value, numberText, rest)) return LengthResult::Invalid;
    const std::string unit = ToLower(rest);
    if (unit.empty()) {
        out.assign(numberText);
        return t.size() == text.size() ? LengthResult::Kept : LengthResult::Converted;
    }
    if (unit == "px") {
        out.assign(numberText);
        return LengthResult::Converted;
    }
    double factor = 0;
    bool exact = true;
    if (unit == "pt") factor = 4.0 / 3.0;
    else if (unit == "pc") factor = 16.0;
    else if (unit == "mm") factor = 96.0 / 25.4;
    else if (unit == "cm") factor = 96.0 / 2.54;
    else if (unit == "in") factor = 96.0;
    else if (unit == "q") factor = 96.0 / 101.6;
    else if (unit == "em") factor = fonts.em, exact = fonts.cascaded;
    else if (unit == "rem") factor = fonts.rem, exact = fonts.cascaded;
    else if (unit == "ex") factor = fonts.em / 2.0, exact = false;
    else if (unit == "%") factor = percentBase / 100.0, exact = false;
    else return LengthResult::Invalid;
    out = FormatFloat(value * factor);
    return exact ? LengthResult::Converted : LengthResult::Approximated;
}

bool ResolveFontSize(std::string_view text, double parent, const FontSizes& fonts, double& size)
{
    // The absolute keywords step by 1.2 around "medium" (16 px) as browsers do.
    static const std::pair<const char*, double> keywords[] = {
        {"xx-small", 9}, {"x-small", 10}, {"small", 13}, {"medium", 16}, {"large", 18},
        {"x-large", 24}, {"xx-large", 32}, {"xxx-large", 48}};
    const std::string lower = ToLower(Trim(text));
    for (const auto& keyword : keywords)
        if (lower == keyword.first) {
            size = keyword.second;
            return true;
        }
    if (lower == "larger" || lower == "smaller") {
        size = lower == "larger" ? parent * 1.2 : parent / 1.2;
        return true;
    }
    FontSizes relative = fonts;
    relative.em = parent;
    std::string number;
    if (NormalizeLength(text, parent, number, relative) == LengthResult::Invalid) return false;
    double value = 0;
    if (!impl::ConvertDouble(number, value) || !std::isfinite(value) || value < 0) return false;
    size = value;
    return true;
}

namespace {
// The number of arguments each transform operation takes, as a bit set
// (bit n set: n arguments allowed); 0 for names that are not operations.
unsigned transformArity(std::string_view name)
{
    if (name == "matrix") return 1u << 6;
    if (name == "translate" || name == "scale") return (1u << 1) | (1u << 2);
    if (name == "rotate") return (1u << 1) | (1u << 3);
    if (name == "skewX" || name == "skewY") return 1u << 1;
    return 0;
}

inline bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
} // namespace

bool NormalizeTransform(std::string_view text, std::string& out)
{
    out.clear();
    size_t pos = 0;
    impl::SkipWsp(text, pos);
    while (pos < text.size()) {
        const size_t nameStart = pos;
        while (pos < text.size() && isAsciiLetter(text[pos])) ++pos;
        const std::string_view name = text.substr(nameStart, pos - nameStart);
        const unsigned arity = transformArity(name);
        if (arity == 0) return false;
        impl::SkipWsp(text, pos);
        if (pos >= text.size() || text[pos] != '(') return false;
        ++pos;
        if (!out.empty()) out += ' ';
        out.append(name);
        out += '(';
        unsigned count = 0;
        impl::SkipWsp(text, pos);
        while (pos < text.size() && text[pos] != ')') {
            if (count > 0) impl::SkipCommaWsp(text, pos);
            std::string_view token;
            double value = 0;
            if (count >= 6 || !impl::ScanNumber(text, pos, token, value) || !std::isfinite(value)) return false;
            if (count > 0) out += ' ';
            out.append(token);
            ++count;
            impl::SkipWsp(text, pos);
        }
        if (pos >= text.size() || (arity & (1u << count)) == 0) return false;
        ++pos; // ')'
        out += ')';
        impl::SkipCommaWsp(text, pos);
    }
    return true;
}

bool NormalizeNumberList(std::string_view text, size_t count, double* values, std::string& out)
{
    out.clear();
    size_t n = 0;
    bool finite = true;
    const bool read = impl::ForEachSvgNumber(text, [&](std::string_view token, double value) {
        if (n < count) values[n] = value;
        finite = finite && std::isfinite(value);
        if (n > 0) out += ' ';
        out.append(token);
        ++n;
    });
    return read && finite && n == count;
}

bool SplitLengthList(std::string_view text, std::vector<std::string_view>& pieces)
{
    pieces.clear();
    size_t pos = 0;
    impl::SkipWsp(text, pos);
    while (pos < text.size()) {
        if (!pieces.empty()) {
            impl::SkipCommaWsp(text, pos);
            if (pos >= text.size()) return false;
        }
        const size_t start = pos;
        std::string_view token;
        double value = 0;
        if (!impl::ScanNumber(text, pos, token, value)) return false;
        while (pos < text.size() && (isAsciiLetter(text[pos]) || text[pos] == '%')) ++pos;
        pieces.push_back(text.substr(start, pos - start));
        impl::SkipWsp(text, pos);
    }
    return true;
}

namespace {
std::string stripComments(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '/' && i + 1 < text.size() && text[i + 1] == '*') {
            const size_t end = text.find("*/", i + 2);
            if (end == std::string_view::npos) break;
            i = end + 2;
            result += ' ';
            continue;
        }
        result += text[i++];
    }
    return result;
}

// Index of the "}" that closes the block opened just before `from`, or npos.
size_t closingBrace(std::string_view text, size_t from)
{
    int depth = 1;
    char quote = 0;
    for (size_t i = from; i < text.size(); ++i) {
        const char c = text[i];
        if (quote) {
            if (c == quote) quote = 0;
            continue;
        }
        if (c == '"' || c == '\'') quote = c;
        else if (c == '{') ++depth;
        else if (c == '}' && --depth == 0) return i;
    }
    return std::string_view::npos;
}

// Reads "[name op value]" from `s` at `i` (on the "[") and moves `i` past the "]".
bool parseAttributeCondition(std::string_view s, size_t& i, SimpleSelector& selector)
{
    const size_t close = s.find(']', i);
    if (close == std::string_view::npos) return false;
    const std::string_view inside = Trim(s.substr(i + 1, close - i - 1));
    AttributeCondition condition;
    size_t j = 0;
    while (j < inside.size() && (isIdentChar(inside[j]) || inside[j] == ':')) ++j;
    if (j == 0) return false;
    condition.name.assign(inside.substr(0, j));
    std::string_view rest = Trim(inside.substr(j));
    if (!rest.empty()) {
        if (rest[0] == '=') {
            condition.match = '=';
            rest = rest.substr(1);
        } else if (rest.size() >= 2 && rest[1] == '=' && std::strchr("~|^$*", rest[0])) {
            condition.match = rest[0];
            rest = rest.substr(2);
        } else {
            return false;
        }
        rest = Trim(rest);
        if (rest.size() >= 2 && (rest[0] == '"' || rest[0] == '\'') && rest.back() == rest[0]) {
            rest = rest.substr(1, rest.size() - 2);
        } else {
            for (char c : rest)
                if (!isIdentChar(c)) return false;
            if (rest.empty()) return false;
        }
        condition.value.assign(rest);
    }
    selector.attributes.push_back(std::move(condition));
    i = close + 1;
    return true;
}

bool parseSimpleSelector(std::string_view text, SimpleSelector& selector)
{
    const std::string_view s = Trim(text);
    if (s.empty()) return false;
    size_t i = 0;
    if (s[0] == '*') {
        selector.tag = "*";
        i = 1;
    } else {
        while (i < s.size() && isIdentChar(s[i])) ++i;
        selector.tag.assign(s.substr(0, i));
    }
    while (i < s.size()) {
        const char kind = s[i];
        if (kind == '[') {
            if (!parseAttributeCondition(s, i, selector)) return false;
            continue;
        }
        if (kind != '.' && kind != '#') return false;
        size_t j = i + 1;
        while (j < s.size() && isIdentChar(s[j])) ++j;
        if (j == i + 1) return false;
        const std::string name(s.substr(i + 1, j - i - 1));
        if (kind == '.')
            selector.classes.push_back(name);
        else if (selector.id.empty())
            selector.id = name;
        else
            return false;
        i = j;
    }
    return true;
}
} // namespace

bool AttributeCondition::matches(std::string_view actual) const
{
    const std::string_view v(value);
    switch (match) {
    case 0: return true;
    case '=': return actual == v;
    case '^': return !v.empty() && actual.substr(0, v.size()) == v;
    case '$': return !v.empty() && actual.size() >= v.size() && actual.substr(actual.size() - v.size()) == v;
    case '*': return !v.empty() && actual.find(v) != std::string_view::npos;
    case '|': return actual == v || (actual.size() > v.size() && actual.substr(0, v.size()) == v && actual[v.size()] == '-');
    case '~': {
        size_t i = 0;
        while (i < actual.size()) {
            while (i < actual.size() && isSpace(actual[i])) ++i;
            size_t j = i;
            while (j < actual.size() && !isSpace(actual[j])) ++j;
            if (j > i && actual.substr(i, j - i) == v) return true;
            i = j;
        }
        return false;
    }
    default: return false;
    }
}

std::vector<Declaration> ParseDeclarations(std::string_view text, std::vector<Declaration>* important)
{
    std::vector<Declaration> result;
    const std::string clean = stripComments(text);
    size_t i = 0;
    while (i < clean.size()) {
        // One declaration runs to the next ";" outside parentheses and quotes.
        size_t j = i;
        int depth = 0;
        char quote = 0;
        for (; j < clean.size(); ++j) {
            const char c = clean[j];
            if (quote) {
                if (c == quote) quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '(') {
                ++depth;
            } else if (c == ')') {
                if (depth > 0) --depth;
            } else if (c == ';' && depth == 0) {
                break;
            }
        }
        const std::string_view piece(clean.data() + i, j - i);
        i = j + 1;
        const size_t colon = piece.find(':');
        if (colon == std::string_view::npos) continue;
        std::string name = ToLower(Trim(piece.substr(0, colon)));
        std::string_view value = Trim(piece.substr(colon + 1));
        const size_t bang = value.rfind('!');
        const bool marked = bang != std::string_view::npos && ToLower(Trim(value.substr(bang + 1))) == "important";
        if (marked) value = Trim(value.substr(0, bang));
        if (name.empty()) continue;
        (marked && important ? *important : result).emplace_back(std::move(name), std::string(value));
    }
    return result;
}

std::vector<StyleRule> ParseStyleSheet(std::string_view text, unsigned& unsupportedSelectors,
                                       unsigned& unsupportedAtRules)
{
    std::vector<StyleRule> rules;
    const std::string clean = stripComments(text);
    const std::string_view s(clean);
    size_t i = 0;
    size_t order = 0;
    while (i < s.size()) {
        while (i < s.size() && isSpace(s[i])) ++i;
        if (i >= s.size()) break;
        if (s.compare(i, 4, "<!--") == 0) {
            i += 4;
            continue;
        }
        if (s.compare(i, 3, "-->") == 0) {
            i += 3;
            continue;
        }
        const size_t brace = s.find('{', i);
        if (s[i] == '@') {
            ++unsupportedAtRules;
            const size_t semicolon = s.find(';', i);
            if (semicolon != std::string_view::npos && (brace == std::string_view::npos || semicolon < brace)) {
                i = semicolon + 1;
                continue;
            }
            if (brace == std::string_view::npos) break;
            const size_t close = closingBrace(s, brace + 1);
            if (close == std::string_view::npos) break;
            i = close + 1;
            continue;
        }
        if (brace == std::string_view::npos) break;
        const size_t close = closingBrace(s, brace + 1);
        const std::string_view selectors = s.substr(i, brace - i);
        const std::string_view block =
            s.substr(brace + 1, (close == std::string_view::npos ? s.size() : close) - brace - 1);
        std::vector<Declaration> important;
        const std::vector<Declaration> declarations = ParseDeclarations(block, &important);
        size_t from = 0;
        while (from <= selectors.size()) {
            size_t comma = selectors.find(',', from);
            if (comma == std::string_view::npos) comma = selectors.size();
            StyleRule rule;
            if (parseSimpleSelector(selectors.substr(from, comma - from), rule.selector)) {
                rule.declarations = declarations;
                rule.important = important;
                rule.order = order++;
                rules.push_back(std::move(rule));
            } else {
                ++unsupportedSelectors;
            }
            from = comma + 1;
        }
        if (close == std::string_view::npos) break;
        i = close + 1;
    }
    return rules;
}

} // namespace preflight
} // namespace svg
} // namespace kx
