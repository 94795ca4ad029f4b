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
    if (const std::string* v = use.get("x")) NormalizeLength(*v, m_rootWidth, x, m_fonts);
    if (const std::string* v = use.get("y")) NormalizeLength(*v, m_rootHeight, y, m_fonts);
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
        const bool hasViewBox = copy->get("viewBox") && readViewBox(*copy->get("viewBox"), vb);
        std::string w, h;
        // Without a size on the reference the symbol fills the whole viewport.
        const std::string* uw = use.get("width");
        const std::string* uh = use.get("height");
        if (!uw || NormalizeLength(*uw, m_rootWidth, w, m_fonts) == LengthResult::Invalid) w = FormatFloat(m_rootWidth);
        if (!uh || NormalizeLength(*uh, m_rootHeight, h, m_fonts) == LengthResult::Invalid) h = FormatFloat(m_rootHeight);
        if (!(numberOf(w) > 0) || !(numberOf(h) > 0) || viewBoxWithoutArea(*copy)) {
            dropped("use of a symbol without area");
            return nullptr;
        }
        // Renderers place a symbol by its use alone: its own position, size
        // and transform are not applied.
        for (const char* n : {"x", "y", "width", "height", "refX", "refY", "transform"})
            if (copy->remove(n)) dropped("attribute " + quoted(n) + " on a symbol");
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
    group->kids.push_back(std::move(copy));
    rewritten("use inlined as a group");

    stack.push_back(target);
    expandUses(*group, stack);
    stack.pop_back();
    return group;
}


} // namespace preflight
} // namespace svg
} // namespace kx
