// SvgDriver.cpp - the library's driver for the format key "svg": connects
// the reader and the save routine to files and byte devices.
#include <kx/svg/IOManager.h>

#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/system/kxDirUtils.h>

namespace kx {
namespace svg {

namespace {

const char* const kFailToOpenFile = "Fail to open file";

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
    kxIoDeviceFileStream stream(filePath, kxIoDevice::Write, true);
    if (!stream.isOpen()) {
        addMessage(kFailToOpenFile, -1);
        return false;
    }
    return saveSvg(item, stream, kxDirUtils::ExtractFileExtension(filePath, true, 1), notifier, options);
}

bool kxSvgDriver::saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string&,
                          kxProgressNotifierInterface*, const SaveOptions& options)
{
    clearMessages();
    return impl::SaveSvgDocument(item, device, options);
}

} // namespace svg
} // namespace kx
