// Numbers.h - the one home of number reading: exact conversions in the classic
// "C" locale and cursor functions for SVG's number grammar.
//
// Every number the library reads goes through these functions, so no result
// depends on the process locale (a program that called setlocale with a
// comma-decimal locale reads "1.5" as 1.5, not 1). The strict grammars of the
// reader, the path parser and units decide which texts they take and call
// `ConvertFloat` on them; preflight reads SVG's lenient grammar with the cursor
// functions below (`ScanNumber`, `SkipCommaWsp`) and converts with
// `ConvertDouble`.
#ifndef KX_SVG_MODEL_NUMBERS_H
#define KX_SVG_MODEL_NUMBERS_H

#include <cstddef>
#include <locale.h>
#include <string_view>

namespace kx {
namespace svg {
namespace impl {

/// The C library's "C" locale, created once, for the `*_l` conversions.
locale_t ClassicLocale();

/// Converts the characters [first, last) as `strtof_l` in the "C" locale would
/// convert them on their own. Returns true and sets `value` only when the
/// conversion uses every character ("1e", "-", "." or "1e5.5" give false).
/// The common forms go through fast_float, which yields the same correctly
/// rounded float; anything it does not take whole falls back to `strtof_l`.
bool ConvertFloat(const char* first, const char* last, float& value);

/// The same through `strtof_l` only: the reference the fast path must match.
bool ConvertFloatStrtof(const char* first, const char* last, float& value);

/// `ConvertFloat` in double precision (`strtod_l` rules, fast_float first).
bool ConvertDouble(const char* first, const char* last, double& value);

inline bool ConvertFloat(std::string_view text, float& value)
{
    return ConvertFloat(text.data(), text.data() + text.size(), value);
}
inline bool ConvertDouble(std::string_view text, double& value)
{
    return ConvertDouble(text.data(), text.data() + text.size(), value);
}

// ---------------------------------------------------------------- SVG's number grammar

/// SVG's white space: space, tab, line feed, carriage return and form feed.
inline bool IsSvgSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

inline bool IsAsciiDigit(char c) { return c >= '0' && c <= '9'; }

/// Advances `pos` over white space.
inline void SkipWsp(std::string_view text, size_t& pos)
{
    while (pos < text.size() && IsSvgSpace(text[pos])) ++pos;
}

/// Advances `pos` over white space with at most one comma in it: the separator
/// SVG allows between two numbers (which may also be empty: "1-2", "1.5.5").
inline void SkipCommaWsp(std::string_view text, size_t& pos)
{
    SkipWsp(text, pos);
    if (pos < text.size() && text[pos] == ',') {
        ++pos;
        SkipWsp(text, pos);
    }
}

/// True when a number may start at `pos` (a digit, a point or a sign).
inline bool StartsNumber(std::string_view text, size_t pos)
{
    if (pos >= text.size()) return false;
    const char c = text[pos];
    return IsAsciiDigit(c) || c == '.' || c == '-' || c == '+';
}

/// Scans one number of SVG's grammar at `pos`:
///   sign? (digits ("." digits?)? | "." digits) (("e" | "E") sign? digits)?
/// An "e" not followed by digits is left for the caller ("1em"). On success
/// `token` is the number's text, `pos` is just past it and `value` its double
/// (infinite when the text overflows: callers decide); on failure `pos` is unchanged.
bool ScanNumber(std::string_view text, size_t& pos, std::string_view& token, double& value);

/// Reads a whole list of numbers in SVG's grammar (comma-wsp or a sign or point
/// as separators, blanks at either end) and calls `visit(token, value)` for each.
/// Returns false at the first text that is not a number; values may be infinite.
template <class Visitor>
bool ForEachSvgNumber(std::string_view text, Visitor&& visit)
{
    size_t pos = 0;
    SkipWsp(text, pos);
    bool first = true;
    while (pos < text.size()) {
        if (!first) {
            SkipCommaWsp(text, pos);
            if (pos >= text.size()) return false; // a trailing comma
        }
        std::string_view token;
        double value = 0;
        if (!ScanNumber(text, pos, token, value)) return false;
        visit(token, value);
        SkipWsp(text, pos);
        first = false;
    }
    return true;
}

} // namespace impl
} // namespace svg
} // namespace kx

#endif
