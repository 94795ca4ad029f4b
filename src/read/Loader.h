// Loader.h - builds an item tree from the events of the XML parser.
#ifndef KX_SVG_READ_LOADER_H
#define KX_SVG_READ_LOADER_H

#include "read/AttributeHandlers.h"
#include "read/LoadDocument.h"

#include <kx/svg/Items.h>
#include <kx/svg/Options.h>
#include <kx/xml/XmlSaxParser.h>

#include <memory>
#include <string>
#include <vector>

class kxIoDevice;

namespace kx {
namespace svg {

/// One load: receives the parser's events for `device` and, when the document
/// ends well, stores the tree in `result`. Problems go to the two sinks; an
/// exception in a callback ends the parse and becomes a message in run().
class Loader : private kx::xml::XmlSaxParserHandler {
public:
    Loader(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const LoadOptions& options,
           const impl::MessageSink& errorSink, const impl::MessageSink& warningSink);
    ~Loader() override;
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /// Parses the whole device; returns the parser's verdict.
    bool run();

    /// True once the document ended with a tree handed to `result`.
    bool succeeded() const { return m_succeeded; }

    // The parser's events, public so that event sequences the XML parser
    // never produces (several roots, a missing end tag) can be replayed.
    bool startDocument() override;
    bool endDocument() override;
    int startElement(const char* name, const std::vector<kx::xml::XmlAttribute>& attributes) override;
    bool endElement(const char* name) override;
    bool characters(const char* text, int length) override;
    bool message(const std::string& text, int severity) override;

private:
    struct Element;
    struct State;

    /// Reports an exception that ended the parse.
    void reportException(const char* what);

    ItemInterfacePointer<ItemInterface>& m_result;
    impl::MessageSink m_errorSink;
    impl::MessageSink m_warningSink;
    std::unique_ptr<State> m_state;
    kxIoDevice& m_device;
    bool m_ignoreUnsupported;
    bool m_succeeded = false;
    impl::AttributeContext m_context;
};

} // namespace svg
} // namespace kx

#endif
