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

/// The font sizes that "em", "ex" and "rem" refer to, in user units.
struct FontSizes {
    double em = 16.0;    ///< the cascaded "font-size" of the element
    double rem = 16.0;   ///< the "font-size" of the root
    bool cascaded = false; ///< true when both come from the document's cascade
};

/// Converts a length ("12", "12px", "3mm", "50%", "2em") to a plain number text.
/// `percentBase` is what 100% stands for. Absolute units are 96 per inch;
/// "em" and "rem" are exact when `fonts` comes from the cascade, "ex" is half
/// an "em" (the usual stand-in for a font's x-height) and so approximated.
LengthResult NormalizeLength(std::string_view text, double percentBase, std::string& out,
                             const FontSizes& fonts = FontSizes());

/// The size a "font-size" value gives, in user units: a length ("em" and "%"
/// of `parent`, "rem" of `fonts.rem`) or a keyword ("medium", "larger"...).
/// False for a value that is not one, or a negative size.
bool ResolveFontSize(std::string_view text, double parent, const FontSizes& fonts, double& size);

/// Reads a transform list in SVG's full grammar (numbers separated by
/// comma-wsp, a sign or a point: "translate(0-1036.36)", operations separated
/// by comma-wsp or nothing) and writes it in the form the reader takes: each
/// operation as "name(n n ...)" with one space between numbers and between
/// operations, every number keeping its text. False when an operation, its
/// argument count or a number cannot be read, or a number is not finite.
bool NormalizeTransform(std::string_view text, std::string& out);

/// Reads a list of exactly `count` numbers in SVG's grammar into `values` and
/// writes it as the numbers' texts separated by single spaces. False when the
/// list has another length or a number cannot be read or is not finite.
bool NormalizeNumberList(std::string_view text, size_t count, double* values, std::string& out);

/// Splits a list of lengths ("5px,3 2.5.5", numbers in SVG's grammar, each
/// with an optional unit) into its entries; false when an entry cannot be read.
bool SplitLengthList(std::string_view text, std::vector<std::string_view>& pieces);

/// One "name: value" declaration; names are lower case, "!important" removed.
using Declaration = std::pair<std::string, std::string>;

/// Reads the declarations of a style attribute or of a rule's block. With
/// `important` given, the declarations marked "!important" go there instead
/// of into the result, so that a cascade can apply them last.
std::vector<Declaration> ParseDeclarations(std::string_view text, std::vector<Declaration>* important = nullptr);

/// A condition on an attribute: "[name]", "[name=v]", "[name~=v]",
/// "[name|=v]", "[name^=v]", "[name$=v]" or "[name*=v]".
struct AttributeCondition {
    std::string name;
    char match = 0; ///< 0 (present), '=', '~', '|', '^', '$' or '*'
    std::string value;
    /// True when an attribute with this condition's name has the text `actual`.
    bool matches(std::string_view actual) const;
};

/// One compound selector of a style sheet: an optional tag, an optional id,
/// classes and attribute conditions, all of which must hold.
struct SimpleSelector {
    std::string tag; ///< empty or "*": any element
    std::string id;
    std::vector<std::string> classes;
    std::vector<AttributeCondition> attributes;
    int specificity() const
    {
        return int(id.empty() ? 0 : 100) + int(classes.size() + attributes.size()) * 10 +
               (tag.empty() || tag == "*" ? 0 : 1);
    }
};

struct StyleRule {
    SimpleSelector selector;
    std::vector<Declaration> declarations;
    std::vector<Declaration> important; ///< the declarations marked "!important"
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
