// WriterHelpers.h - number and attribute formatting of the SVG writer.
#ifndef KX_SVG_WRITERHELPERS_H
#define KX_SVG_WRITERHELPERS_H

#include <kx/svg/Export.h>
#include <kx/svg/Options.h>
#include <kx/svg/Units.h>

#include <Wm4/Wm4Matrix3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kx {
namespace xml {
class XmlSaveContext;
}
namespace svg {
namespace Helpers {

/// Formats `value` (widened to double) in fixed notation with `floatPrecision`
/// digits after the point (6 when negative), in the classic locale, then drops
/// trailing zeros and a trailing point; "-0" becomes "0". Never an exponent:
/// 1e20 prints all its digits. NaN and infinities print "nan", "-nan", "inf", "-inf".
KXSVG_API std::string floatToSvgNumber(float value, const SaveOptions& options);
/// Appends `floatToSvgNumber(value, options)` to `out` without a temporary string.
KXSVG_API void appendSvgNumber(std::string& out, float value, const SaveOptions& options);

/// Writes the attribute `name` with `value` unchanged (escaped by the XML
/// writer). On failure logs "Failed to write attribute" and returns false.
KXSVG_API bool writeAttributeString(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                                    const char* value);
KXSVG_API bool writeAttributeString(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                                    const std::string& value);
/// One number, by `floatToSvgNumber`.
KXSVG_API bool writeAttributeFloatValue(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                        const char* name, float value);
/// "x y width height".
KXSVG_API bool writeAttributeBox(kx::xml::XmlSaveContext& context, const SaveOptions& options, const char* name,
                                 float x, float y, float width, float height);
/// The number followed directly by the unit suffix ("5px", "50%").
KXSVG_API bool writeAttributeUnitValue(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                       const char* name, const UnitValue& value);
/// The values separated by single spaces; an empty list writes an empty value.
KXSVG_API bool writeAttributeUnitValues(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                        const char* name, const std::vector<UnitValue>& values);
/// Decimal digits.
KXSVG_API bool writeAttributeUnsignedInt(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                         const char* name, uint64_t value);
/// Decimal digits with a leading "-" when negative.
KXSVG_API bool writeAttributeSignedInt(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                       const char* name, int64_t value);
/// "matrix(a b c d e f)" with a = m(0,0), b = m(1,0), c = m(0,1), d = m(1,1),
/// e = m(0,2), f = m(1,2); always this form, also for the identity.
KXSVG_API bool writeAttributeTransform(kx::xml::XmlSaveContext& context, const SaveOptions& options,
                                       const char* name, const Wm4::Matrix3<float>& matrix);

} // namespace Helpers
} // namespace svg
} // namespace kx

#endif
