// SimpleIo.cpp - one-call load, save and preflight, with automatic start-up.
#include <kx/svg/IOManager.h>
#include <kx/svg/Library.h>
#include <kx/svg/Simple.h>

#include "frame/SvgContent.h"
#include "write/NumberFormat.h"

#include <kx/system/kxIoDevice.h>

#include <exception>
#include <new>

namespace kx {
namespace svg {

namespace {

// The library stays initialised from the first call of this layer until the
// process ends. A function-local static is built once even when several
// threads call at the same time, and it is destroyed at exit before the
// library's own statics (which were built before it), so the termination
// still finds the nesting counter alive. Callers' own initialise/terminate
// pairs only move the counter above this one count.
void EnsureInitialised()
{
    struct Scope {
        Scope() { initializeKxSvg(); }
        ~Scope() { terminateKxSvg(); }
    };
    static Scope scope;
}

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

void AppendMessages(const std::list<std::string>& from, std::vector<std::string>& to)
{
    to.insert(to.end(), from.begin(), from.end());
}

// The library's reader and writer never throw for bad input; this is the last
// guard against running out of memory, so that no call here throws either.
template <class Result, class Body>
Result Guarded(Body&& body)
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        Result result;
        result.messages.push_back("Out of memory");
        return result;
    } catch (const std::exception& e) {
        Result result;
        result.messages.push_back(std::string("Unexpected failure: ") + e.what());
        return result;
    }
}

LoadResult LoadDecoded(std::string_view bytes, const std::string& what, const LoadOptions& options)
{
    LoadResult result;
    std::string inflated;
    std::string_view text;
    if (!impl::DecodeSvgContent(bytes, what, kMaxDecompressedSvgBytes, inflated, text, result.messages))
        return result;
    EnsureInitialised();
    // A driver of its own per call: the manager's driver keeps the messages
    // of its last run, so sharing it would mix the messages of two threads.
    kxSvgDriver driver;
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    ItemInterfacePointer<ItemInterface> root;
    const bool loaded = driver.loadSvg(root, device, "svg", nullptr, options);
    AppendMessages(driver.getMessageList(), result.messages);
    if (!loaded) return result;
    if (!root || root->getType() != ItemType::Document) {
        result.messages.push_back(what + " holds no svg element");
        return result;
    }
    result.document = std::static_pointer_cast<Document>(root);
    return result;
}

PreflightResult PreflightDecoded(std::string_view bytes, const std::string& what, const PreflightOptions& options)
{
    PreflightResult result;
    std::string inflated;
    std::string_view text;
    if (!impl::DecodeSvgContent(bytes, what, kMaxDecompressedSvgBytes, inflated, text, result.messages))
        return result;
    EnsureInitialised();
    result.ok = PreflightSvg(std::string(text), options, result.text, result.report);
    if (!result.ok)
        for (const PreflightEntry& entry : result.report.getEntries())
            if (entry.change == PreflightChange::Failed) result.messages.push_back(entry.detail);
    return result;
}

SaveOptions WriterOptions(const SaveTextOptions& options)
{
    SaveOptions save = options.save;
    if (options.shortestNumbers) save.floatPrecision = impl::kShortestRoundTripPrecision;
    return save;
}

// Reads the file and hands its bytes to `decode`; a file that cannot be read
// gives a result with that one message.
template <class Result, class Decode>
Result FromFile(const std::string& path, Decode&& decode)
{
    return Guarded<Result>([&] {
        std::string bytes;
        if (!impl::ReadWholeFile(path, bytes)) {
            Result result;
            result.messages.push_back("Cannot read " + Quoted(path));
            return result;
        }
        return decode(bytes, "File " + Quoted(path));
    });
}

} // namespace

LoadResult LoadBytes(std::string_view bytes, const LoadOptions& options)
{
    return Guarded<LoadResult>([&] { return LoadDecoded(bytes, "Data", options); });
}

LoadResult LoadFile(const std::string& path, const LoadOptions& options)
{
    return FromFile<LoadResult>(
        path, [&](const std::string& bytes, const std::string& what) { return LoadDecoded(bytes, what, options); });
}

PreflightResult PreflightBytes(std::string_view bytes, const PreflightOptions& options)
{
    return Guarded<PreflightResult>([&] { return PreflightDecoded(bytes, "Data", options); });
}

PreflightResult PreflightFile(const std::string& path, const PreflightOptions& options)
{
    return FromFile<PreflightResult>(path, [&](const std::string& bytes, const std::string& what) {
        return PreflightDecoded(bytes, what, options);
    });
}

SaveResult SaveFile(const ItemInterface& item, const std::string& path, const SaveTextOptions& options)
{
    return Guarded<SaveResult>([&] {
        EnsureInitialised();
        SaveResult result;
        kxSvgDriver driver;
        result.ok = driver.saveSvg(item, path, nullptr, WriterOptions(options));
        if (!result.ok) result.messages.push_back("Cannot save " + Quoted(path));
        AppendMessages(driver.getMessageList(), result.messages);
        return result;
    });
}

SaveResult SaveString(const ItemInterface& item, const SaveTextOptions& options)
{
    return Guarded<SaveResult>([&] {
        EnsureInitialised();
        SaveResult result;
        kxSvgDriver driver;
        kxIoDeviceByteContainerWriteOnly device(result.text);
        result.ok = driver.saveSvg(item, device, "svg", nullptr, WriterOptions(options));
        AppendMessages(driver.getMessageList(), result.messages);
        if (!result.ok) result.text.clear();
        return result;
    });
}

} // namespace svg
} // namespace kx
