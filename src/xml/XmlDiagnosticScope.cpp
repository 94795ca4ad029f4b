// XmlDiagnosticScope.cpp - routes libxml2's global error handlers of the
// calling thread to a sink for the lifetime of a scope.
#include <kx/xml/XmlDiagnosticScope.h>

#include <kx/xml/XmlSaxParser.h>

#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include <cstdarg>
#include <cstdio>

// The handlers must belong to the calling thread alone: a scope on one thread
// must neither see another thread's diagnostics nor disturb a handler that a
// host program keeps on another thread. libxml2 built with threads keeps them
// per thread - xmlGenericError, xmlStructuredError and their contexts are
// macros over __xmlGenericError() and friends, which return the calling
// thread's slot (libxml2 2.9 in <libxml/globals.h>) - so reading, replacing
// and restoring them here needs no lock.
#ifndef LIBXML_THREAD_ENABLED
#error "libxml2 must be built with thread support: its error handlers must be per thread"
#endif

namespace kx {
namespace xml {

namespace {

// Longest generic text kept from one call; libxml2's own lines are far shorter.
constexpr int kGenericTextLimit = 1024;

int severityOf(xmlErrorLevel level)
{
    switch (level) {
    case XML_ERR_WARNING: return XmlSeverityWarning;
    case XML_ERR_ERROR: return XmlSeverityError;
    default: return XmlSeverityFatal;
    }
}

} // namespace

XmlDiagnosticScope::XmlDiagnosticScope(Sink sink) : m_sink(std::move(sink))
{
    m_previousGeneric = xmlGenericError;
    m_previousGenericContext = xmlGenericErrorContext;
    m_previousStructured = xmlStructuredError;
    m_previousStructuredContext = xmlStructuredErrorContext;
    // Written directly rather than through xmlSetGenericErrorFunc, which turns
    // a null handler into libxml2's default printer: the destructor must put
    // back exactly what it found.
    xmlGenericError = &XmlDiagnosticScope::onGeneric;
    xmlGenericErrorContext = this;
    xmlStructuredError = &XmlDiagnosticScope::onStructured;
    xmlStructuredErrorContext = this;
}

XmlDiagnosticScope::~XmlDiagnosticScope()
{
    xmlGenericError = m_previousGeneric;
    xmlGenericErrorContext = m_previousGenericContext;
    xmlStructuredError = m_previousStructured;
    xmlStructuredErrorContext = m_previousStructuredContext;
    if (!m_pendingLine.empty())
        deliver(m_pendingLine, XmlSeverityError);
}

void XmlDiagnosticScope::deliver(const std::string& text, int severity)
{
    if (!m_sink || text.empty())
        return;
    try {
        m_sink(text, severity);
    } catch (...) {
        // Must not unwind through libxml2's C frames.
    }
}

// libxml2 calls the generic handler printf-style, sometimes with a line in
// several pieces; whole lines are delivered, as errors (the calls carry no level).
void XmlDiagnosticScope::onGeneric(void* context, const char* format, ...)
{
    auto* scope = static_cast<XmlDiagnosticScope*>(context);
    if (!scope || !format)
        return;
    char text[kGenericTextLimit];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length <= 0)
        return;
    try {
        scope->m_pendingLine.append(text, static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length)
                                                                                    : sizeof text - 1);
        size_t end;
        while ((end = scope->m_pendingLine.find('\n')) != std::string::npos) {
            std::string line = scope->m_pendingLine.substr(0, end);
            scope->m_pendingLine.erase(0, end + 1);
            while (!line.empty() && line.back() == '\r')
                line.pop_back();
            scope->deliver(line, XmlSeverityError);
        }
    } catch (...) {
        scope->m_pendingLine.clear();
    }
}

void XmlDiagnosticScope::onStructured(void* context, _xmlError* error)
{
    auto* scope = static_cast<XmlDiagnosticScope*>(context);
    if (!scope || !error)
        return;
    try {
        std::string text = error->message ? error->message : "XML parser error";
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
            text.pop_back();
        scope->deliver(text, severityOf(error->level));
    } catch (...) {
    }
}

} // namespace xml
} // namespace kx
