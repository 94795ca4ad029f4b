// kxSoftwareVersion.h - the software version text written into saved files.
#ifndef KX_SYSTEM_KXSOFTWAREVERSION_H
#define KX_SYSTEM_KXSOFTWAREVERSION_H

#include <kx/system/Export.h>

#include <string>

namespace kx {

/// Names the software and its full version.
class KXSYSTEM_API SoftwareVersionInfoForStream {
public:
    SoftwareVersionInfoForStream(std::string name, std::string version);
    /// "{name} {version}", for example "libkxSvg 3.0.0.1297 #0123456789abcdef".
    std::string toString() const;
    const std::string& getName() const { return m_name; }
    const std::string& getVersion() const { return m_version; }

private:
    std::string m_name;
    std::string m_version;
};

/// The version of this build of the library, as written in the "Exporter" comment.
KXSYSTEM_API SoftwareVersionInfoForStream GetSoftwareVersionForStream();

} // namespace kx

#endif
