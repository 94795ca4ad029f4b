// kxLog.h - the process-wide log of the kx framework.
#ifndef KX_SYSTEM_KXLOG_H
#define KX_SYSTEM_KXLOG_H

#include <kx/system/Export.h>

#include <functional>
#include <string>

/// A process-wide log of entries {level, tag, message}. Levels 0 to 4 exist;
/// level 2 is the warning level that the libraries use and is enabled by
/// default (as are 0, 1 and 3; level 4, debug, starts disabled). By default
/// an entry is printed as one line on standard error. Thread-safe.
class KXSYSTEM_API kxLog {
public:
    using Sink = std::function<void(int level, const std::string& tag, const std::string& message)>;

    /// Writes an entry when `level` is enabled; unknown levels are ignored.
    static void write(int level, const std::string& tag, const std::string& message);

    static void setLevelEnabled(int level, bool enabled);
    static bool isLevelEnabled(int level);

    /// Replaces where entries go; an empty function restores standard error.
    static void setSink(Sink sink);
};

#endif
