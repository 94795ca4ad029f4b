// XmlSaveContext.cpp - a libxml2 text writer over a memory buffer.
#include <kx/xml/XmlSaveContext.h>

#include <kx/system/kxIoDevice.h>

#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

namespace kx {
namespace xml {

XmlSaveContext::XmlSaveContext(bool formatOutput) : m_formatOutput(formatOutput)
{
    m_buffer = xmlBufferCreate();
    if (!m_buffer)
        return;
    m_writer = xmlNewTextWriterMemory(m_buffer, 0);
    if (m_writer)
        xmlTextWriterSetIndent(m_writer, formatOutput ? 1 : 0);
}

XmlSaveContext::~XmlSaveContext()
{
    // The writer writes into the buffer: release it first.
    if (m_writer)
        xmlFreeTextWriter(m_writer);
    if (m_buffer)
        xmlBufferFree(m_buffer);
}

bool XmlSaveContext::flushBufferToDevice(kxIoDevice& device, std::size_t threshold)
{
    if (!m_buffer)
        return false;
    // The writer keeps its own output buffer: move that into ours first.
    if (m_writer && xmlTextWriterFlush(m_writer) < 0)
        return false;
    const int length = xmlBufferLength(m_buffer);
    if (length <= 0 || static_cast<std::size_t>(length) < threshold)
        return !device.hasDeviceError();
    const int64_t written = device.writeBytes(xmlBufferContent(m_buffer), length);
    xmlBufferEmpty(m_buffer);
    return written == length && !device.hasDeviceError();
}

std::size_t XmlSaveContext::getBufferedSize() const
{
    if (!m_buffer)
        return 0;
    if (m_writer)
        xmlTextWriterFlush(m_writer);
    const int length = xmlBufferLength(m_buffer);
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

} // namespace xml
} // namespace kx
