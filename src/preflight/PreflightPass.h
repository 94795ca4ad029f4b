// PreflightPass.h - the preflight pass: its element tree, the state of the
// cascade walk and the pass object whose steps live in the preflight/*.cpp files.
#ifndef KX_SVG_PREFLIGHT_PREFLIGHTPASS_H
#define KX_SVG_PREFLIGHT_PREFLIGHTPASS_H

#include <kx/svg/Preflight.h>

#include "model/Numbers.h"
#include "preflight/PreflightFillRule.h"
#include "preflight/PreflightPath.h"
#include "preflight/PreflightSplit.h"
#include "preflight/PreflightValues.h"
#include "read/ReadNumbers.h"

#include <kx/svg/PathParser.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Units.h>

#include <kx/xml/XmlDiagnosticScope.h>
#include <kx/xml/XmlSaxParser.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <unordered_set>

namespace kx {
namespace svg {
namespace preflight {

constexpr const char* kSvgNamespace = "http://www.w3.org/2000/svg";
constexpr const char* kXlinkNamespace = "http://www.w3.org/1999/xlink";

// ---------------------------------------------------------------- element tree

struct Attr {
    std::string name;
    std::string value;
};

// An element (name not empty) or a run of character data (name empty).
struct El {
    std::string name;
    std::string text;
    std::vector<Attr> attrs;
    std::vector<std::unique_ptr<El>> kids;
    // On the group an inlined symbol became: the size of the viewport it
    // establishes, which percentages in its content refer to; 0 elsewhere.
    double viewportWidth = 0;
    double viewportHeight = 0;

    bool isText() const { return name.empty(); }
    const std::string* get(std::string_view n) const
    {
        for (const Attr& a : attrs)
            if (a.name == n) return &a.value;
        return nullptr;
    }
    void set(std::string_view n, std::string v)
    {
        for (Attr& a : attrs)
            if (a.name == n) {
                a.value = std::move(v);
                return;
            }
        attrs.push_back(Attr{std::string(n), std::move(v)});
    }
    bool remove(std::string_view n)
    {
        for (size_t i = 0; i < attrs.size(); ++i)
            if (attrs[i].name == n) {
                attrs.erase(attrs.begin() + static_cast<std::ptrdiff_t>(i));
                return true;
            }
        return false;
    }
    std::unique_ptr<El> clone() const
    {
        auto copy = std::make_unique<El>();
        copy->name = name;
        copy->text = text;
        copy->attrs = attrs;
        copy->viewportWidth = viewportWidth;
        copy->viewportHeight = viewportHeight;
        copy->kids.reserve(kids.size());
        for (const auto& kid : kids) copy->kids.push_back(kid->clone());
        return copy;
    }
    std::string allText() const
    {
        if (isText()) return text;
        std::string result;
        for (const auto& kid : kids) result += kid->allText();
        return result;
    }
};

inline size_t countElements(const El& e)
{
    size_t n = 1;
    for (const auto& kid : e.kids) n += countElements(*kid);
    return n;
}

inline void stripIds(El& e)
{
    e.remove("id");
    for (auto& kid : e.kids) stripIds(*kid);
}

inline std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// The target of a reference: "href", else "xlink:href".
inline const std::string* hrefOf(const El& e)
{
    const std::string* href = e.get("href");
    return href ? href : e.get("xlink:href");
}

inline bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

// Elements that never draw by themselves; their content is reachable only by reference.
inline bool isNonRendered(std::string_view name)
{
    static const std::unordered_set<std::string_view> names = {
        "defs",   "symbol", "clipPath", "mask",   "marker", "pattern",  "linearGradient", "radialGradient",
        "filter", "title",  "desc",     "metadata", "script", "style", "foreignObject", "cursor", "view",
        "font", "font-face", "color-profile", "animate", "animateTransform", "animateMotion", "set", "animateColor"};
    return names.count(name) != 0;
}

inline bool isShape(std::string_view name)
{
    return name == "rect" || name == "line" || name == "path" || name == "circle" || name == "image";
}

// A "preserveAspectRatio" value: where the view box sits in the viewport
// (0 start, 0.5 middle, 1 end on each axis) and how it is scaled. A leading
// "defer" is skipped; a value that cannot be read is the default, xMidYMid meet.
struct Aspect {
    double fx = 0.5;
    double fy = 0.5;
    bool slice = false;
    bool none = false;
};

inline Aspect readAspect(std::string_view text)
{
    Aspect aspect;
    std::string mode = ToLower(Trim(text));
    if (startsWith(mode, "defer")) mode = std::string(Trim(std::string_view(mode).substr(5)));
    const std::string align = mode.substr(0, mode.find_first_of(" \t\r\n"));
    const std::string rest(Trim(std::string_view(mode).substr(align.size())));
    if (align == "none") {
        aspect.none = true;
        return aspect;
    }
    if (align.size() != 8 || align[0] != 'x' || align[4] != 'y' || (rest != "" && rest != "meet" && rest != "slice"))
        return aspect;
    auto place = [](std::string_view part, double& f) {
        if (part == "min")
            f = 0.0;
        else if (part == "max")
            f = 1.0;
        else if (part != "mid")
            return false;
        return true;
    };
    Aspect read;
    if (!place(std::string_view(align).substr(1, 3), read.fx) || !place(std::string_view(align).substr(5, 3), read.fy))
        return aspect;
    read.slice = rest == "slice";
    return read;
}

// The scale and offset that map a view box into a viewport of `w` x `h`.
inline std::string viewBoxTransform(const float vb[4], double w, double h, std::string_view aspectText)
{
    double sx = w / vb[2], sy = h / vb[3];
    double tx = 0, ty = 0;
    const Aspect aspect = readAspect(aspectText);
    if (!aspect.none) {
        const double s = aspect.slice ? std::max(sx, sy) : std::min(sx, sy);
        tx = (w - vb[2] * s) * aspect.fx;
        ty = (h - vb[3] * s) * aspect.fy;
        sx = sy = s;
    }
    tx -= vb[0] * sx;
    ty -= vb[1] * sy;
    return "matrix(" + FormatFloat(sx) + " 0 0 " + FormatFloat(sy) + " " + FormatFloat(tx) + " " + FormatFloat(ty) +
           ")";
}

// Reads a view box in SVG's number grammar; `plain` receives it in the form
// the reader takes. False unless it has four numbers and a positive size.
inline bool readViewBox(const std::string& text, float vb[4], std::string* plain = nullptr)
{
    double values[4];
    std::string written;
    if (!NormalizeNumberList(text, 4, values, written)) return false;
    for (int i = 0; i < 4; ++i) vb[i] = static_cast<float>(values[i]);
    if (plain) *plain = std::move(written);
    return vb[2] > 0 && vb[3] > 0;
}

bool viewBoxWithoutArea(const El& e);

// The value of a number text written by this pass (a length brought into user
// units, a formatted float); 0 when it is not one.
inline double numberOf(const std::string& text)
{
    double value = 0;
    return impl::ConvertDouble(text, value) ? value : 0.0;
}

// ---------------------------------------------------------------- the pass

struct Context {
    std::string color = "black"; // the cascaded "color", in a form the reader accepts
    double opacity = 1.0;        // product of the opacities of the ancestors
    double width = 100.0;        // the viewport percentages refer to
    double height = 100.0;
    bool hidden = false;         // "visibility" hidden or collapse
    bool filled = true;          // the cascaded "fill" paints something
    bool stroked = false;        // the cascaded "stroke" paints something
    bool fillCurrent = false;    // the cascaded "fill" is currentColor, which follows "color"
    bool strokeCurrent = false;  // the same for "stroke"
    bool nonZero = true;         // the cascaded "fill-rule" is nonzero
    bool dashed = false;         // the cascaded "stroke-dasharray" draws dashes
    double fontSize = 16.0;      // the cascaded "font-size" in user units, for "em" and "ex"
    std::vector<Attr> textProperties; // font properties given on groups, for the texts inside
};

// What relative lengths on a "use" refer to where it stands: the size of the
// nearest viewport (a nested "svg", a "symbol" with its view box, the root)
// and the cascaded "font-size", all in user units.
struct UseScope {
    double width = 100.0;
    double height = 100.0;
    double fontSize = 16.0;
};

constexpr const char* kTextProperties[] = {"font-family", "font-size", "font-weight", "font-style",
                                           "text-decoration"};

class Pass {
public:
    Pass(const PreflightOptions& options, PreflightReport& report) : m_options(options), m_report(report) {}

    bool run(const std::string& input, std::string& output);

private:
    void note(PreflightChange change, const std::string& detail) { m_report.add(change, detail); }
    void rewritten(const std::string& detail) { note(PreflightChange::Rewritten, detail); }
    void approximated(const std::string& detail) { note(PreflightChange::Approximated, detail); }
    void dropped(const std::string& detail) { note(PreflightChange::Dropped, detail); }

    std::unique_ptr<El> convert(xmlDocPtr doc, xmlNodePtr node, int depth);
    void convertChildren(xmlDocPtr doc, xmlNodePtr first, El& e, int depth, int entityDepth);
    bool chargeExpansion(int64_t cost);
    void appendContent(xmlDocPtr doc, xmlNodePtr list, std::string& out, int entityDepth);
    void appendNodeContent(xmlDocPtr doc, xmlNodePtr node, std::string& out, int entityDepth);
    void fail(const std::string& why)
    {
        if (m_failure.empty()) m_failure = why;
    }
    void collectStyleSheets(El& e, std::string& sheet);
    void applyStyles(El& e);
    void indexIds(El& e);
    void expandUses(El& parent, std::vector<const El*>& stack, const UseScope& scope);
    std::vector<const El*> m_ancestors; // elements the walk over references is inside of
    std::unique_ptr<El> inlineUse(const El& use, std::vector<const El*>& stack, const UseScope& scope);
    UseScope rootScope(const El& root) const;
    void scopeFontSize(const El& e, UseScope& scope) const;
    FontSizes fontsAt(const UseScope& scope) const { return FontSizes{scope.fontSize, m_fonts.rem, true}; }
    void useLength(const El& use, const char* name, double base, const FontSizes& fonts, std::string& out);

    bool processElement(El& e, Context ctx);
    bool cascadeVisibility(El& e, Context& ctx, bool root);
    void cascadePaint(El& e, Context& ctx, bool root);
    void processChildren(El& e, const Context& ctx);
    void processRoot(El& root);
    void takeTextProperties(El& e, Context& ctx);
    void takeFontSize(El& e, Context& ctx);
    void takeCurrentColor(El& e, Context& ctx, bool colorChanged);
    void frameRootViewBox(El& root, const float vb[4]);
    void noteViewportClip(El& e, const std::string& what);
    void filterAttributes(El& e, const Context& ctx, bool root);
    bool convertShape(El& e, const Context& ctx);
    bool splitCrossingPath(El& e, const Path::Commands& commands);
    bool fillNonZero(El& e, const Context& ctx, const Path::Commands& commands);
    void takeFillRule(const El& e, Context& ctx) const;
    void flattenText(El& e);
    bool length(El& e, const std::string& name, double base, std::string& out);
    bool resolvePaint(const std::string& value, const Context& ctx, std::string& out);
    bool gradientColor(const El& gradient, const Context& ctx, std::string& out);
    bool colorValue(const std::string& value, const Context& ctx, std::string& out);
    bool numberValue(const std::string& name, const std::string& value, std::string& out);

    void write(const El& e, int depth, std::string& out) const;

    const PreflightOptions& m_options;
    PreflightReport& m_report;
    std::vector<StyleRule> m_rules;
    std::unordered_map<std::string, const El*> m_ids;
    // Removed elements stay alive until the end: references may still point into them.
    std::vector<std::unique_ptr<El>> m_graveyard;
    void bury(std::vector<std::unique_ptr<El>>& kids, size_t i)
    {
        m_graveyard.push_back(std::move(kids[i]));
        kids.erase(kids.begin() + static_cast<std::ptrdiff_t>(i));
    }
    void buryAll(std::vector<std::unique_ptr<El>>& kids)
    {
        for (auto& kid : kids) m_graveyard.push_back(std::move(kid));
        kids.clear();
    }
    size_t m_inlined = 0;
    // What "em", "ex" and "rem" refer to for the element being converted.
    FontSizes m_fonts;
    // What the tree's text may still grow by through entity references.
    int64_t m_textBudget = 0;
    std::string m_failure; // why the document is refused; empty while it is not
    std::string m_rootNamespace; // the namespace of the root element as the document names it
};

// libxml2 runs in huge-document mode so that real files of tens of MB parse;
// that mode also lifts its nesting and entity limits, so the pass keeps its own.
// Elements nested deeper than this are refused (libxml2's usual limit).
constexpr int kMaxElementDepth = 256;
// Entities whose text refers to entities deeper than this are refused.
constexpr int kMaxEntityDepth = 40;
// The text of the tree (attribute values and character data with entities
// substituted) may exceed the input by this factor plus a fixed allowance;
// beyond it the document is refused, as "billion laughs" files must be.
constexpr int64_t kAmplificationFactor = 10;
constexpr int64_t kAmplificationAllowance = 8 * 1024 * 1024;
// What an element taken from an entity, and each expansion of a reference,
// costs against that budget.
constexpr int64_t kElementCost = 64;
constexpr int64_t kReferenceCost = 8;

} // namespace preflight
} // namespace svg
} // namespace kx

#endif
