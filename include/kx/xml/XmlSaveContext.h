// XmlSaveContext.h - an XML text writer over an in-memory buffer.
#ifndef KX_XML_XMLSAVECONTEXT_H
#define KX_XML_XMLSAVECONTEXT_H

#include <kx/xml/Export.h>

#include <cstddef>

class kxIoDevice;

typedef struct _xmlTextWriter xmlTextWriter;
typedef struct _xmlBuffer xmlBuffer;

namespace kx {
namespace xml {

/// Holds a libxml2 text writer that writes into a memory buffer; the owner
/// moves the buffer to a device with `flushBufferToDevice`. The writer
/// reports its errors through libxml2's global handlers: create and use the
/// context inside an `XmlDiagnosticScope` to keep them off standard error.
class KXXML_API XmlSaveContext {
public:
    /// `formatOutput` turns on libxml2's indentation.
    explicit XmlSaveContext(bool formatOutput);
    ~XmlSaveContext();
    XmlSaveContext(const XmlSaveContext&) = delete;
    XmlSaveContext& operator=(const XmlSaveContext&) = delete;

    /// The libxml2 writer; null if it could not be created.
    xmlTextWriter* getWriter() const { return m_writer; }
    bool getFormatOutput() const { return m_formatOutput; }

    /// When the buffer holds at least `threshold` bytes (0: any amount), writes
    /// all of it to `device` and empties it. False when the device took fewer
    /// bytes than given or holds an error.
    bool flushBufferToDevice(kxIoDevice& device, std::size_t threshold);
    /// Bytes waiting in the buffer.
    std::size_t getBufferedSize() const;

private:
    bool m_formatOutput;
    xmlBuffer* m_buffer = nullptr;
    xmlTextWriter* m_writer = nullptr;
};

} // namespace xml
} // namespace kx

#endif
