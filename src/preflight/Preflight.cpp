// Preflight.cpp - reads any SVG with libxml2 into a small element tree, rewrites
// it into the subset the strict reader accepts and writes it back as text.
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
namespace {

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

size_t countElements(const El& e)
{
    size_t n = 1;
    for (const auto& kid : e.kids) n += countElements(*kid);
    return n;
}

void stripIds(El& e)
{
    e.remove("id");
    for (auto& kid : e.kids) stripIds(*kid);
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

// Elements that never draw by themselves; their content is reachable only by reference.
bool isNonRendered(std::string_view name)
{
    static const std::unordered_set<std::string_view> names = {
        "defs",   "symbol", "clipPath", "mask",   "marker", "pattern",  "linearGradient", "radialGradient",
        "filter", "title",  "desc",     "metadata", "script", "style", "foreignObject", "cursor", "view",
        "font", "font-face", "color-profile", "animate", "animateTransform", "animateMotion", "set", "animateColor"};
    return names.count(name) != 0;
}

bool isShape(std::string_view name)
{
    return name == "rect" || name == "line" || name == "path" || name == "circle" || name == "image";
}

// The scale and offset that map a view box into a viewport of `w` x `h`.
std::string viewBoxTransform(const float vb[4], double w, double h, std::string_view aspect)
{
    double sx = w / vb[2], sy = h / vb[3];
    double tx = 0, ty = 0;
    const std::string mode = ToLower(Trim(aspect));
    if (mode != "none") {
        const bool slice = mode.find("slice") != std::string::npos;
        const double s = slice ? std::max(sx, sy) : std::min(sx, sy);
        const std::string align = mode.substr(0, 8);
        const double fx = align.find("xmin") == 0 ? 0.0 : align.find("xmax") == 0 ? 1.0 : 0.5;
        const double fy = align.find("ymin") == 4 ? 0.0 : align.find("ymax") == 4 ? 1.0 : 0.5;
        tx = (w - vb[2] * s) * fx;
        ty = (h - vb[3] * s) * fy;
        sx = sy = s;
    }
    tx -= vb[0] * sx;
    ty -= vb[1] * sy;
    return "matrix(" + FormatFloat(sx) + " 0 0 " + FormatFloat(sy) + " " + FormatFloat(tx) + " " + FormatFloat(ty) +
           ")";
}

// Reads a view box in SVG's number grammar; `plain` receives it in the form
// the reader takes. False unless it has four numbers and a positive size.
bool readViewBox(const std::string& text, float vb[4], std::string* plain = nullptr)
{
    double values[4];
    std::string written;
    if (!NormalizeNumberList(text, 4, values, written)) return false;
    for (int i = 0; i < 4; ++i) vb[i] = static_cast<float>(values[i]);
    if (plain) *plain = std::move(written);
    return vb[2] > 0 && vb[3] > 0;
}

// The value of a number text written by this pass (a length brought into user
// units, a formatted float); 0 when it is not one.
double numberOf(const std::string& text)
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
    bool nonZero = true;         // the cascaded "fill-rule" is nonzero
    std::vector<Attr> textProperties; // font properties given on groups, for the texts inside
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
    void appendContent(xmlDocPtr doc, xmlNodePtr list, std::string& out, int entityDepth);
    void appendNodeContent(xmlDocPtr doc, xmlNodePtr node, std::string& out, int entityDepth);
    void fail(const std::string& why)
    {
        if (m_failure.empty()) m_failure = why;
    }
    void collectStyleSheets(El& e, std::string& sheet);
    void applyStyles(El& e);
    void indexIds(El& e);
    void expandUses(El& parent, std::vector<const El*>& stack);
    std::vector<const El*> m_ancestors; // elements the walk over references is inside of
    std::unique_ptr<El> inlineUse(const El& use, std::vector<const El*>& stack);

    bool processElement(El& e, Context ctx);
    void processChildren(El& e, const Context& ctx);
    void processRoot(El& root);
    void takeTextProperties(El& e, Context& ctx);
    void filterAttributes(El& e, const Context& ctx, bool root);
    bool convertShape(El& e, const Context& ctx);
    bool splitCrossingPath(El& e);
    bool fillNonZero(El& e, const Context& ctx);
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
    double m_rootWidth = 100.0, m_rootHeight = 100.0;
    // What the tree's text may still grow by through entity references.
    int64_t m_textBudget = 0;
    std::string m_failure; // why the document is refused; empty while it is not
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

// ------------------------------------------------ libxml2 tree to element tree

std::string xmlText(const xmlChar* text) { return text ? reinterpret_cast<const char*>(text) : std::string(); }

// Appends the text of a node list with entity references substituted (the
// text of elements inside an entity's replacement too), within the budget.
void Pass::appendContent(xmlDocPtr doc, xmlNodePtr list, std::string& out, int entityDepth)
{
    for (xmlNodePtr n = list; n && m_failure.empty(); n = n->next) appendNodeContent(doc, n, out, entityDepth);
}

void Pass::appendNodeContent(xmlDocPtr doc, xmlNodePtr n, std::string& out, int entityDepth)
{
    switch (n->type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
        if (n->content) {
            const size_t length = std::strlen(reinterpret_cast<const char*>(n->content));
            m_textBudget -= static_cast<int64_t>(length);
            if (m_textBudget < 0) {
                fail("entity references expand the text beyond " + std::to_string(kAmplificationFactor) +
                     " times the input");
                return;
            }
            out.append(reinterpret_cast<const char*>(n->content), length);
        }
        break;
    case XML_ENTITY_REF_NODE: {
        const xmlEntityPtr entity = xmlGetDocEntity(doc, n->name);
        if (!entity) break;
        if (entityDepth >= kMaxEntityDepth) {
            fail("entities nested deeper than " + std::to_string(kMaxEntityDepth));
            return;
        }
        appendContent(doc, entity->children, out, entityDepth + 1);
        break;
    }
    case XML_ELEMENT_NODE:
        if (entityDepth > 0) appendContent(doc, n->children, out, entityDepth);
        break;
    default:
        break;
    }
}

std::unique_ptr<El> Pass::convert(xmlDocPtr doc, xmlNodePtr node, int depth)
{
    if (depth > kMaxElementDepth) {
        fail("elements nested deeper than " + std::to_string(kMaxElementDepth));
        return nullptr;
    }
    const std::string local = xmlText(node->name);
    if (node->ns && node->ns->prefix) {
        const std::string prefix = xmlText(node->ns->prefix);
        const std::string href = xmlText(node->ns->href);
        if (href != kSvgNamespace && prefix != "svg") {
            dropped("element " + quoted(prefix + ":*"));
            return nullptr;
        }
    }
    auto e = std::make_unique<El>();
    e->name = local;
    for (xmlAttrPtr a = node->properties; a; a = a->next) {
        std::string name = xmlText(a->name);
        if (a->ns && a->ns->prefix) {
            const std::string prefix = xmlText(a->ns->prefix);
            const std::string href = xmlText(a->ns->href);
            if (href == kXlinkNamespace || prefix == "xlink")
                name = "xlink:" + name;
            else
                name = prefix + ":" + name;
        }
        std::string value;
        appendContent(doc, a->children, value, 0);
        e->attrs.push_back(Attr{std::move(name), std::move(value)});
    }
    for (xmlNodePtr child = node->children; child && m_failure.empty(); child = child->next) {
        switch (child->type) {
        case XML_ELEMENT_NODE:
            if (auto kid = convert(doc, child, depth + 1)) e->kids.push_back(std::move(kid));
            break;
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_ENTITY_REF_NODE: {
            auto text = std::make_unique<El>();
            appendNodeContent(doc, child, text->text, 0);
            if (!e->kids.empty() && e->kids.back()->isText())
                e->kids.back()->text += text->text;
            else
                e->kids.push_back(std::move(text));
            break;
        }
        case XML_COMMENT_NODE:
            dropped("comment");
            break;
        case XML_PI_NODE:
            dropped("processing instruction");
            break;
        default:
            break;
        }
    }
    return e;
}

// ------------------------------------------------ style sheets and style attributes

void Pass::collectStyleSheets(El& e, std::string& sheet)
{
    for (size_t i = 0; i < e.kids.size(); ++i) {
        El& kid = *e.kids[i];
        if (kid.isText()) continue;
        if (kid.name == "style") {
            sheet += kid.allText();
            sheet += '\n';
            rewritten("style sheet applied to elements");
            e.kids.erase(e.kids.begin() + static_cast<std::ptrdiff_t>(i--));
            continue;
        }
        collectStyleSheets(kid, sheet);
    }
}

// Geometry never comes from style declarations here.
bool isGeometryProperty(std::string_view name)
{
    static const std::unordered_set<std::string_view> names = {"x",  "y",  "width", "height", "r", "rx",
                                                               "ry", "cx", "cy",    "d",      "points"};
    return names.count(name) != 0;
}

void Pass::applyStyles(El& e)
{
    if (e.isText()) return;
    std::vector<const StyleRule*> matched;
    if (!m_rules.empty()) {
        const std::string* id = e.get("id");
        const std::string* cls = e.get("class");
        std::vector<std::string_view> classes;
        if (cls) {
            std::string_view rest(*cls);
            while (!rest.empty()) {
                size_t b = 0;
                while (b < rest.size() && (rest[b] == ' ' || rest[b] == '\t' || rest[b] == '\n' || rest[b] == '\r'))
                    ++b;
                size_t end = b;
                while (end < rest.size() && !(rest[end] == ' ' || rest[end] == '\t' || rest[end] == '\n' ||
                                              rest[end] == '\r'))
                    ++end;
                if (end > b) classes.push_back(rest.substr(b, end - b));
                rest = rest.substr(end);
            }
        }
        for (const StyleRule& rule : m_rules) {
            const SimpleSelector& s = rule.selector;
            if (!s.tag.empty() && s.tag != "*" && s.tag != e.name) continue;
            if (!s.id.empty() && (!id || *id != s.id)) continue;
            bool all = true;
            for (const std::string& c : s.classes)
                all = all && std::find(classes.begin(), classes.end(), c) != classes.end();
            if (all) matched.push_back(&rule);
        }
        std::stable_sort(matched.begin(), matched.end(), [](const StyleRule* a, const StyleRule* b) {
            if (a->selector.specificity() != b->selector.specificity())
                return a->selector.specificity() < b->selector.specificity();
            return a->order < b->order;
        });
    }
    auto apply = [&](const Declaration& d) {
        if (isGeometryProperty(d.first)) {
            dropped("style property " + quoted(d.first));
            return;
        }
        e.set(d.first, d.second);
    };
    for (const StyleRule* rule : matched)
        for (const Declaration& d : rule->declarations) apply(d);
    if (!matched.empty()) rewritten("style sheet rule moved to attributes");
    if (const std::string* style = e.get("style")) {
        const std::vector<Declaration> declarations = ParseDeclarations(*style);
        e.remove("style");
        for (const Declaration& d : declarations) apply(d);
        rewritten("style attribute moved to attributes");
    }
    for (auto& kid : e.kids) applyStyles(*kid);
}

void Pass::indexIds(El& e)
{
    if (e.isText()) return;
    if (const std::string* id = e.get("id")) m_ids.emplace(*id, &e);
    for (auto& kid : e.kids) indexIds(*kid);
}

// ------------------------------------------------ references

const std::string* hrefOf(const El& e)
{
    const std::string* href = e.get("href");
    return href ? href : e.get("xlink:href");
}

void Pass::expandUses(El& parent, std::vector<const El*>& stack)
{
    for (size_t i = 0; i < parent.kids.size(); ++i) {
        El& kid = *parent.kids[i];
        if (kid.isText()) continue;
        if (kid.name == "use") {
            std::unique_ptr<El> group = inlineUse(kid, stack);
            if (group) {
                m_graveyard.push_back(std::move(parent.kids[i]));
                parent.kids[i] = std::move(group);
            } else {
                bury(parent.kids, i--);
            }
            continue;
        }
        if (isNonRendered(kid.name)) continue;
        m_ancestors.push_back(&kid);
        expandUses(kid, stack);
        m_ancestors.pop_back();
    }
}

std::unique_ptr<El> Pass::inlineUse(const El& use, std::vector<const El*>& stack)
{
    const std::string* href = hrefOf(use);
    const std::string id = href ? std::string(Trim(*href)) : std::string();
    const auto found = id.size() > 1 && id[0] == '#' ? m_ids.find(id.substr(1)) : m_ids.end();
    if (found == m_ids.end()) {
        dropped("use of a missing element");
        return nullptr;
    }
    const El* target = found->second;
    if (std::find(stack.begin(), stack.end(), target) != stack.end() ||
        std::find(m_ancestors.begin(), m_ancestors.end(), target) != m_ancestors.end() ||
        int(stack.size()) >= m_options.maxReferenceDepth) {
        dropped("use that refers to itself or nests too deeply");
        return nullptr;
    }
    const size_t size = countElements(*target);
    if (m_inlined + size > m_options.maxInlinedElements) {
        dropped("use beyond the inlining limit");
        return nullptr;
    }
    m_inlined += size;

    auto group = std::make_unique<El>();
    group->name = "g";
    for (const Attr& a : use.attrs) {
        if (a.name == "x" || a.name == "y" || a.name == "width" || a.name == "height" || a.name == "href" ||
            a.name == "xlink:href")
            continue;
        group->attrs.push_back(a);
    }
    std::string x = "0", y = "0";
    if (const std::string* v = use.get("x")) NormalizeLength(*v, m_rootWidth, x);
    if (const std::string* v = use.get("y")) NormalizeLength(*v, m_rootHeight, y);
    float fx = 0, fy = 0;
    impl::ParseSvgFloat(x, fx);
    impl::ParseSvgFloat(y, fy);
    if (fx != 0.0f || fy != 0.0f) {
        const std::string translate = "translate(" + x + " " + y + ")";
        const std::string* t = group->get("transform");
        group->set("transform", t ? *t + " " + translate : translate);
    }

    std::unique_ptr<El> copy = target->clone();
    stripIds(*copy);
    if (copy->name == "symbol") {
        copy->name = "g";
        float vb[4];
        const std::string* viewBox = copy->get("viewBox");
        std::string w, h;
        // Without a size on the reference the symbol fills the whole viewport.
        const std::string* uw = use.get("width");
        const std::string* uh = use.get("height");
        if (!uw || NormalizeLength(*uw, m_rootWidth, w) == LengthResult::Invalid) w = FormatFloat(m_rootWidth);
        if (!uh || NormalizeLength(*uh, m_rootHeight, h) == LengthResult::Invalid) h = FormatFloat(m_rootHeight);
        if (viewBox && readViewBox(*viewBox, vb) && numberOf(w) > 0 && numberOf(h) > 0) {
            const std::string* aspect = copy->get("preserveAspectRatio");
            copy->set("transform", viewBoxTransform(vb, numberOf(w), numberOf(h),
                                                    aspect ? *aspect : std::string()));
        }
        for (const char* n : {"viewBox", "preserveAspectRatio", "x", "y", "width", "height", "refX", "refY"})
            copy->remove(n);
    } else if (copy->name == "svg") {
        if (const std::string* uw = use.get("width")) copy->set("width", *uw);
        if (const std::string* uh = use.get("height")) copy->set("height", *uh);
    }
    group->kids.push_back(std::move(copy));
    rewritten("use inlined as a group");

    stack.push_back(target);
    expandUses(*group, stack);
    stack.pop_back();
    return group;
}

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
    switch (NormalizeLength(text, base, out)) {
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

// ------------------------------------------------ shapes

void appendNumbers(std::string& d, std::initializer_list<std::string> numbers)
{
    for (const std::string& n : numbers) {
        d += ' ';
        d += n;
    }
}

bool Pass::convertShape(El& e, const Context& ctx)
{
    const double diagonal = std::sqrt((ctx.width * ctx.width + ctx.height * ctx.height) / 2.0);
    const auto num = numberOf;
    std::string d;
    std::vector<const char*> geometry;

    if (e.name == "ellipse" || e.name == "circle") {
        const bool circle = e.name == "circle";
        std::string cx = "0", cy = "0", rx, ry;
        if (e.get("cx") && !length(e, "cx", ctx.width, cx)) cx = "0";
        if (e.get("cy") && !length(e, "cy", ctx.height, cy)) cy = "0";
        if (circle) {
            if (!length(e, "r", diagonal, rx)) rx = "0";
            // A circle stays a circle; only its numbers are brought into plain form.
            if (e.get("cx")) e.set("cx", cx);
            if (e.get("cy")) e.set("cy", cy);
            e.set("r", rx);
            if (!(num(rx) > 0)) {
                dropped("circle without a radius");
                return false;
            }
            return true;
        }
        const bool hasRx = length(e, "rx", ctx.width, rx);
        const bool hasRy = length(e, "ry", ctx.height, ry);
        if (!hasRx && hasRy) rx = ry;
        if (!hasRy && hasRx) ry = rx;
        if (!(num(rx) > 0) || !(num(ry) > 0)) {
            dropped("ellipse without a radius");
            return false;
        }
        d = "M";
        appendNumbers(d, {FormatFloat(num(cx) - num(rx)), cy});
        d += " A";
        appendNumbers(d, {rx, ry, "0", "1", "0", FormatFloat(num(cx) + num(rx)), cy});
        d += " A";
        appendNumbers(d, {rx, ry, "0", "1", "0", FormatFloat(num(cx) - num(rx)), cy});
        d += " Z";
        geometry = {"cx", "cy", "rx", "ry"};
        rewritten("ellipse as path");
    } else if (e.name == "polyline" || e.name == "polygon") {
        const std::string* points = e.get("points");
        if (points) {
            // The points read like the pairs of one move-to: numbers separated by
            // blanks and commas, or touching ("1-2"), each keeping its text.
            const std::string path = "M " + *points;
            std::string out;
            PathRewriteStats stats;
            if (RewritePathData(path, out, stats)) {
                if (stats.truncated) approximated("point list cut at an error");
                d = out;
            }
        }
        if (d.empty()) {
            dropped(e.name + " without points");
            return false;
        }
        if (e.name == "polygon") d += " Z";
        geometry = {"points"};
        rewritten(e.name + " as path");
    } else if (e.name == "rect") {
        std::string x = "0", y = "0", w = "0", h = "0", rx, ry;
        if (e.get("x") && !length(e, "x", ctx.width, x)) x = "0";
        if (e.get("y") && !length(e, "y", ctx.height, y)) y = "0";
        if (!length(e, "width", ctx.width, w) || !length(e, "height", ctx.height, h) || !(num(w) > 0) ||
            !(num(h) > 0)) {
            dropped("rect without an area");
            return false;
        }
        bool hasRx = e.get("rx") && length(e, "rx", ctx.width, rx) && num(rx) > 0;
        bool hasRy = e.get("ry") && length(e, "ry", ctx.height, ry) && num(ry) > 0;
        if (!hasRx && !hasRy) {
            if (e.get("x")) e.set("x", x);
            if (e.get("y")) e.set("y", y);
            e.set("width", w);
            e.set("height", h);
            e.remove("rx");
            e.remove("ry");
            return true;
        }
        if (!hasRx) rx = ry;
        if (!hasRy) ry = rx;
        const double X = num(x), Y = num(y), W = num(w), H = num(h);
        const double RX = std::min(num(rx), W / 2), RY = std::min(num(ry), H / 2);
        const std::string a = FormatFloat(RX), b = FormatFloat(RY);
        d = "M";
        appendNumbers(d, {FormatFloat(X + RX), y});
        d += " H";
        appendNumbers(d, {FormatFloat(X + W - RX)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + W), FormatFloat(Y + RY)});
        d += " V";
        appendNumbers(d, {FormatFloat(Y + H - RY)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + W - RX), FormatFloat(Y + H)});
        d += " H";
        appendNumbers(d, {FormatFloat(X + RX)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", x, FormatFloat(Y + H - RY)});
        d += " V";
        appendNumbers(d, {FormatFloat(Y + RY)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + RX), y});
        d += " Z";
        geometry = {"x", "y", "width", "height", "rx", "ry"};
        rewritten("rounded rect as path");
    } else {
        return true;
    }
    for (const char* n : geometry) e.remove(n);
    e.name = "path";
    e.set("d", d);
    return true;
}

void Pass::flattenText(El& e)
{
    std::string content;
    for (const auto& kid : e.kids) {
        if (kid->isText()) {
            content += kid->text;
        } else {
            if (!isNonRendered(kid->name)) content += kid->allText();
            dropped("element " + quoted(kid->name) + " inside text (its characters are kept)");
        }
    }
    buryAll(e.kids);
    if (!content.empty()) {
        auto text = std::make_unique<El>();
        text->text = std::move(content);
        e.kids.push_back(std::move(text));
    }
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
                    keep = NormalizeLength(pieces[k], diagonal, plain) != LengthResult::Invalid &&
                           UnitValue::parseVal(plain, unit);
                    if (!list.empty()) list += ' ';
                    list += plain;
                }
                if (keep && list.empty()) keep = false;
                if (keep && list != out) rewritten("dash lengths in user units");
                out = list;
            }
            if (!keep) drop("attribute " + quoted(n) + " that cannot be read");
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

// ------------------------------------------------ the cascade walk

bool strictPathAccepts(const std::string& d)
{
    std::list<Path::Command> commands;
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

    if (const std::string* display = e.get("display")) {
        if (Trim(*display) == "none") {
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
    if (ctx.hidden && e.name != "g" && e.name != "svg" && e.name != "a" && e.name != "switch") {
        dropped("element hidden with visibility");
        return false;
    }
    if (const std::string* color = e.get("color")) {
        std::string value;
        if (ToLower(Trim(*color)) != "inherit" && colorValue(*color, ctx, value)) ctx.color = value;
        e.remove("color");
        rewritten("color property resolved into paint");
    }
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

    takeFillRule(e, ctx);
    filterAttributes(e, ctx, false);
    if (const std::string* fill = e.get("fill")) ctx.filled = *fill != "none";
    if (const std::string* stroke = e.get("stroke")) ctx.stroked = *stroke != "none";

    if (e.name == "path") {
        const std::string* d = e.get("d");
        if (!d) {
            dropped("path without data");
            return false;
        }
        const bool accepted = strictPathAccepts(*d);
        // Smooth cubics are reflected differently by the reader unless they follow
        // an absolute cubic, and arc radii too small for their chord are kept as
        // they are; data with either goes through the rewrite too.
        if (!accepted || d->find_first_of("sSaA") != std::string::npos) {
            std::string out;
            PathRewriteStats stats;
            const bool rewrote = RewritePathData(*d, out, stats) && strictPathAccepts(out);
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
            }
        }
        if (m_options.honorFillRule && ctx.filled && ctx.nonZero && fillNonZero(e, ctx)) return true;
        if (m_options.splitCrossingSubpaths && ctx.filled && splitCrossingPath(e)) return true;
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
// as the boundary of its non-zero region; a stroked one keeps its outline for
// the stroke in a second path.
bool Pass::fillNonZero(El& e, const Context& ctx)
{
    std::string boundary;
    if (!NonZeroFillAsEvenOdd(*e.get("d"), boundary)) return false;
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
bool Pass::splitCrossingPath(El& e)
{
    std::vector<std::string> parts;
    if (!SplitCrossingSubpaths(*e.get("d"), parts)) return false;
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
    } else if (hasWidth && hasHeight) {
        root.set("viewBox", "0 0 " + w + " " + h);
        rewritten("root width and height as viewBox");
        ctx.width = numberOf(w);
        ctx.height = numberOf(h);
    }
    m_rootWidth = ctx.width;
    m_rootHeight = ctx.height;

    for (const char* n : {"width", "height", "x", "y", "version", "baseProfile", "preserveAspectRatio"})
        if (root.remove(n)) dropped(std::string("attribute ") + quoted(n) + " on the root");

    if (root.remove("display")) rewritten("display property left as the default");
    if (const std::string* color = root.get("color")) {
        std::string value;
        if (colorValue(*color, ctx, value)) ctx.color = value;
        root.remove("color");
        rewritten("color property resolved into paint");
    }
    if (const std::string* visibility = root.get("visibility")) {
        ctx.hidden = Trim(*visibility) == "hidden" || Trim(*visibility) == "collapse";
        root.remove("visibility");
        rewritten("visibility property resolved");
    }
    if (const std::string* opacity = root.get("opacity")) {
        std::string value;
        float o = 1;
        if (numberValue("opacity", *opacity, value) && impl::ParseSvgFloat(value, o)) ctx.opacity = o;
    }
    takeTextProperties(root, ctx);
    takeFillRule(root, ctx);
    if (const std::string* fill = root.get("fill"); fill && m_options.honorFillRule) ctx.filled = Trim(*fill) != "none";
    if (const std::string* stroke = root.get("stroke")) ctx.stroked = Trim(*stroke) != "none";
    filterAttributes(root, ctx, true);
    root.attrs.insert(root.attrs.begin(), Attr{"xmlns", kSvgNamespace});
    processChildren(root, ctx);
}

// ------------------------------------------------ output

void escapeInto(std::string& out, std::string_view text, bool attribute)
{
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"':
            if (attribute) out += "&quot;";
            else out += c;
            break;
        case '\t':
            if (attribute) out += "&#9;";
            else out += c;
            break;
        case '\n':
            if (attribute) out += "&#10;";
            else out += c;
            break;
        case '\r': out += "&#13;"; break;
        default: out += c;
        }
    }
}

void Pass::write(const El& e, int depth, std::string& out) const
{
    out.append(size_t(depth) * 2, ' ');
    out += '<';
    out += e.name;
    for (const Attr& a : e.attrs) {
        out += ' ';
        out += a.name;
        out += "=\"";
        escapeInto(out, a.value, true);
        out += '"';
    }
    if (e.kids.empty()) {
        out += "/>\n";
        return;
    }
    if (e.name == "text") {
        out += '>';
        for (const auto& kid : e.kids) escapeInto(out, kid->text, false);
        out += "</text>\n";
        return;
    }
    out += ">\n";
    for (const auto& kid : e.kids)
        if (!kid->isText()) write(*kid, depth + 1, out);
    out.append(size_t(depth) * 2, ' ');
    out += "</";
    out += e.name;
    out += ">\n";
}

// ------------------------------------------------ driver

// Keeps the first error of a parse; libxml2 itself only keeps the last one.
void keepFirstError(void* data, xmlErrorPtr error)
{
    auto* parser = static_cast<xmlParserCtxtPtr>(data);
    if (!parser || !parser->_private || !error || error->level < XML_ERR_ERROR) return;
    auto* first = static_cast<std::string*>(parser->_private);
    if (!first->empty()) return;
    std::string text = error->message ? error->message : "unknown error";
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    *first = "line " + std::to_string(error->line) + ": " + text;
}

// The same for what libxml2 raises outside the parser context (input that
// cannot be decoded, I/O errors); those carry no line.
void keepFirstGlobalError(std::string& first, const std::string& text, int severity)
{
    if (first.empty() && severity != kx::xml::XmlSeverityWarning) first = text;
}

struct DocDeleter {
    void operator()(xmlDocPtr doc) const { xmlFreeDoc(doc); }
};
struct ContextDeleter {
    void operator()(xmlParserCtxtPtr ctxt) const { xmlFreeParserCtxt(ctxt); }
};

bool Pass::run(const std::string& input, std::string& output)
{
    output.clear();
    if (input.size() > size_t(INT32_MAX)) {
        m_report.add(PreflightChange::Failed, "input larger than 2 GB");
        return false;
    }
    std::string firstError;
    // Declared before the parser so that it outlives it: whatever libxml2
    // raises while the parser exists goes to the report, never to stderr.
    kx::xml::XmlDiagnosticScope diagnostics(
        [&firstError](const std::string& text, int severity) { keepFirstGlobalError(firstError, text, severity); });
    std::unique_ptr<xmlParserCtxt, ContextDeleter> parser(xmlNewParserCtxt());
    if (!parser) {
        m_report.add(PreflightChange::Failed, "XML parser could not be created");
        return false;
    }
    parser->_private = &firstError;
    if (parser->sax) parser->sax->serror = keepFirstError;
    // No network, no external entities or DTDs, no messages on stderr. Huge-document
    // mode lets real files of tens of MB through ("Huge input lookup" otherwise);
    // the nesting and entity limits it lifts are checked while converting.
    const int options =
        XML_PARSE_NONET | XML_PARSE_NOCDATA | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;
    std::unique_ptr<xmlDoc, DocDeleter> doc(
        xmlCtxtReadMemory(parser.get(), input.data(), int(input.size()), nullptr, nullptr, options));
    if (!doc || !parser->wellFormed) {
        m_report.add(PreflightChange::Failed, "malformed XML" + (firstError.empty() ? "" : ": " + firstError));
        return false;
    }
    xmlNodePtr rootNode = xmlDocGetRootElement(doc.get());
    m_textBudget = kAmplificationFactor * static_cast<int64_t>(input.size()) + kAmplificationAllowance;
    std::unique_ptr<El> root = rootNode ? convert(doc.get(), rootNode, 1) : nullptr;
    doc.reset();
    if (!m_failure.empty()) {
        m_report.add(PreflightChange::Failed, m_failure);
        return false;
    }
    if (!root || root->name != "svg") {
        m_report.add(PreflightChange::Failed, "root element is not svg");
        return false;
    }

    std::string sheet;
    collectStyleSheets(*root, sheet);
    if (!sheet.empty()) {
        unsigned selectors = 0, atRules = 0;
        m_rules = ParseStyleSheet(sheet, selectors, atRules);
        if (selectors) m_report.add(PreflightChange::Dropped, "style sheet rule with a complex selector", selectors);
        if (atRules) m_report.add(PreflightChange::Dropped, "style sheet at-rule", atRules);
    }
    applyStyles(*root);
    indexIds(*root);
    // The root's size is needed for lengths in percent inside references.
    {
        float vb[4];
        const std::string* viewBox = root->get("viewBox");
        if (viewBox && readViewBox(*viewBox, vb)) {
            m_rootWidth = vb[2];
            m_rootHeight = vb[3];
        }
    }
    std::vector<const El*> stack;
    expandUses(*root, stack);
    processRoot(*root);

    output = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    write(*root, 0, output);
    return true;
}

} // namespace
} // namespace preflight

bool PreflightSvg(const std::string& input, const PreflightOptions& options, std::string& output,
                  PreflightReport& report)
{
    try {
        preflight::Pass pass(options, report);
        return pass.run(input, output);
    } catch (const std::bad_alloc&) {
        output.clear();
        report.add(PreflightChange::Failed, "out of memory");
        return false;
    } catch (const std::exception& e) {
        output.clear();
        report.add(PreflightChange::Failed, std::string("internal error: ") + e.what());
        return false;
    }
}

} // namespace svg
} // namespace kx
