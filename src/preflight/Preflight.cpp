// Preflight.cpp - the report and the cascade walk of the preflight pass, which
// rewrites any SVG into the subset the strict reader accepts.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {

// ---------------------------------------------------------------- report

const char* PreflightChangeName(PreflightChange change)
{
    switch (change) {
    case PreflightChange::Rewritten: return "rewritten";
    case PreflightChange::Approximated: return "approximated";
    case PreflightChange::Dropped: return "dropped";
    case PreflightChange::Failed: return "failed";
    }
    return "unknown";
}

void PreflightReport::add(PreflightChange change, const std::string& detail, std::uint32_t count)
{
    for (PreflightEntry& entry : m_entries) {
        if (entry.change == change && entry.detail == detail) {
            entry.count += count;
            return;
        }
    }
    PreflightEntry entry;
    entry.change = change;
    entry.detail = detail;
    entry.count = count;
    m_entries.push_back(std::move(entry));
}

std::vector<PreflightEntry> PreflightReport::getEntries() const
{
    std::vector<PreflightEntry> sorted = m_entries;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const PreflightEntry& a, const PreflightEntry& b) { return int(a.change) < int(b.change); });
    return sorted;
}

std::uint32_t PreflightReport::total(PreflightChange change) const
{
    std::uint32_t sum = 0;
    for (const PreflightEntry& entry : m_entries)
        if (entry.change == change) sum += entry.count;
    return sum;
}

std::uint32_t PreflightReport::count(PreflightChange change, const std::string& detail) const
{
    for (const PreflightEntry& entry : m_entries)
        if (entry.change == change && entry.detail == detail) return entry.count;
    return 0;
}

std::string PreflightReport::toText() const
{
    std::string text;
    for (const PreflightEntry& entry : getEntries()) {
        text += PreflightChangeName(entry.change);
        text += ": ";
        text += entry.detail;
        text += " x";
        text += std::to_string(entry.count);
        text += '\n';
    }
    return text;
}

namespace preflight {

// ------------------------------------------------ the cascade walk

// Path data as the strict reader parses it: the one parse of a path that the
// fill-rule and crossing rewrites work from.
bool strictPathCommands(const std::string& d, Path::Commands& commands)
{
    commands.clear();
    try {
        return ConvertPathStringToCommands(d, commands, nullptr);
    } catch (const std::exception&) {
        return false;
    }
}

void Pass::takeTextProperties(El& e, Context& ctx)
{
    bool moved = false;
    for (const char* n : kTextProperties) {
        const std::string* value = e.get(n);
        if (!value) continue;
        auto it = std::find_if(ctx.textProperties.begin(), ctx.textProperties.end(),
                               [n](const Attr& a) { return a.name == n; });
        if (it != ctx.textProperties.end())
            it->value = *value;
        else
            ctx.textProperties.push_back(Attr{n, *value});
        e.remove(n);
        moved = true;
    }
    if (moved) rewritten("font property moved onto the texts it applies to");
}

// Resolves the element's "font-size" against its parent's, so that "em" and
// "%" inside it and in its content refer to the right size; the attribute is
// left as a plain number (byte for byte when it was one).
void Pass::takeFontSize(El& e, Context& ctx)
{
    if (const std::string* size = e.get("font-size")) {
        double value = 0;
        std::string plain;
        if (ResolveFontSize(*size, ctx.fontSize, m_fonts, value)) {
            ctx.fontSize = value;
            if (NormalizeLength(*size, ctx.fontSize, plain) != LengthResult::Kept) {
                e.set("font-size", FormatFloat(value));
                rewritten("length unit converted to user units");
            }
        }
    }
    m_fonts.em = ctx.fontSize;
}

// A "currentColor" paint inherits as the keyword, so an element that sets
// "color" under such a paint is painted in its own colour.
void Pass::takeCurrentColor(El& e, Context& ctx, bool colorChanged)
{
    for (const char* name : {"fill", "stroke"}) {
        bool& current = name[0] == 'f' ? ctx.fillCurrent : ctx.strokeCurrent;
        if (const std::string* paint = e.get(name)) {
            const std::string value = ToLower(Trim(*paint));
            if (value != "inherit") current = value == "currentcolor";
        } else if (colorChanged && current) {
            e.set(name, "currentColor");
        }
    }
}

// Display, visibility, color and opacity, as the root and every element set
// them for their content. False when the element is not drawn.
bool Pass::cascadeVisibility(El& e, Context& ctx, bool root)
{
    if (const std::string* display = e.get("display")) {
        if (!root && Trim(*display) == "none") {
            dropped("element hidden with display none");
            return false;
        }
        e.remove("display");
        rewritten("display property left as the default");
    }
    if (const std::string* visibility = e.get("visibility")) {
        const std::string v(Trim(*visibility));
        if (v == "hidden" || v == "collapse")
            ctx.hidden = true;
        else if (v == "visible")
            ctx.hidden = false;
        e.remove("visibility");
        rewritten("visibility property resolved");
    }
    takeFontSize(e, ctx);
    if (!root && ctx.hidden && e.name != "g" && e.name != "svg" && e.name != "a" && e.name != "switch") {
        dropped("element hidden with visibility");
        return false;
    }
    bool colorChanged = false;
    if (const std::string* color = e.get("color")) {
        std::string value;
        if (ToLower(Trim(*color)) != "inherit" && colorValue(*color, ctx, value)) {
            ctx.color = value;
            colorChanged = true;
        }
        e.remove("color");
        rewritten("color property resolved into paint");
    }
    takeCurrentColor(e, ctx, colorChanged);
    if (const std::string* opacity = e.get("opacity")) {
        std::string value;
        float o = 1;
        if (numberValue("opacity", *opacity, value) && impl::ParseSvgFloat(value, o)) {
            if (ctx.opacity != 1.0) {
                e.set("opacity", FormatFloat(double(o) * ctx.opacity));
                rewritten("group opacity multiplied into its content");
            }
            ctx.opacity *= double(o);
        }
    }
    return true;
}

// The fill rule, the attributes in the reader's forms, and whether fill and
// stroke paint anything, for the element and its content.
void Pass::cascadePaint(El& e, Context& ctx, bool root)
{
    takeFillRule(e, ctx);
    filterAttributes(e, ctx, root);
    if (const std::string* fill = e.get("fill")) ctx.filled = *fill != "none";
    if (const std::string* stroke = e.get("stroke")) ctx.stroked = *stroke != "none";
    if (const std::string* dashes = e.get("stroke-dasharray")) ctx.dashed = *dashes != "none";
}

bool Pass::processElement(El& e, Context ctx)
{
    // Elements that draw nothing by themselves (their content was inlined where used).
    if (isNonRendered(e.name) || e.name == "use") {
        dropped("element " + quoted(e.name));
        return false;
    }
    static const std::unordered_set<std::string_view> known = {
        "svg", "g", "rect", "line", "path", "circle", "text", "image", "ellipse", "polyline", "polygon", "a", "switch"};
    if (!known.count(e.name)) {
        dropped("element " + quoted(e.name));
        return false;
    }

    if (!cascadeVisibility(e, ctx, false)) return false;
    if (e.viewportWidth > 0 && e.viewportHeight > 0) {
        ctx.width = e.viewportWidth;
        ctx.height = e.viewportHeight;
    }

    if (e.name == "a") {
        e.name = "g";
        rewritten("link as group");
    } else if (e.name == "switch") {
        // Only the first child is drawn; the alternatives go.
        e.name = "g";
        bool first = true;
        for (size_t i = 0; i < e.kids.size(); ++i) {
            if (e.kids[i]->isText()) continue;
            if (!first) {
                bury(e.kids, i--);
                continue;
            }
            first = false;
        }
        approximated("switch as its first child");
    } else if (e.name == "svg") {
        // A nested drawing becomes a group placed and scaled like its viewport.
        std::string x = "0", y = "0", w, h;
        if (e.get("x") && !length(e, "x", ctx.width, x)) x = "0";
        if (e.get("y") && !length(e, "y", ctx.height, y)) y = "0";
        double W = ctx.width, H = ctx.height;
        if (length(e, "width", ctx.width, w)) W = numberOf(w);
        if (length(e, "height", ctx.height, h)) H = numberOf(h);
        if (!(W > 0) || !(H > 0) || viewBoxWithoutArea(e)) {
            dropped("nested svg without area");
            return false;
        }
        noteViewportClip(e, "nested svg");
        std::string transform;
        if (const std::string* t = e.get("transform")) transform = *t;
        if (x != "0" || y != "0") transform += (transform.empty() ? "" : " ") + ("translate(" + x + " " + y + ")");
        float vb[4];
        const std::string* viewBox = e.get("viewBox");
        if (viewBox && readViewBox(*viewBox, vb) && W > 0 && H > 0) {
            const std::string* aspect = e.get("preserveAspectRatio");
            transform += (transform.empty() ? "" : " ") + viewBoxTransform(vb, W, H, aspect ? *aspect : "");
            ctx.width = vb[2];
            ctx.height = vb[3];
        } else {
            ctx.width = W;
            ctx.height = H;
        }
        for (const char* n : {"x", "y", "width", "height", "viewBox", "preserveAspectRatio", "version",
                              "baseProfile", "xmlns"})
            e.remove(n);
        if (!transform.empty()) e.set("transform", transform);
        e.name = "g";
        rewritten("nested svg as group");
    }

    if (!convertShape(e, ctx)) return false;

    // Only text elements take font properties; those given on groups move onto the texts.
    if (e.name == "g") {
        takeTextProperties(e, ctx);
    } else if (e.name == "text") {
        for (const Attr& a : ctx.textProperties)
            if (!e.get(a.name)) e.set(a.name, a.value);
    }

    if (e.name == "text") {
        flattenText(e);
    } else if (isShape(e.name)) {
        for (const auto& kid : e.kids)
            if (!kid->isText()) dropped("element " + quoted(kid->name) + " inside a shape");
        buryAll(e.kids);
    }

    cascadePaint(e, ctx, false);

    if (e.name == "path") {
        const std::string* d = e.get("d");
        if (!d) {
            dropped("path without data");
            return false;
        }
        Path::Commands commands, rewrittenCommands;
        const bool accepted = strictPathCommands(*d, commands);
        // Smooth cubics are reflected differently by the reader unless they follow
        // an absolute cubic, and arc radii too small for their chord are kept as
        // they are; data with either goes through the rewrite too.
        if (!accepted || d->find_first_of("sSaA") != std::string::npos) {
            std::string out;
            PathRewriteStats stats;
            const bool rewrote = RewritePathData(*d, out, stats) && strictPathCommands(out, rewrittenCommands);
            if (!accepted && !rewrote) {
                dropped("path whose data cannot be read");
                return false;
            }
            if (rewrote && (!accepted || stats.smoothReflections > 0 || stats.arcRadiiEnlarged > 0)) {
                rewritten("path data rewritten");
                if (stats.quadratics) rewritten("quadratic segment as cubic");
                if (stats.smoothAfterQuadratic) rewritten("smooth segment after a quadratic as cubic");
                if (stats.smoothReflections)
                    m_report.add(PreflightChange::Rewritten, "smooth cubic given its reflected control point",
                                 stats.smoothReflections);
                if (stats.arcRadiiEnlarged)
                    m_report.add(PreflightChange::Rewritten, "arc radii enlarged to reach the end point",
                                 stats.arcRadiiEnlarged);
                if (stats.truncated) dropped("path data after an error");
                e.set("d", out);
                commands = std::move(rewrittenCommands);
            }
        }
        if (m_options.honorFillRule && ctx.filled && ctx.nonZero && fillNonZero(e, ctx, commands)) return true;
        if (m_options.splitCrossingSubpaths && ctx.filled && splitCrossingPath(e, commands)) return true;
    }

    if (e.name == "g") processChildren(e, ctx);
    return true;
}

void Pass::takeFillRule(const El& e, Context& ctx) const
{
    if (const std::string* rule = e.get("fill-rule")) {
        const std::string v = ToLower(Trim(*rule));
        if (v == "nonzero")
            ctx.nonZero = true;
        else if (v == "evenodd")
            ctx.nonZero = false;
    }
}

// A filled path whose non-zero fill differs from its even-odd fill is written
// without the sub-paths inside its region when none crosses another, else as
// the boundary of its non-zero region; a stroked one keeps its outline for the
// stroke in a second path.
bool Pass::fillNonZero(El& e, const Context& ctx, const Path::Commands& commands)
{
    std::string boundary;
    const NonZeroRewrite how = NonZeroFillAsEvenOdd(commands, boundary);
    if (how == NonZeroRewrite::None) return false;
    if (how == NonZeroRewrite::SubpathsDropped)
        rewritten("sub-paths inside the non-zero fill left out of it");
    else
        approximated("non-zero fill as the boundary of its region");
    if (!ctx.stroked) {
        e.set("d", std::move(boundary));
        return true;
    }
    // The group keeps every attribute, so transform, paint and id apply to both.
    auto fill = std::make_unique<El>();
    fill->name = "path";
    fill->set("stroke", "none");
    fill->set("d", std::move(boundary));
    auto stroke = std::make_unique<El>();
    stroke->name = "path";
    stroke->set("fill", "none");
    stroke->set("d", *e.get("d"));
    e.name = "g";
    e.remove("d");
    e.kids.push_back(std::move(fill));
    e.kids.push_back(std::move(stroke));
    return true;
}

// A filled path whose sub-paths cross becomes a group of paths that each fill.
bool Pass::splitCrossingPath(El& e, const Path::Commands& commands)
{
    std::vector<std::string> parts;
    if (!SplitCrossingSubpaths(commands, parts)) return false;
    approximated("path with crossing sub-paths as separately filled paths");
    if (parts.size() == 1) {
        e.set("d", std::move(parts[0]));
        return true;
    }
    // The group keeps every attribute, so transform, paint and id apply to all parts.
    e.name = "g";
    e.remove("d");
    for (std::string& part : parts) {
        auto kid = std::make_unique<El>();
        kid->name = "path";
        kid->set("d", std::move(part));
        e.kids.push_back(std::move(kid));
    }
    return true;
}

void Pass::processChildren(El& e, const Context& ctx)
{
    // One compacting sweep: removing children one at a time would make a flat
    // document of n elements cost n^2 moves.
    size_t kept = 0;
    for (size_t i = 0; i < e.kids.size(); ++i) {
        El& kid = *e.kids[i];
        bool keep = false;
        if (kid.isText()) {
            if (!Trim(kid.text).empty()) dropped("characters outside text");
        } else {
            keep = processElement(kid, ctx);
        }
        if (keep)
            e.kids[kept++] = std::move(e.kids[i]);
        else
            m_graveyard.push_back(std::move(e.kids[i]));
    }
    e.kids.resize(kept);
}

// True when the element's "viewBox" reads as four numbers with a width or
// height of zero or less, which disables drawing its content.
bool viewBoxWithoutArea(const El& e)
{
    const std::string* viewBox = e.get("viewBox");
    double values[4];
    std::string plain;
    return viewBox && NormalizeNumberList(*viewBox, 4, values, plain) && !(values[2] > 0 && values[3] > 0);
}

// A viewport clips what lies outside it unless "overflow" lets it show; the
// reader has no clipping, so the content is drawn whole.
void Pass::noteViewportClip(El& e, const std::string& what)
{
    const std::string* overflow = e.get("overflow");
    const std::string value = overflow ? ToLower(Trim(*overflow)) : std::string();
    if (value != "visible" && value != "auto") approximated(what + " drawn without the clip of its viewport");
    e.remove("overflow");
}

// With a width and height besides its view box, the root shows the view box
// fitted into that viewport as "preserveAspectRatio" says: the output's view
// box becomes exactly the region shown (wider or taller than the source's
// with "meet", a part of it with "slice"); with "none" the stretch goes into
// a group around the content.
void Pass::frameRootViewBox(El& root, const float vb[4])
{
    std::string w, h;
    if (!root.get("width") || !root.get("height") || !length(root, "width", 100.0, w) ||
        !length(root, "height", 100.0, h))
        return;
    const double W = numberOf(w), H = numberOf(h);
    if (!(W > 0) || !(H > 0)) return;
    const std::string* aspectText = root.get("preserveAspectRatio");
    const Aspect aspect = readAspect(aspectText ? *aspectText : std::string());
    const double sx = W / vb[2], sy = H / vb[3];
    if (std::fabs(sx - sy) <= 1e-9 * std::max(sx, sy)) return;
    if (aspect.none) {
        auto group = std::make_unique<El>();
        group->name = "g";
        group->set("transform", viewBoxTransform(vb, W, H, "none"));
        group->kids = std::move(root.kids);
        root.kids.clear();
        root.kids.push_back(std::move(group));
        root.set("viewBox", "0 0 " + w + " " + h);
        rewritten("root view box stretched to its viewport by a group transform");
        return;
    }
    const bool slice = aspect.slice;
    const double s = slice ? std::max(sx, sy) : std::min(sx, sy);
    const double shownW = W / s, shownH = H / s;
    const double x = vb[0] - (shownW - vb[2]) * aspect.fx, y = vb[1] - (shownH - vb[3]) * aspect.fy;
    root.set("viewBox", FormatFloat(x) + " " + FormatFloat(y) + " " + FormatFloat(shownW) + " " +
                            FormatFloat(shownH));
    rewritten(slice ? "root view box cut to the part its viewport shows"
                    : "root view box widened to what its viewport shows");
}

void Pass::processRoot(El& root)
{
    Context ctx;
    float vb[4];
    const std::string* viewBox = root.get("viewBox");
    const bool hasViewBox = viewBox && readViewBox(*viewBox, vb);
    std::string w, h;
    const std::string* wText = root.get("width");
    const std::string* hText = root.get("height");
    // A size in percent says nothing about the drawing's own extent.
    const bool percent = (wText && wText->find('%') != std::string::npos) ||
                         (hText && hText->find('%') != std::string::npos);
    const bool useSize = !hasViewBox && !percent;
    const bool hasWidth = useSize && length(root, "width", 100.0, w) && numberOf(w) > 0;
    const bool hasHeight = useSize && length(root, "height", 100.0, h) && numberOf(h) > 0;
    if (hasViewBox) {
        ctx.width = vb[2];
        ctx.height = vb[3];
        if (!percent) frameRootViewBox(root, vb);
    } else if (hasWidth && hasHeight) {
        root.set("viewBox", "0 0 " + w + " " + h);
        rewritten("root width and height as viewBox");
        ctx.width = numberOf(w);
        ctx.height = numberOf(h);
    }
    // A viewport or view box without area shows nothing.
    auto withoutArea = [this](const std::string* text) {
        std::string plain;
        return text && NormalizeLength(*text, 100.0, plain, m_fonts) != LengthResult::Invalid && !(numberOf(plain) > 0);
    };
    const bool empty = viewBoxWithoutArea(root) || withoutArea(root.get("width")) || withoutArea(root.get("height"));
    if (empty) {
        for (const auto& kid : root.kids)
            if (!kid->isText()) {
                dropped("content of a viewport without area");
                break;
            }
        buryAll(root.kids);
    }

    // A size in percent refers to the window of whoever shows the file, which
    // a file on its own does not have: the output leaves the size at its
    // default, 100% of that window, with the view box (if any) as it was.
    // Renderers without a window (rsvg-convert) draw the view box at its own
    // size either way.
    for (const char* n : {"width", "height"}) {
        const std::string* text = root.get(n);
        std::string plain;
        if (!text || text->find('%') == std::string::npos ||
            NormalizeLength(*text, 100.0, plain) == LengthResult::Invalid || !(numberOf(plain) > 0))
            continue;
        if (numberOf(plain) == 100.0)
            rewritten("root size of 100% left as the default");
        else
            approximated("root size in percent as 100% of the window (a file has no window it refers to)");
        root.remove(n);
    }
    for (const char* n : {"width", "height", "x", "y", "version", "baseProfile", "preserveAspectRatio"})
        if (root.remove(n)) dropped(std::string("attribute ") + quoted(n) + " on the root");

    cascadeVisibility(root, ctx, true);
    takeTextProperties(root, ctx);
    cascadePaint(root, ctx, true);
    root.attrs.insert(root.attrs.begin(), Attr{"xmlns", kSvgNamespace});
    processChildren(root, ctx);
}

} // namespace preflight
} // namespace svg
} // namespace kx
