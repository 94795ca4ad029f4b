// PreflightStyles.cpp - style sheets and style attributes moved onto the elements.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {
namespace preflight {

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
            for (const AttributeCondition& condition : s.attributes) {
                const std::string* value = all ? e.get(condition.name) : nullptr;
                all = value && condition.matches(*value);
            }
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
    // Author cascade, weakest first: presentation attributes (already set),
    // rules by specificity then document order, the style attribute, then the
    // "!important" declarations of the rules and of the style attribute.
    for (const StyleRule* rule : matched)
        for (const Declaration& d : rule->declarations) apply(d);
    if (!matched.empty()) rewritten("style sheet rule moved to attributes");
    std::vector<Declaration> styleImportant;
    if (const std::string* style = e.get("style")) {
        const std::vector<Declaration> declarations = ParseDeclarations(*style, &styleImportant);
        e.remove("style");
        for (const Declaration& d : declarations) apply(d);
        rewritten("style attribute moved to attributes");
    }
    auto applyImportant = [&](const Declaration& d) {
        apply(d);
        rewritten("important declaration applied over the others");
    };
    for (const StyleRule* rule : matched)
        for (const Declaration& d : rule->important) applyImportant(d);
    for (const Declaration& d : styleImportant) applyImportant(d);
    for (auto& kid : e.kids) applyStyles(*kid);
}


} // namespace preflight
} // namespace svg
} // namespace kx
