// RenderingProperties.h - presentation attributes, their cascade and colours.
#ifndef KX_SVG_RENDERINGPROPERTIES_H
#define KX_SVG_RENDERINGPROPERTIES_H

#include <kx/svg/Export.h>
#include <kx/svg/Options.h>
#include <kx/svg/Units.h>

#include <Wm4/Wm4ColorRGBA.h>
#include <Wm4/Wm4Vector4.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kx {
namespace xml {
class XmlSaveContext;
}
namespace svg {

/// "stroke-linecap" keywords.
enum class LineCap : uint8_t { Butt = 0, Round = 1, Square = 2 };

/// "stroke-linejoin" keywords.
enum class LineJoin : uint8_t { Arcs = 0, Bevel = 1, Miter = 2, MiterClip = 3, Round = 4 };

/// "vector-effect" keywords, combinable as bits; a present set with no bit is "none".
enum VectorEffect : uint8_t {
    NonScalingStroke = 1, ///< "non-scaling-stroke"
    NonScalingSize = 2,   ///< "non-scaling-size"
    NonRotation = 4,      ///< "non-rotation"
    FixedPosition = 8     ///< "fixed-position"
};

/// The presentation attributes of one item. Every field is optional: absent
/// means "not specified here", which differs from every value. Colours are
/// kept as the text that was read and parsed only on demand.
struct KXSVG_API RenderingProperties {
    std::optional<float> opacity;                           ///< "opacity"
    std::optional<float> strokeWidth;                       ///< "stroke-width", user units
    std::optional<float> strokeOpacity;                     ///< "stroke-opacity"
    std::optional<std::string> stroke;                      ///< "stroke", colour text
    std::optional<LineCap> strokeLinecap;                   ///< "stroke-linecap"
    std::optional<LineJoin> strokeLinejoin;                 ///< "stroke-linejoin"
    std::optional<std::vector<UnitValue>> strokeDasharray;  ///< "stroke-dasharray"
    std::optional<std::string> className;                   ///< "class"
    std::optional<std::string> fill;                        ///< "fill", colour text
    std::optional<float> fillOpacity;                       ///< "fill-opacity"
    std::optional<uint8_t> vectorEffect;                    ///< "vector-effect", `VectorEffect` bits

    /// Fills every absent field except `vectorEffect` with the parent's field.
    /// Unlike SVG, opacity and class are inherited as they stand (nothing multiplies).
    void cascadeParent(const RenderingProperties& parent);

    /// False when fill is "none" or the effective fill alpha is not above 0; an absent fill paints black.
    bool hasFill() const;
    /// False when stroke is absent or "none", or the effective stroke alpha is not above 0.
    bool hasStroke() const;

    /// The fill colour with its effective alpha (fill-opacity x opacity, clamped to [0, 1]).
    Wm4::ColorRGBA parseFillColor() const;
    /// The stroke colour with its effective alpha (stroke-opacity x opacity, clamped to [0, 1]).
    Wm4::ColorRGBA parseStrokeColor() const;

    /// Absent: black with `alpha` clamped; "none" or unparsable text: (0, 0, 0, 0);
    /// otherwise the colour with its own alpha times `alpha`, clamped to [0, 1].
    static Wm4::ColorRGBA ParseColor(const std::optional<std::string>& color, float alpha);

    /// Writes the present fields as attributes, in the writer's fixed order.
    bool writeAttributes(kx::xml::XmlSaveContext& context, const SaveOptions& options) const;

    bool operator==(const RenderingProperties& o) const;
    bool operator!=(const RenderingProperties& o) const { return !(*this == o); }
};

/// Parses "#rgb", "#rgba", "#rrggbb", "#rrggbbaa", "rgb(r, g, b)", "rgba(r, g, b, a)"
/// (integers 0-255 in any C base, or percentages) and the 148 CSS named colours
/// (exact, case-sensitive). Returns false when the text is none of these; `rgba`
/// is then unspecified.
KXSVG_API bool ParseSvgColor(const std::string& text, Wm4::Vector4<unsigned char>& rgba);

} // namespace svg
} // namespace kx

#endif
