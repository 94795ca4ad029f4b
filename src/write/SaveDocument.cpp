// SaveDocument.cpp - writes an item tree as an SVG document to a device.
#include "write/SaveDocument.h"

#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>
#include <kx/system/kxSoftwareVersion.h>
#include <kx/system/kxSystemUtils.h>
#include <kx/xml/XmlDiagnosticScope.h>
#include <kx/xml/XmlSaveContext.h>

#include <libxml/xmlwriter.h>

#include <string>
#include <vector>

namespace kx {
namespace svg {
namespace impl {

namespace {

// The writer's buffer goes to the device whenever it holds this much.
constexpr std::size_t kFlushThreshold = 8192;

const char* const kLogTag = "svg";

enum SaveStatus : int {
    StatusGood = 0,
    StatusWriteFailed = 2,
    StatusEndDocumentFailed = 3,
};

bool WriteComment(xmlTextWriter* writer, const std::string& text)
{
    return xmlTextWriterWriteComment(writer, reinterpret_cast<const xmlChar*>(text.c_str())) >= 0;
}

const Node* AsGroup(const ItemInterface& item)
{
    const ItemType type = item.getType();
    if (type == ItemType::Node || type == ItemType::Document) return dynamic_cast<const Node*>(&item);
    return nullptr;
}

class DocumentSaver {
public:
    DocumentSaver(kxIoDevice& device, const SaveOptions& options)
        : m_context(options.formatOutput), m_device(device), m_options(options)
    {
    }

    bool save(const ItemInterface& root)
    {
        writeHead();
        if (m_status == StatusGood) writeTree(root);
        if (m_status == StatusGood) {
            xmlTextWriter* writer = m_context.getWriter();
            if (!writer || xmlTextWriterEndDocument(writer) < 0)
                m_status = StatusEndDocumentFailed;
            else
                flush(0);
        }
        return m_status == StatusGood;
    }

private:
    struct Frame {
        const ItemInterface* item;
        Node::Children::const_iterator next;
        Node::Children::const_iterator end;
        bool opened; // beginWriteAsXml returned true
    };

    void writeHead()
    {
        xmlTextWriter* writer = m_context.getWriter();
        if (!writer || xmlTextWriterStartDocument(writer, "1.0", "utf-8", nullptr) < 0) {
            m_status = StatusWriteFailed;
            return;
        }
        if (m_options.writeFlag) {
            if (!WriteComment(writer, "Exporter : " + kx::GetSoftwareVersionForStream().toString()) ||
                !WriteComment(writer, "Datetime : " + kxSystemUtils::GetCurrentDateTimeISO(true))) {
                m_status = StatusWriteFailed;
                return;
            }
        }
        if (!m_options.author.empty() && !WriteComment(writer, "Author : " + m_options.author))
            m_status = StatusWriteFailed;
    }

    void flush(std::size_t threshold)
    {
        if (m_context.flushBufferToDevice(m_device, threshold)) return;
        m_status = StatusWriteFailed;
        const std::string& reason = m_device.getDeviceErrorMsg();
        kxLog::write(2, kLogTag, reason.empty() ? "Writing the output failed" : "Writing the output failed: " + reason);
    }

    // Opens `item` and pushes its frame; its children are visited only when
    // the opening succeeded.
    void open(const ItemInterface& item)
    {
        Frame frame{&item, {}, {}, item.beginWriteAsXml(m_context, m_options)};
        if (frame.opened) {
            flush(kFlushThreshold);
            if (const Node* group = AsGroup(item)) {
                frame.next = group->getChildren().begin();
                frame.end = group->getChildren().end();
            }
        }
        m_stack.push_back(frame);
    }

    // Depth first with an explicit stack, so that any depth of nesting is
    // written without growing the call stack: begin, the children in list
    // order, then end. An item that failed to open is still closed, to keep
    // the elements balanced, and then fails the save.
    void writeTree(const ItemInterface& root)
    {
        open(root);
        while (!m_stack.empty()) {
            Frame& top = m_stack.back();
            if (m_status == StatusGood && top.next != top.end) {
                const std::shared_ptr<ItemInterface>& child = *top.next;
                ++top.next;
                if (child) open(*child); // may reallocate the stack: `top` is not used again
                continue;
            }
            if (m_status == StatusGood) {
                const bool closed = top.item->endWriteAsXml(m_context, m_options);
                if (!closed || !top.opened) m_status = StatusWriteFailed;
            }
            m_stack.pop_back();
        }
    }

    kx::xml::XmlSaveContext m_context;
    kxIoDevice& m_device;
    const SaveOptions& m_options;
    int m_status = StatusGood;
    std::vector<Frame> m_stack;
};

} // namespace

bool SaveSvgDocument(const ItemInterface& root, kxIoDevice& device, const SaveOptions& options)
{
    // Whatever libxml2's writer raises (encoding and output errors) is logged
    // like the writers' own failures, never printed on standard error. The
    // scope outlives the saver, whose save context holds the libxml2 writer.
    kx::xml::XmlDiagnosticScope diagnostics(
        [](const std::string& text, int) { kxLog::write(2, kLogTag, text); });
    DocumentSaver saver(device, options);
    return saver.save(root);
}

} // namespace impl
} // namespace svg
} // namespace kx
