// kxDirUtils.cpp - file-name helpers.
#include <kx/system/kxDirUtils.h>

std::string kxDirUtils::ExtractFileExtension(const std::string& path, bool withoutDot, int count)
{
    // Only the last path component counts: "a.b/c" has no extension.
    const size_t slash = path.find_last_of("/\\");
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    if (count < 1)
        count = 1;

    size_t dot = std::string::npos;
    size_t searchEnd = path.size();
    for (int i = 0; i < count; ++i) {
        if (searchEnd <= nameStart)
            break;
        const size_t found = path.rfind('.', searchEnd - 1);
        if (found == std::string::npos || found < nameStart)
            break;
        dot = found;
        searchEnd = found;
    }
    if (dot == std::string::npos)
        return std::string();
    return path.substr(withoutDot ? dot + 1 : dot);
}
