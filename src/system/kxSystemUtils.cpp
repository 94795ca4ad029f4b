// kxSystemUtils.cpp - clock texts and the software version of this build.
#include <kx/system/kxSoftwareVersion.h>
#include <kx/system/kxSystemUtils.h>

#include <kx/BuildInfo.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

std::string kxSystemUtils::GetCurrentDateTimeISO(bool utc)
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    char buffer[96];
    if (utc) {
        gmtime_r(&now, &parts);
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900,
                      parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
        return buffer;
    }
    localtime_r(&now, &parts);
    const long offset = parts.tm_gmtoff;
    const long absOffset = std::labs(offset);
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d%c%02ld:%02ld", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  offset < 0 ? '-' : '+', absOffset / 3600, (absOffset % 3600) / 60);
    return buffer;
}

namespace kx {

SoftwareVersionInfoForStream::SoftwareVersionInfoForStream(std::string name, std::string version)
    : m_name(std::move(name)), m_version(std::move(version))
{
}

std::string SoftwareVersionInfoForStream::toString() const { return m_name + " " + m_version; }

#define KX_STRINGIFY_VALUE(x) #x
#define KX_STRINGIFY(x) KX_STRINGIFY_VALUE(x)

SoftwareVersionInfoForStream GetSoftwareVersionForStream()
{
    static const char* const kVersion = KX_STRINGIFY(KXSVG_VERSION_MAJOR) "." KX_STRINGIFY(
        KXSVG_VERSION_MINOR) "." KX_STRINGIFY(KXSVG_VERSION_RELEASE) "." KX_STRINGIFY(KXSVG_VERSION_REVISION) " #" KXSVG_COMMIT_ID;
    return SoftwareVersionInfoForStream("libkxSvg", kVersion);
}

} // namespace kx
