// ReadNumbers.h - numbers, number lists and transform lists of attribute values.
#ifndef KX_SVG_READ_READNUMBERS_H
#define KX_SVG_READ_READNUMBERS_H

#include <Wm4/Wm4Matrix3.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kx {
namespace svg {
namespace impl {

/// Reads one number in the classic locale with the rules of `strtof_l` on the
/// whole text: leading white space is accepted, trailing text (white space
/// included) is not, and an empty text gives 0. On failure `out` is unchanged.
bool ParseSvgFloat(std::string_view text, float& out);

/// True for the characters that separate the entries of a number list:
/// space, comma, tab, line feed and carriage return.
inline bool IsListSeparator(char c) { return c == ' ' || c == ',' || c == '\t' || c == '\n' || c == '\r'; }

/// Calls `visit(piece)` for every entry of a list separated by `IsListSeparator`
/// characters; a run of separators counts as one and separators at either end
/// are ignored. Stops early, returning false, when `visit` returns false.
template <class Visitor>
bool ForEachListPiece(std::string_view text, Visitor&& visit)
{
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        while (i < n && IsListSeparator(text[i])) ++i;
        if (i == n) break;
        size_t j = i;
        while (j < n && !IsListSeparator(text[j])) ++j;
        if (!visit(text.substr(i, j - i))) return false;
        i = j;
    }
    return true;
}

/// Reads every entry of a number list, storing the first `capacity` values in
/// `values` and the number of entries in `count` (which may exceed `capacity`;
/// the caller checks the count). Returns false at the first entry that is not
/// a number, which is then in `badPiece`.
bool ParseNumberList(std::string_view text, float* values, size_t capacity, size_t& count,
                     std::string_view& badPiece);

/// The matrix of one transform operation ("matrix", "translate", "scale",
/// "rotate", "skewX", "skewY") from its numbers, as a transform list gives it.
/// False when the name is unknown or the count does not fit it.
bool BuildTransformOperation(std::string_view name, const float* values, size_t count, Wm4::Matrix3<float>& out);

/// Reads a transform list ("translate(10) rotate(45 5 5) ...") into one matrix.
/// Operations apply left to right as in SVG: the matrix is the product of the
/// operations in written order, so the last one acts first on points. On
/// failure `error` receives the part of the message that follows the quoted
/// value (", fail to locate '(' / ')'", ...) and `out` is unchanged.
bool ParseTransformList(std::string_view text, Wm4::Matrix3<float>& out, std::string& error);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
