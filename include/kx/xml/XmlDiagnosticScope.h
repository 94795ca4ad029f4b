// XmlDiagnosticScope.h - keeps libxml2's global diagnostics off standard error.
#ifndef KX_XML_XMLDIAGNOSTICSCOPE_H
#define KX_XML_XMLDIAGNOSTICSCOPE_H

#include <kx/xml/Export.h>

#include <functional>
#include <string>

struct _xmlError;

namespace kx {
namespace xml {

/// While alive, takes over libxml2's generic and structured error handlers
/// of the calling thread and hands every diagnostic that reaches them to a
/// sink. libxml2 raises some diagnostics there rather than through a parser
/// context (decoding and encoding failures, I/O errors, errors of the text
/// writer and errors raised before a context exists), and by default prints
/// them on standard error; inside a scope nothing is printed.
///
/// The destructor puts back exactly the handlers found at construction, so a
/// host program that installed its own keeps them. Scopes nest; each one
/// must be destroyed on the thread that created it, in reverse order of
/// creation (a local variable around the libxml2 calls does both).
class KXXML_API XmlDiagnosticScope {
public:
    /// Receives one diagnostic: its text without trailing line break, and an
    /// `XmlMessageSeverity` (4 warning, 2 error, 3 fatal error). Runs on the
    /// scope's thread from inside libxml2: an exception it throws is dropped.
    using Sink = std::function<void(const std::string& text, int severity)>;

    /// Installs the handlers; an empty `sink` discards the diagnostics.
    explicit XmlDiagnosticScope(Sink sink);
    /// Delivers a pending partial line, then restores the previous handlers.
    ~XmlDiagnosticScope();
    XmlDiagnosticScope(const XmlDiagnosticScope&) = delete;
    XmlDiagnosticScope& operator=(const XmlDiagnosticScope&) = delete;

private:
    using GenericHandler = void (*)(void*, const char*, ...);
    using StructuredHandler = void (*)(void*, _xmlError*);

    static void onGeneric(void* scope, const char* format, ...);
    static void onStructured(void* scope, _xmlError* error);
    void deliver(const std::string& text, int severity);

    Sink m_sink;
    std::string m_pendingLine; // generic output not yet ended by a line break
    GenericHandler m_previousGeneric = nullptr;
    void* m_previousGenericContext = nullptr;
    StructuredHandler m_previousStructured = nullptr;
    void* m_previousStructuredContext = nullptr;
};

} // namespace xml
} // namespace kx

#endif
