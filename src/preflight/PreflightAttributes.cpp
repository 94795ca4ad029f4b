// PreflightAttributes.cpp - attribute values brought into the forms the reader takes.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {
namespace preflight {

// ------------------------------------------------ values

bool Pass::numberValue(const std::string& name, const std::string& value, std::string& out)
{
    const std::string_view t = Trim(value);
    float f = 0;
    if (!t.empty() && t.back() == '%') {
        double v = 0;
        std::string number;
        if (NormalizeLength(t.substr(0, t.size() - 1), 1.0, number) == LengthResult::Invalid) return false;
        v = numberOf(number) / 100.0;
        out = FormatFloat(v);
        rewritten("percentage in " + quoted(name) + " as a number");
        return true;
    }
    out.assign(t);
    if (out.empty() || !impl::ParseSvgFloat(out, f)) return false;
    if (out.size() != value.size()) rewritten("blanks around a number removed");
    return true;
}

bool Pass::length(El& e, const std::string& name, double base, std::string& out)
{
    const std::string* value = e.get(name);
    if (!value) return false;
    std::string_view text = Trim(*value);
    // Lists of positions (text x="1 2 3") keep their first entry.
    const size_t space = text.find_first_of(" ,\t\n\r");
    if (space != std::string_view::npos) {
        text = text.substr(0, space);
        approximated("list of positions as its first entry");
    }
    float f = 0;
    switch (NormalizeLength(text, base, out, m_fonts)) {
    case LengthResult::Kept:
        break;
    case LengthResult::Converted:
        rewritten("length unit converted to user units");
        break;
    case LengthResult::Approximated:
        approximated("relative length unit converted to user units");
        break;
    case LengthResult::Invalid:
        return false;
    }
    return impl::ParseSvgFloat(out, f);
}

bool Pass::colorValue(const std::string& value, const Context& ctx, std::string& out)
{
    if (ToLower(Trim(value)) == "currentcolor") {
        out = ctx.color;
        rewritten("currentColor resolved");
        return true;
    }
    switch (NormalizeColor(value, out)) {
    case ColorResult::Kept:
        break;
    case ColorResult::Converted:
        rewritten("color converted to a form the reader accepts");
        break;
    case ColorResult::Approximated:
        approximated("color rounded to whole channel values");
        break;
    case ColorResult::Invalid:
        return false;
    }
    Wm4::Vector4<unsigned char> rgba;
    return out == "none" || ParseSvgColor(out, rgba);
}

bool Pass::gradientColor(const El& gradient, const Context& ctx, std::string& out)
{
    // Stops may come from the gradients that this one refers to.
    const El* g = &gradient;
    for (int hops = 0; g && hops < 16; ++hops) {
        std::vector<const El*> stops;
        for (const auto& kid : g->kids)
            if (!kid->isText() && kid->name == "stop") stops.push_back(kid.get());
        if (!stops.empty()) {
            bool uniform = true;
            std::string first;
            for (size_t i = 0; i < stops.size(); ++i) {
                const std::string* c = stops[i]->get("stop-color");
                const std::string* o = stops[i]->get("stop-opacity");
                std::string color;
                if (!c || !colorValue(*c, ctx, color)) color = "black";
                if (o) {
                    std::string number;
                    float alpha = 1;
                    Wm4::Vector4<unsigned char> rgba;
                    if (numberValue("stop-opacity", *o, number) && impl::ParseSvgFloat(number, alpha) &&
                        alpha < 1.0f && color != "none" && ParseSvgColor(color, rgba)) {
                        if (alpha < 0) alpha = 0;
                        char buffer[16];
                        std::snprintf(buffer, sizeof(buffer), "#%02x%02x%02x%02x", rgba[0], rgba[1], rgba[2],
                                      int(std::floor(alpha * rgba[3] + 0.5f)));
                        color = buffer;
                    }
                }
                if (i == 0)
                    first = color;
                else if (color != first)
                    uniform = false;
            }
            out = first;
            if (uniform)
                rewritten("gradient of one color as that color");
            else
                approximated("gradient paint as its first stop color");
            return true;
        }
        const std::string* href = hrefOf(*g);
        const std::string id = href ? std::string(Trim(*href)) : std::string();
        const auto found = id.size() > 1 && id[0] == '#' ? m_ids.find(id.substr(1)) : m_ids.end();
        g = found == m_ids.end() ? nullptr : found->second;
        if (g && g->name != "linearGradient" && g->name != "radialGradient") g = nullptr;
    }
    out = "none";
    rewritten("gradient without stops as none");
    return true;
}

// The first colour painted inside a pattern, searched depth first.
const std::string* firstFill(const El& e)
{
    for (const auto& kid : e.kids) {
        if (kid->isText()) continue;
        const std::string* fill = kid->get("fill");
        if (fill && *fill != "none" && !startsWith(Trim(*fill), "url(")) return fill;
        if (const std::string* inner = firstFill(*kid)) return inner;
    }
    return nullptr;
}

bool Pass::resolvePaint(const std::string& value, const Context& ctx, std::string& out)
{
    const std::string_view t = Trim(value);
    if (!startsWith(ToLower(t.substr(0, 4)), "url(")) return colorValue(value, ctx, out);

    const size_t close = t.find(')');
    if (close == std::string_view::npos) return false;
    std::string id(Trim(t.substr(4, close - 4)));
    if (id.size() >= 2 && (id[0] == '"' || id[0] == '\'')) id = id.substr(1, id.size() - 2);
    if (!id.empty() && id[0] == '#') id.erase(0, 1);
    const std::string fallback(Trim(t.substr(close + 1)));
    const auto found = m_ids.find(id);
    const El* target = found == m_ids.end() ? nullptr : found->second;
    const bool gradient = target && (target->name == "linearGradient" || target->name == "radialGradient");
    const bool pattern = target && target->name == "pattern";

    if (!gradient && !pattern) {
        // A reference that leads nowhere paints the fallback, or nothing.
        dropped("paint reference to a missing element");
        if (!fallback.empty() && colorValue(fallback, ctx, out)) return true;
        out = "none";
        return true;
    }
    if (!m_options.approximatePaint) {
        dropped(gradient ? "gradient paint" : "pattern paint");
        out = "none";
        return true;
    }
    if (gradient) return gradientColor(*target, ctx, out);
    if (!fallback.empty() && colorValue(fallback, ctx, out)) {
        approximated("pattern paint as its fallback color");
        return true;
    }
    if (const std::string* inner = firstFill(*target)) {
        if (colorValue(*inner, ctx, out)) {
            approximated("pattern paint as the color of its content");
            return true;
        }
    }
    out = "none";
    approximated("pattern paint without a color as none");
    return true;
}

// ------------------------------------------------ attributes

std::string attributeGroup(const std::string& name)
{
    if (startsWith(name, "data-")) return "data-*";
    if (startsWith(name, "aria-")) return "aria-*";
    const size_t colon = name.find(':');
    if (colon != std::string::npos && name != "xml:space") return name.substr(0, colon) + ":*";
    return name;
}

bool inList(std::string_view value, std::initializer_list<std::string_view> list)
{
    return std::find(list.begin(), list.end(), value) != list.end();
}

void Pass::filterAttributes(El& e, const Context& ctx, bool root)
{
    const double diagonal = std::sqrt((ctx.width * ctx.width + ctx.height * ctx.height) / 2.0);
    std::vector<Attr> kept;
    kept.reserve(e.attrs.size());
    const std::string& kind = e.name;
    for (Attr& a : e.attrs) {
        const std::string& n = a.name;
        std::string out;
        bool keep = false;
        bool reported = false;
        auto drop = [&](const std::string& why) {
            dropped(why);
            reported = true;
        };
        if (n == "id" || n == "class") {
            keep = n == "id" ? m_options.keepIds : m_options.keepClasses;
            if (!keep) drop("attribute " + quoted(n) + " (by option)");
            out = a.value;
        } else if (n == "transform") {
            // What the reader takes as it stands stays byte for byte; other
            // forms of SVG's grammar (signs or points as separators) are
            // written with spaces.
            Wm4::Matrix3<float> m;
            std::string error;
            keep = NormalizeTransform(a.value, out);
            if (keep && impl::ParseTransformList(a.value, m, error))
                out = a.value;
            else if (keep)
                rewritten("transform list with plain separators");
            if (!keep) drop("transform that cannot be read");
        } else if (n == "opacity" || n == "fill-opacity" || n == "stroke-opacity") {
            keep = numberValue(n, a.value, out);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (n == "fill" || n == "stroke") {
            if (ToLower(Trim(a.value)) == "inherit") {
                rewritten("inherit left to the cascade");
                reported = true;
            } else {
                keep = resolvePaint(a.value, ctx, out);
                if (!keep) drop("paint that cannot be read");
            }
        } else if (n == "stroke-width") {
            keep = length(e, n, diagonal, out);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
            // A negative width is an error that leaves nothing to stroke.
            if (keep && numberOf(out) < 0) {
                out = "0";
                dropped("stroke with a negative width");
            }
        } else if (n == "stroke-linecap" || n == "stroke-linejoin" || n == "vector-effect") {
            out = std::string(Trim(a.value));
            if (n == "stroke-linecap")
                keep = inList(out, {"butt", "round", "square"});
            else if (n == "stroke-linejoin")
                keep = inList(out, {"arcs", "bevel", "miter", "miter-clip", "round"});
            else
                keep = inList(out, {"none", "non-scaling-stroke", "non-scaling-size", "non-rotation",
                                    "fixed-position"});
            if (!keep) drop("attribute " + quoted(n) + " with a value the reader does not know");
        } else if (n == "stroke-dasharray") {
            out = std::string(Trim(a.value));
            keep = out == "none";
            if (!keep) {
                std::string list;
                std::vector<std::string_view> pieces;
                keep = SplitLengthList(out, pieces);
                for (size_t k = 0; keep && k < pieces.size(); ++k) {
                    std::string plain;
                    UnitValue unit;
                    keep = NormalizeLength(pieces[k], diagonal, plain, m_fonts) != LengthResult::Invalid &&
                           UnitValue::parseVal(plain, unit);
                    if (!list.empty()) list += ' ';
                    list += plain;
                }
                if (keep && list.empty()) keep = false;
                if (keep && list != out) rewritten("dash lengths in user units");
                out = list;
            }
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (n == "stroke-dashoffset") {
            // The reader starts every dash pattern at the start of the path. An
            // offset of zero, or one on a shape that draws no dashes, changes
            // nothing; other offsets go (reported below).
            std::string plain;
            const bool zero = NormalizeLength(a.value, diagonal, plain, m_fonts) != LengthResult::Invalid &&
                              numberOf(plain) == 0.0;
            const std::string* own = e.get("stroke-dasharray");
            const bool undashed = own ? Trim(*own) == "none" : !ctx.dashed;
            if (zero || (undashed && kind != "g" && kind != "svg")) {
                rewritten("dash offset without effect left out");
                reported = true;
            }
        } else if (n == "fill-rule" && m_options.honorFillRule) {
            rewritten("fill-rule resolved into the path data");
            reported = true;
        } else if (n == "fill-rule" || n == "clip-rule") {
            drop("attribute " + quoted(n) + " (fills are drawn even-odd)");
        } else if (root && n == "xmlns") {
            reported = true; // written again below
        } else if (root && n == "viewBox") {
            float vb[4], strict[4];
            size_t count = 0;
            std::string_view bad;
            keep = readViewBox(a.value, vb, &out);
            if (keep && impl::ParseNumberList(a.value, strict, 4, count, bad) && count == 4)
                out = a.value;
            else if (keep)
                rewritten("viewBox with plain separators");
            if (!keep) drop("viewBox that cannot be read");
        } else if ((kind == "rect" || kind == "image") && inList(n, {"x", "y", "width", "height", "rx", "ry"})) {
            keep = length(e, n, (n == "y" || n == "height" || n == "ry") ? ctx.height : ctx.width, out);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (kind == "line" && inList(n, {"x1", "y1", "x2", "y2"})) {
            keep = length(e, n, (n == "y1" || n == "y2") ? ctx.height : ctx.width, out);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (kind == "circle" && inList(n, {"cx", "cy", "r"})) {
            keep = true; // already plain
            out = a.value;
        } else if (kind == "text" && inList(n, {"x", "y", "dx", "dy", "font-size"})) {
            keep = length(e, n, (n == "y" || n == "dy") ? ctx.height : ctx.width, out);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (kind == "text" && n == "textLength") {
            out = std::string(Trim(a.value));
            UnitValue unit;
            keep = UnitValue::parseVal(out, unit);
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (kind == "text" && n == "font-family") {
            keep = true;
            out = a.value;
        } else if (kind == "text" && (n == "font-weight" || n == "font-style" || n == "text-decoration")) {
            const std::string v = ToLower(Trim(a.value));
            if (n == "font-weight") {
                keep = inList(v, {"bold", "bolder", "600", "700", "800", "900"});
                out = "bold";
            } else if (n == "font-style") {
                keep = v == "italic" || v == "oblique";
                out = "italic";
            } else {
                keep = v.find("underline") != std::string::npos;
                out = "underline";
            }
            if (keep && v != out) rewritten("text style keyword rewritten");
            if (!keep) {
                rewritten("plain text style left as the default");
                reported = true;
            }
        } else if (kind == "text" && n == "xml:space") {
            keep = true;
            out = a.value;
        } else if (kind == "image" && (n == "href" || n == "xlink:href")) {
            if (n == "xlink:href") {
                if (e.get("href")) {
                    reported = true;
                    dropped("attribute \"xlink:href\" beside \"href\"");
                } else {
                    rewritten("xlink:href as href");
                    keep = true;
                    out = a.value;
                    a.name = "href";
                }
            } else {
                keep = true;
                out = a.value;
            }
        } else if (kind == "image" && n == "preserveAspectRatio") {
            const std::string v(Trim(a.value));
            const size_t space = v.find(' ');
            out = v.substr(0, space);
            keep = inList(out, {"none", "xMinYMin", "xMidYMin", "xMaxYMin", "xMinYMid", "xMidYMid", "xMaxYMid",
                                "xMinYMax", "xMidYMax", "xMaxYMax"});
            if (keep && space != std::string::npos) {
                if (v.find("slice") != std::string::npos)
                    approximated("image slice drawn as meet");
                else
                    rewritten("image meet keyword removed");
            }
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
        } else if (kind == "path" && n == "d") {
            keep = true;
            out = a.value;
        }
        if (keep) {
            kept.push_back(Attr{a.name, std::move(out)});
        } else if (!reported) {
            dropped("attribute " + quoted(attributeGroup(n)));
        }
    }
    e.attrs = std::move(kept);
}


} // namespace preflight
} // namespace svg
} // namespace kx
