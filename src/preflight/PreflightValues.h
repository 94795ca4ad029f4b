// PreflightValues.h - colours, lengths and CSS text for the preflight pass.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTVALUES_H
#define KX_SVG_PREFLIGHT_PREFLIGHTVALUES_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kx {
namespace svg {
namespace preflight {

std::string_view Trim(std::string_view text);
std::string ToLower(std::string_view text);

/// How a colour text was brought into the reader's forms.
enum class ColorResult {
    Kept,        ///< accepted as it stands (possibly trimmed)
    Converted,   ///< rewritten exactly (case of a name, percentages, "transparent"...)
    Approximated,///< rewritten with rounding (hsl(), fractional channels)
    Invalid      ///< not a colour
};

/// Brings a colour (not "currentColor", not a paint reference) into a form that
/// the reader's colour parser accepts, or "none".
ColorResult NormalizeColor(std::string_view text, std::string& out);

/// A length converted to user units.
enum class LengthResult { Kept, Converted, Approximated, Invalid };

/// Converts a length ("12", "12px", "3mm", "50%", "2em") to a plain number text.
/// `percentBase` is what 100% stands for.
LengthResult NormalizeLength(std::string_view text, double percentBase, std::string& out);

/// One "name: value" declaration; names are lower case, "!important" removed.
using Declaration = std::pair<std::string, std::string>;

/// Reads the declarations of a style attribute or of a rule's block.
std::vector<Declaration> ParseDeclarations(std::string_view text);

/// One simple selector of a style sheet: an optional tag, an optional id and classes.
struct SimpleSelector {
    std::string tag; ///< empty or "*": any element
    std::string id;
    std::vector<std::string> classes;
    int specificity() const { return int(id.empty() ? 0 : 100) + int(classes.size()) * 10 + (tag.empty() || tag == "*" ? 0 : 1); }
};

struct StyleRule {
    SimpleSelector selector;
    std::vector<Declaration> declarations;
    size_t order = 0;
};

/// Reads a style sheet. Rules with selectors beyond simple ones and at-rules are
/// counted in `unsupportedSelectors` / `unsupportedAtRules` and left out.
std::vector<StyleRule> ParseStyleSheet(std::string_view text, unsigned& unsupportedSelectors,
                                       unsigned& unsupportedAtRules);

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
