// XmlLibrary.h - start-up and shut-down of the XML layer.
#ifndef KX_XML_XMLLIBRARY_H
#define KX_XML_XMLLIBRARY_H

#include <kx/xml/Export.h>

namespace kx {
namespace xml {

/// Prepares libxml2 for use (nesting: only the first call does work).
KXXML_API void initializeXmlLibrary();
/// Undoes `initializeXmlLibrary` on the last matching call.
KXXML_API void finalizeXmlLibrary();

} // namespace xml
} // namespace kx

#endif
