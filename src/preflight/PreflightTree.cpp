// PreflightTree.cpp - the document tree: libxml2 parse into elements and the text writer.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {
namespace preflight {

// ------------------------------------------------ libxml2 tree to element tree

std::string xmlText(const xmlChar* text) { return text ? reinterpret_cast<const char*>(text) : std::string(); }

// Appends the text of a node list with entity references substituted (the
// text of elements inside an entity's replacement too), within the budget.
// Takes `cost` from what entity references may still add to the tree; false,
// with the document refused, once that is spent.
bool Pass::chargeExpansion(int64_t cost)
{
    m_textBudget -= cost;
    if (m_textBudget >= 0) return true;
    fail("entity references expand the text beyond " + std::to_string(kAmplificationFactor) + " times the input");
    return false;
}

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
            if (!chargeExpansion(static_cast<int64_t>(length))) return;
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
        if (!chargeExpansion(kReferenceCost)) return;
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

// Converts a list of child nodes into `e`'s children. Entity references are
// replaced by their content, elements included, within the nesting and text
// limits (every element taken from an entity counts against the text budget).
void Pass::convertChildren(xmlDocPtr doc, xmlNodePtr first, El& e, int depth, int entityDepth)
{
    for (xmlNodePtr child = first; child && m_failure.empty(); child = child->next) {
        switch (child->type) {
        case XML_ELEMENT_NODE:
            if (entityDepth > 0 && !chargeExpansion(kElementCost)) return;
            if (auto kid = convert(doc, child, depth + 1)) e.kids.push_back(std::move(kid));
            break;
        case XML_ENTITY_REF_NODE: {
            const xmlEntityPtr entity = xmlGetDocEntity(doc, child->name);
            if (!entity) break;
            if (entityDepth >= kMaxEntityDepth) {
                fail("entities nested deeper than " + std::to_string(kMaxEntityDepth));
                return;
            }
            if (!chargeExpansion(kReferenceCost)) return;
            convertChildren(doc, entity->children, e, depth, entityDepth + 1);
            break;
        }
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE: {
            auto text = std::make_unique<El>();
            appendNodeContent(doc, child, text->text, entityDepth);
            if (!e.kids.empty() && e.kids.back()->isText())
                e.kids.back()->text += text->text;
            else
                e.kids.push_back(std::move(text));
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
}

std::unique_ptr<El> Pass::convert(xmlDocPtr doc, xmlNodePtr node, int depth)
{
    if (depth > kMaxElementDepth) {
        fail("elements nested deeper than " + std::to_string(kMaxElementDepth));
        return nullptr;
    }
    const std::string local = xmlText(node->name);
    if (depth == 1) m_rootNamespace = node->ns ? xmlText(node->ns->href) : std::string();
    if (node->ns && node->ns->prefix) {
        const std::string prefix = xmlText(node->ns->prefix);
        const std::string href = xmlText(node->ns->href);
        if (href != kSvgNamespace && prefix != "svg") {
            dropped("element " + quoted(prefix + ":*"));
            return nullptr;
        }
    } else if (const std::string href = node->ns ? xmlText(node->ns->href) : m_rootNamespace;
               href != m_rootNamespace && href != kSvgNamespace) {
        // An element whose default namespace is another vocabulary's than the root's.
        dropped("element " + quoted(local) + " in namespace " + quoted(href));
        return nullptr;
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
    convertChildren(doc, node->children, *e, depth, 0);
    return e;
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
    // The root's size and font size are needed for relative lengths inside references.
    m_fonts.cascaded = true;
    if (const std::string* size = root->get("font-size")) ResolveFontSize(*size, 16.0, m_fonts, m_fonts.rem);
    m_fonts.em = m_fonts.rem;
    std::vector<const El*> stack;
    expandUses(*root, stack, rootScope(*root));
    processRoot(*root);

    output = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    write(*root, 0, output);
    return true;
}


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
