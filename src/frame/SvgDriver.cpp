// SvgDriver.cpp - the library's driver for the format key "svg": connects
// the reader and the save routine to files and byte devices.
#include <kx/svg/IOManager.h>

#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/system/kxDirUtils.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace kx {
namespace svg {

namespace {

const char* const kFailToOpenFile = "Fail to open file";
const char* const kFailToReplaceFile = "Fail to replace file";

// Creates an empty file with a fresh name beside `target`, so that the final
// rename stays within one file system. It gets the target's permissions when
// the target exists, else the usual ones for a new file. Returns the name, or
// an empty text when no file could be created.
std::string createSiblingTempFile(const std::string& target)
{
    static std::atomic<unsigned> counter{0};
    struct stat targetInfo;
    const bool targetExists = ::stat(target.c_str(), &targetInfo) == 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = target + ".kxsvg-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return std::string();
        }
        if (targetExists) (void)::fchmod(fd, targetInfo.st_mode & 07777);
        ::close(fd);
        return name;
    }
    return std::string();
}

// Compared as given: an upper-case extension only matches when the caller
// lower-cased it.
int scoreFormatKey(const std::string& formatKey) { return formatKey == "svg" ? 2 : 0; }

} // namespace

kxCoreSvgIODriver::kxCoreSvgIODriver() = default;

kxCoreSvgIODriver::~kxCoreSvgIODriver() = default;

kxSvgDriver::kxSvgDriver() = default;

kxSvgDriver::~kxSvgDriver() = default;

int kxSvgDriver::canLoad(const std::pair<kxIoDevice*, std::string>& query, const LoadOptions&) const
{
    return scoreFormatKey(query.second);
}

int kxSvgDriver::canSave(const std::string& formatKey, const SaveOptions&) const
{
    return scoreFormatKey(formatKey);
}

bool kxSvgDriver::loadSvg(ItemInterfacePointer<ItemInterface>& result, const std::string& filePath,
                          kxProgressNotifierInterface* notifier, const LoadOptions& options)
{
    clearMessages();
    kxIoDeviceFileStream stream(filePath, kxIoDevice::Read, true);
    if (!stream.isOpen()) {
        addMessage(kFailToOpenFile, -1);
        return false;
    }
    return loadSvg(result, stream, kxDirUtils::ExtractFileExtension(filePath, true, 1), notifier, options);
}

bool kxSvgDriver::loadSvg(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const std::string&,
                          kxProgressNotifierInterface*, const LoadOptions& options)
{
    clearMessages();
    const impl::MessageSink sink = [this](const std::string& text) { addMessage(text, -1); };
    return impl::LoadSvgDocument(result, device, options, sink, sink);
}

bool kxSvgDriver::saveSvg(const ItemInterface& item, const std::string& filePath,
                          kxProgressNotifierInterface* notifier, const SaveOptions& options)
{
    clearMessages();
    // The document is written to a file beside the target and moved over it
    // only when the whole save succeeded: a failed save never damages a file
    // that was already there.
    const std::string tempPath = createSiblingTempFile(filePath);
    if (tempPath.empty()) {
        addMessage(kFailToOpenFile, -1);
        return false;
    }
    bool saved = false;
    bool closed = false;
    {
        kxIoDeviceFileStream stream(tempPath, kxIoDevice::Write, true);
        if (!stream.isOpen()) {
            std::remove(tempPath.c_str());
            addMessage(kFailToOpenFile, -1);
            return false;
        }
        saved = saveSvg(item, stream, kxDirUtils::ExtractFileExtension(filePath, true, 1), notifier, options);
        closed = stream.close();
    }
    if (saved && closed && std::rename(tempPath.c_str(), filePath.c_str()) == 0) return true;
    std::remove(tempPath.c_str());
    if (saved) addMessage(kFailToReplaceFile, -1);
    return false;
}

bool kxSvgDriver::saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string&,
                          kxProgressNotifierInterface*, const SaveOptions& options)
{
    clearMessages();
    return impl::SaveSvgDocument(item, device, options);
}

} // namespace svg
} // namespace kx
