// Loader.cpp - the SAX loader: element table, nesting rules and messages.
#include "read/Loader.h"

#include <kx/system/kxIoDevice.h>

#include <exception>
#include <functional>
#include <map>

namespace kx {
namespace svg {

namespace {

using Creator = ItemInterfacePointer<ItemInterface> (*)();

struct ElementKind {
    Creator create;                  // null for "style", which makes no item
    impl::AttributeHandler handler;  // null when there is no item
};

ItemInterfacePointer<ItemInterface> makeDocument() { return std::make_shared<Document>(); }
ItemInterfacePointer<ItemInterface> makeGroup() { return std::make_shared<Node>(); }
ItemInterfacePointer<ItemInterface> makeRect()
{
    return std::make_shared<Rect>(Wm4::Vector2<float>(0.0f, 0.0f), Wm4::Vector2<float>(1.0f, 1.0f));
}
ItemInterfacePointer<ItemInterface> makeLine()
{
    return std::make_shared<Line>(Wm4::Vector2<float>(0.0f, 0.0f), Wm4::Vector2<float>(0.0f, 0.0f));
}
ItemInterfacePointer<ItemInterface> makePath() { return std::make_shared<Path>(); }
ItemInterfacePointer<ItemInterface> makeCircle() { return std::make_shared<Circle>(Wm4::Vector2<float>(0.0f, 0.0f), 0.0f); }
ItemInterfacePointer<ItemInterface> makeText()
{
    return std::make_shared<Text>(Wm4::Vector2<float>(0.0f, 0.0f), std::string());
}
ItemInterfacePointer<ItemInterface> makeImage() { return std::make_shared<Image>(); }

// The nine known tags, compared as exact byte strings.
const std::map<std::string, ElementKind, std::less<>>& elementTable()
{
    static const std::map<std::string, ElementKind, std::less<>> table = {
        {"svg", {makeDocument, impl::HandleDocumentAttribute}},
        {"style", {nullptr, nullptr}},
        {"g", {makeGroup, impl::HandleGroupAttribute}},
        {"rect", {makeRect, impl::HandleRectAttribute}},
        {"line", {makeLine, impl::HandleLineAttribute}},
        {"path", {makePath, impl::HandlePathAttribute}},
        {"circle", {makeCircle, impl::HandleCircleAttribute}},
        {"text", {makeText, impl::HandleTextAttribute}},
        {"image", {makeImage, impl::HandleImageAttribute}},
    };
    return table;
}

// Built during static initialisation so that loads only read it.
const auto& kElementTableAtStartUp = elementTable();

bool isGroup(const ItemInterfacePointer<ItemInterface>& item)
{
    return item && (item->getType() == ItemType::Node || item->getType() == ItemType::Document);
}

} // namespace

struct Loader::Element {
    std::string tagName;
    ItemInterfacePointer<ItemInterface> item; // empty for "style"
};

struct Loader::State {
    std::vector<std::vector<Element>> trees; // each: the open elements, outermost first
    bool rootClosed = false;
};

Loader::Loader(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const LoadOptions& options,
               const impl::MessageSink& errorSink, const impl::MessageSink& warningSink)
    : m_result(result),
      m_errorSink(errorSink),
      m_warningSink(warningSink),
      m_device(device),
      m_ignoreUnsupported(options.ignoreUnsupported),
      m_context(m_errorSink, m_warningSink, options.ignoreUnsupported)
{
}

Loader::~Loader() = default;

bool Loader::run()
{
    bool parsed = false;
    try {
        parsed = kx::xml::ParseXmlStream(m_device, *this, nullptr);
    } catch (const std::exception& e) {
        reportException(e.what());
        parsed = false;
    } catch (...) {
        reportException(nullptr);
        parsed = false;
    }
    // A failed read of the device may stop the parser without a diagnostic.
    if (!parsed && !m_context.errorSent() && m_device.hasDeviceError()) m_context.error(m_device.getDeviceErrorMsg());
    m_state.reset();
    return parsed;
}

void Loader::reportException(const char* what)
{
    std::string text = "Internal svg error";
    try {
        if (what && *what) {
            text += ", ";
            text += what;
        }
    } catch (...) {
    }
    m_context.error(text);
}

// The handlers below may throw (an allocation failure): the XML layer keeps
// the exception, stops the parser and rethrows it once the parser is
// released, and run() turns it into a message. Nothing reaches the caller.

bool Loader::startDocument()
{
    m_state = std::make_unique<State>();
    return true;
}

bool Loader::message(const std::string& text, int severity)
{
    if (severity == kx::xml::XmlSeverityWarning) {
        m_context.warning(text);
        return true;
    }
    m_context.error(text);
    return false;
}

int Loader::startElement(const char* name, const std::vector<kx::xml::XmlAttribute>& attributes)
{
    if (!name) return kx::xml::XmlStopParsing;
    if (!m_state) m_state = std::make_unique<State>();
    State& state = *m_state;

    const std::string_view tag(name);
    const auto& table = elementTable();
    auto kind = table.find(tag);
    // A document is never a child: an "svg" anywhere but as the first root is unsupported.
    if (kind != table.end() && tag == "svg" && !state.trees.empty() &&
        !(state.trees.size() == 1 && state.trees.front().empty()))
        kind = table.end();
    if (kind == table.end()) {
        if (m_ignoreUnsupported) {
            m_context.warning("Ignore unsupported tag in svg : " + impl::Quoted(tag));
            return kx::xml::XmlSkipElement;
        }
        m_context.error("Found unsupported tag in svg : " + impl::Quoted(tag));
        return kx::xml::XmlStopParsing;
    }

    if (state.trees.empty() || state.rootClosed) {
        state.trees.emplace_back();
        state.rootClosed = false;
    }
    std::vector<Element>& tree = state.trees.back();
    if (!tree.empty() && !isGroup(tree.back().item)) {
        m_context.error("Object of type " + impl::Quoted(tree.back().tagName) + " may not contain any child element.");
        return kx::xml::XmlStopParsing;
    }

    ItemInterfacePointer<ItemInterface> item = kind->second.create ? kind->second.create() : nullptr;
    tree.push_back(Element{kind->first, item});
    if (!item) return kx::xml::XmlEnterElement;
    return impl::ProcessAttributes(m_context, *item, kind->second.handler, attributes) ? kx::xml::XmlEnterElement
                                                                                       : kx::xml::XmlStopParsing;
}

bool Loader::endElement(const char* name)
{
    const std::string_view tag(name ? name : "");
    if (!m_state || m_state->trees.empty() || m_state->trees.back().empty()) {
        m_context.error("End of element " + impl::Quoted(tag) + " unexpected");
        return false;
    }
    State& state = *m_state;
    std::vector<Element>& tree = state.trees.back();
    Element& innermost = tree.back();
    if (innermost.tagName != tag) {
        m_context.error("End of element " + impl::Quoted(tag) + ", expected closing of " + impl::Quoted(innermost.tagName));
        return false;
    }
    if (tree.size() == 1) {
        state.rootClosed = true;
        return true;
    }
    Element& parent = tree[tree.size() - 2];
    if (!isGroup(parent.item)) {
        m_context.error("Internal svg error, object of type " + impl::Quoted(parent.tagName) +
                        " may not contain any child element.");
        return false;
    }
    static_cast<Node&>(*parent.item).addChild(innermost.item, true);
    tree.pop_back();
    return true;
}

bool Loader::characters(const char* text, int length)
{
    if (length < 1) return true;
    if (!m_state || m_state->trees.empty() || m_state->trees.back().empty() || !text) return false;
    const std::vector<Element>& tree = m_state->trees.back();
    const Element& innermost = tree.back();
    if (innermost.tagName == "text") {
        if (innermost.item && innermost.item->getType() == ItemType::Text) {
            static_cast<Text&>(*innermost.item).editContent().append(text, size_t(length));
            return true;
        }
        return true;
    }
    if (innermost.tagName == "style") {
        const ItemInterfacePointer<ItemInterface>& root = tree.front().item;
        if (!root || root->getType() != ItemType::Document) {
            m_context.error("<style> tag is only expected if root is an <svg> tag.");
            return false;
        }
        std::optional<std::string>& style = static_cast<Document&>(*root).editStyle();
        if (!style) style.emplace();
        style->append(text, size_t(length));
        return true;
    }
    return true;
}

bool Loader::endDocument()
{
    if (!m_state || !m_state->rootClosed) {
        m_context.error("Some svg tags were not closed properly.");
        return false;
    }
    State& state = *m_state;
    if (state.trees.empty()) {
        m_state.reset();
        m_succeeded = true;
        return true;
    }
    for (const std::vector<Element>& tree : state.trees) {
        if (tree.empty()) {
            m_context.error("Some closing tags were missing.");
            return false;
        }
    }
    if (state.trees.size() == 1) {
        m_result = state.trees.front().front().item;
    } else {
        auto group = std::make_shared<Node>();
        for (const std::vector<Element>& tree : state.trees) group->addChild(tree.front().item, true);
        m_result = group;
    }
    m_state.reset();
    m_succeeded = true;
    return true;
}

namespace impl {

bool LoadSvgDocument(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const LoadOptions& options,
                     const MessageSink& errorSink, const MessageSink& warningSink)
{
    try {
        Loader loader(result, device, options, errorSink, warningSink);
        return loader.run();
    } catch (...) {
        // Only the loader's own construction can get here (copying the sinks).
        if (errorSink) {
            try {
                errorSink("Internal svg error");
            } catch (...) {
            }
        }
        return false;
    }
}

} // namespace impl

} // namespace svg
} // namespace kx
