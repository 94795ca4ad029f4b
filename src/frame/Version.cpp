// Version.cpp - version numbers and their fixed texts, made at build time.
#include <kx/svg/Version.h>

#include <kx/BuildInfo.h>

#define KXSVG_STRINGIFY_VALUE(x) #x
#define KXSVG_STRINGIFY(x) KXSVG_STRINGIFY_VALUE(x)

#define KXSVG_TEXT_MAJOR_MINOR KXSVG_STRINGIFY(KXSVG_VERSION_MAJOR) "." KXSVG_STRINGIFY(KXSVG_VERSION_MINOR)
#define KXSVG_TEXT_MAJOR_MINOR_RELEASE KXSVG_TEXT_MAJOR_MINOR "." KXSVG_STRINGIFY(KXSVG_VERSION_RELEASE)
#define KXSVG_TEXT_REVISION KXSVG_TEXT_MAJOR_MINOR_RELEASE "." KXSVG_STRINGIFY(KXSVG_VERSION_REVISION)
#define KXSVG_TEXT_REVISION_COMMIT KXSVG_TEXT_REVISION " #" KXSVG_COMMIT_ID
#define KXSVG_TEXT_DATE                                                                                       \
    KXSVG_TEXT_REVISION_COMMIT " " KXSVG_STRINGIFY(KXSVG_VERSION_YEAR) "-" KXSVG_STRINGIFY(KXSVG_VERSION_MONTH)

namespace kxSvg {

int Version::GetMajor() { return KXSVG_VERSION_MAJOR; }
int Version::GetMinor() { return KXSVG_VERSION_MINOR; }
int Version::GetRelease() { return KXSVG_VERSION_RELEASE; }
int Version::GetRevision() { return KXSVG_VERSION_REVISION; }
int Version::GetYear() { return KXSVG_VERSION_YEAR; }
int Version::GetMonth() { return KXSVG_VERSION_MONTH; }

const char* Version::GetCommitId() { return KXSVG_COMMIT_ID; }

const char* Version::GetDescStringMajorMinor(bool) { return KXSVG_TEXT_MAJOR_MINOR; }

const char* Version::GetDescStringMajorMinorRelease(bool) { return KXSVG_TEXT_MAJOR_MINOR_RELEASE; }

const char* Version::GetDescStringMajorMinorReleaseRevision(bool, bool withCommit)
{
    return withCommit ? KXSVG_TEXT_REVISION_COMMIT : KXSVG_TEXT_REVISION;
}

const char* Version::GetDescStringMajorMinorReleaseRevisionDate() { return KXSVG_TEXT_DATE; }

bool Version::IsBeta() { return false; }
bool Version::IsDebug() { return false; }
bool Version::IsDev() { return false; }

} // namespace kxSvg
