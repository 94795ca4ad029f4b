// XmlLibrary.cpp - start-up and shut-down of libxml2 for the XML layer.
#include <kx/xml/XmlLibrary.h>

#include "system/kxLibInitCounter.h"

#include <libxml/parser.h>

namespace {

kx::impl::LibInitCounter& counter()
{
    static kx::impl::LibInitCounter c("xml", true);
    return c;
}

} // namespace

namespace kx {
namespace xml {

void initializeXmlLibrary()
{
    if (counter().incrementInitCounter())
        xmlInitParser();
}

void finalizeXmlLibrary()
{
    // xmlCleanupParser is deliberately not called: libxml2 documents it as
    // unsafe while any other part of the process may still use the library,
    // and the parser state it frees is small and reused by the next start-up.
    counter().decrementInitCounter();
}

} // namespace xml
} // namespace kx
