// Version.h - the version of this build of libkxSvg.
#ifndef KX_SVG_VERSION_H
#define KX_SVG_VERSION_H

#include <kx/svg/Export.h>

namespace kxSvg {

/// Version numbers and fixed description texts. Every text is a constant
/// made at build time: the functions never allocate.
class KXSVG_API Version {
public:
    static int GetMajor();
    static int GetMinor();
    static int GetRelease();
    static int GetRevision();
    static int GetYear();
    static int GetMonth();
    /// The first 16 lower-case hexadecimal digits of the commit this build was made from.
    static const char* GetCommitId();
    /// "3.0"; the argument is ignored.
    static const char* GetDescStringMajorMinor(bool unused = false);
    /// "3.0.0"; the argument is ignored.
    static const char* GetDescStringMajorMinorRelease(bool unused = false);
    /// "3.0.0.1297", or "3.0.0.1297 #{commitId}" when `withCommit` is true; the first argument is ignored.
    static const char* GetDescStringMajorMinorReleaseRevision(bool unused = false, bool withCommit = false);
    /// "3.0.0.1297 #{commitId} 2026-2" (the month is not zero-padded).
    static const char* GetDescStringMajorMinorReleaseRevisionDate();
    /// Build flavours kept for callers that print them: every build is a
    /// release build, so all three are always false.
    static bool IsBeta();
    static bool IsDebug();
    static bool IsDev();
};

} // namespace kxSvg

#endif
