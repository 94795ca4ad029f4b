// kxLibInitCounter.h - nesting counter for library start-up and shut-down.
// Internal to the three libraries (not installed): kxSystem defines and
// exports it, kxXml and kxSvg each keep one counter.
#ifndef KX_SYSTEM_SRC_KXLIBINITCOUNTER_H
#define KX_SYSTEM_SRC_KXLIBINITCOUNTER_H

#include <kx/system/Export.h>

#include <mutex>
#include <string>

namespace kx {
namespace impl {

/// Counts nested initialisations of a library. Thread-safe.
class KXSYSTEM_API LibInitCounter {
public:
    /// `name` identifies the library in log entries; with `logUnbalanced` a
    /// decrement below zero is logged.
    LibInitCounter(const std::string& name, bool logUnbalanced);
    ~LibInitCounter();
    LibInitCounter(const LibInitCounter&) = delete;
    LibInitCounter& operator=(const LibInitCounter&) = delete;

    /// True exactly when this call is the first increment (0 -> 1).
    bool incrementInitCounter();
    /// True exactly when this call is the last decrement (1 -> 0); a call at 0 changes nothing and returns false.
    bool decrementInitCounter();
    int getCount() const;

private:
    std::string m_name;
    bool m_logUnbalanced;
    int m_count = 0;
    mutable std::mutex m_mutex;
};

} // namespace impl
} // namespace kx

#endif
