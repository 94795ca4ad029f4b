// PreflightReferences.cpp - ids and the inlining of use references.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {
namespace preflight {

void Pass::indexIds(El& e)
{
    if (e.isText()) return;
    if (const std::string* id = e.get("id")) m_ids.emplace(*id, &e);
    for (auto& kid : e.kids) indexIds(*kid);
}

// ------------------------------------------------ references

// The viewport and font size a use directly inside the root refers to: the
// root's view box, else its width and height when both are absolute.
UseScope Pass::rootScope(const El& root) const
{
    UseScope scope;
    scope.fontSize = m_fonts.rem;
    float vb[4];
    const std::string* viewBox = root.get("viewBox");
    if (viewBox && readViewBox(*viewBox, vb)) {
        scope.width = vb[2];
        scope.height = vb[3];
        return scope;
    }
    const std::string* w = root.get("width");
    const std::string* h = root.get("height");
    std::string wText, hText;
    if (w && h && w->find('%') == std::string::npos && h->find('%') == std::string::npos &&
        NormalizeLength(*w, 100.0, wText, m_fonts) != LengthResult::Invalid &&
        NormalizeLength(*h, 100.0, hText, m_fonts) != LengthResult::Invalid && numberOf(wText) > 0 &&
        numberOf(hText) > 0) {
        scope.width = numberOf(wText);
        scope.height = numberOf(hText);
    }
    return scope;
}

// The font size of `e` in `scope`, which is its parent's.
void Pass::scopeFontSize(const El& e, UseScope& scope) const
{
    double value = 0;
    const std::string* size = e.get("font-size");
    if (size && ResolveFontSize(*size, scope.fontSize, fontsAt(scope), value)) scope.fontSize = value;
}

// Replaces every use below `parent` by a group holding a copy of what it
// refers to, tracking the viewport and font size each use stands in.
void Pass::expandUses(El& parent, std::vector<const El*>& stack, const UseScope& scope)
{
    for (size_t i = 0; i < parent.kids.size(); ++i) {
        El& kid = *parent.kids[i];
        if (kid.isText()) continue;
        UseScope inner = scope;
        scopeFontSize(kid, inner);
        if (kid.name == "use") {
            std::unique_ptr<El> group = inlineUse(kid, stack, inner);
            if (group) {
                m_graveyard.push_back(std::move(parent.kids[i]));
                parent.kids[i] = std::move(group);
            } else {
                bury(parent.kids, i--);
            }
            continue;
        }
        if (isNonRendered(kid.name)) continue;
        if (kid.name == "svg") {
            // A nested viewport: its size (percentages of the enclosing one), or its view box.
            const FontSizes fonts = fontsAt(inner);
            std::string w, h;
            const std::string* wText = kid.get("width");
            const std::string* hText = kid.get("height");
            if (wText && NormalizeLength(*wText, scope.width, w, fonts) != LengthResult::Invalid)
                inner.width = numberOf(w);
            if (hText && NormalizeLength(*hText, scope.height, h, fonts) != LengthResult::Invalid)
                inner.height = numberOf(h);
            float vb[4];
            const std::string* viewBox = kid.get("viewBox");
            if (viewBox && readViewBox(*viewBox, vb)) {
                inner.width = vb[2];
                inner.height = vb[3];
            }
        }
        m_ancestors.push_back(&kid);
        expandUses(kid, stack, inner);
        m_ancestors.pop_back();
    }
}

// A length on a use in user units; `out` keeps its default when the length
// is absent or unreadable (reported). Percentages and "ex" are reported as
// approximated like on every other element.
void Pass::useLength(const El& use, const char* name, double base, const FontSizes& fonts, std::string& out)
{
    const std::string* text = use.get(name);
    if (!text) return;
    switch (NormalizeLength(*text, base, out, fonts)) {
    case LengthResult::Approximated: approximated("relative length unit converted to user units"); break;
    case LengthResult::Invalid: dropped("attribute " + quoted(name) + " on a use that cannot be read"); break;
    default: break;
    }
}

// `scope` is the use's own: the viewport it stands in and its cascaded font size.
std::unique_ptr<El> Pass::inlineUse(const El& use, std::vector<const El*>& stack, const UseScope& scope)
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
        std::find(m_ancestors.begin(), m_ancestors.end(), target) != m_ancestors.end()) {
        // Renderers differ here; this one draws what the chain reaches before
        // it comes back to an element it is already inside.
        dropped("use that closes a reference cycle (what comes before it is drawn)");
        return nullptr;
    }
    if (int(stack.size()) >= m_options.maxReferenceDepth) {
        dropped("use nested deeper than the reference limit");
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
    const FontSizes fonts = fontsAt(scope);
    std::string x = "0", y = "0";
    useLength(use, "x", scope.width, fonts, x);
    useLength(use, "y", scope.height, fonts, y);
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
    UseScope content = scope; // what lengths inside the copy refer to
    const bool symbol = copy->name == "symbol";
    if (symbol) {
        copy->name = "g";
        float vb[4];
        const bool hasViewBox = copy->get("viewBox") && readViewBox(*copy->get("viewBox"), vb);
        // Without a size on the reference the symbol fills the whole viewport.
        std::string w = FormatFloat(scope.width), h = FormatFloat(scope.height);
        useLength(use, "width", scope.width, fonts, w);
        useLength(use, "height", scope.height, fonts, h);
        if (!(numberOf(w) > 0) || !(numberOf(h) > 0) || viewBoxWithoutArea(*copy)) {
            dropped("use of a symbol without area");
            return nullptr;
        }
        // Renderers place a symbol by its use alone: its own position, size
        // and transform are not applied.
        for (const char* n : {"x", "y", "width", "height", "refX", "refY", "transform"})
            if (copy->remove(n)) dropped("attribute " + quoted(n) + " on a symbol");
        content.width = hasViewBox ? vb[2] : numberOf(w);
        content.height = hasViewBox ? vb[3] : numberOf(h);
        copy->viewportWidth = content.width;
        copy->viewportHeight = content.height;
        if (hasViewBox) {
            const std::string* aspect = copy->get("preserveAspectRatio");
            copy->set("transform", viewBoxTransform(vb, numberOf(w), numberOf(h), aspect ? *aspect : std::string()));
        }
        noteViewportClip(*copy, "symbol");
        copy->remove("viewBox");
        copy->remove("preserveAspectRatio");
    } else if (copy->name == "svg") {
        if (const std::string* uw = use.get("width")) copy->set("width", *uw);
        if (const std::string* uh = use.get("height")) copy->set("height", *uh);
    }
    rewritten("use inlined as a group");

    stack.push_back(target);
    if (!symbol) {
        group->kids.push_back(std::move(copy));
        expandUses(*group, stack, scope);
    } else {
        scopeFontSize(*copy, content);
        expandUses(*copy, stack, content);
        group->kids.push_back(std::move(copy));
    }
    stack.pop_back();
    return group;
}


} // namespace preflight
} // namespace svg
} // namespace kx
