// kxSystemUtils.h - clock and system information.
#ifndef KX_SYSTEM_KXSYSTEMUTILS_H
#define KX_SYSTEM_KXSYSTEMUTILS_H

#include <kx/system/Export.h>

#include <string>

class KXSYSTEM_API kxSystemUtils {
public:
    /// The current date and time in ISO 8601: "YYYY-MM-DDThh:mm:ssZ" in UTC when
    /// `utc` is true, else local time with its offset ("YYYY-MM-DDThh:mm:ss+hh:mm").
    static std::string GetCurrentDateTimeISO(bool utc);
};

#endif
