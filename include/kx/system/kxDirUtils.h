// kxDirUtils.h - file-name helpers.
#ifndef KX_SYSTEM_KXDIRUTILS_H
#define KX_SYSTEM_KXDIRUTILS_H

#include <kx/system/Export.h>

#include <string>

class KXSYSTEM_API kxDirUtils {
public:
    /// The extension of the last component of `path`. With `withoutDot` true the
    /// dot is left out; `count` is how many dot-separated parts to return (1: the
    /// last). Case is kept; a name without a dot gives an empty text.
    static std::string ExtractFileExtension(const std::string& path, bool withoutDot, int count);
};

#endif
