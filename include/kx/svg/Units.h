// Units.h - numbers with the unit in which a document gave them.
#ifndef KX_SVG_UNITS_H
#define KX_SVG_UNITS_H

#include <kx/svg/Export.h>

#include <cstdint>
#include <string>

namespace kx {
namespace svg {

/// Length units that the model keeps. There is deliberately no "ex" and no "pc".
enum class Unit : uint8_t {
    None = 0,    ///< plain number in user units (no suffix)
    Percent = 1, ///< "%"
    Em = 2,      ///< "em"
    Px = 3,      ///< "px"
    Pt = 4,      ///< "pt"
    Cm = 5,      ///< "cm"
    Mm = 6,      ///< "mm"
    In = 7,      ///< "in"
    UnitEnd = 8  ///< no suffix; never produced by parsing
};

/// A number and its unit. No conversion between units is ever made.
struct KXSVG_API UnitValue {
    float value = 0.0f;
    Unit unit = Unit::None;

    UnitValue() = default;
    UnitValue(float v, Unit u) : value(v), unit(u) {}

    bool operator==(const UnitValue& other) const { return value == other.value && unit == other.unit; }
    bool operator!=(const UnitValue& other) const { return !(*this == other); }

    /// Parses "12.5px", "50%", "3", "1e2mm" (trailing blanks allowed, also before
    /// the unit). An empty or all-blank text gives 0 with no unit. Returns false
    /// and leaves `out` unchanged when the text is not a number with a known unit.
    static bool parseVal(const std::string& text, UnitValue& out);
};

/// Writes the suffix of `unit` into `text` (appended when `append` is true,
/// replacing the text otherwise). Returns false for a value above 8.
KXSVG_API bool UnitToString(Unit unit, std::string& text, bool append);

} // namespace svg
} // namespace kx

#endif
