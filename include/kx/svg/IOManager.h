// IOManager.h - loading and saving SVG through format drivers.
#ifndef KX_SVG_IOMANAGER_H
#define KX_SVG_IOMANAGER_H

#include <kx/svg/Export.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/Options.h>

#include <kx/system/kxCancel.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxStringUtils.h>

#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace kx {

/// Base of the framework's format drivers: keeps the messages of a driver's
/// last run, at most 1024 of them. A message's text is at most 1024
/// characters; a line suffix (" @{line}") comes on top of that.
template <class Query, class FormatKey, class LoadOpts, class SaveOpts>
class KXSVG_API kxCoreDriver {
public:
    static constexpr std::size_t kMaxMessages = 1024;
    static constexpr std::size_t kMaxMessageLength = 1024;

    virtual ~kxCoreDriver() = default;

    /// Appends `text` (longer texts are cut to 1020 characters plus " ...");
    /// the oldest message goes once 1024 are held. With `line` >= 0, " @{line}"
    /// is appended after the cut, so such a message may exceed 1024 characters.
    void addMessage(const std::string& text, int64_t line)
    {
        if (m_messages.size() > kMaxMessages - 1)
            m_messages.pop_front();
        if (text.size() <= kMaxMessageLength)
            m_messages.push_back(text);
        else
            m_messages.push_back(text.substr(0, kMaxMessageLength - 4) + " ...");
        if (line >= 0)
            m_messages.back() += " @" + kxStringUtils::fromInt64(line);
    }

    /// Appends copies of the messages to `target`, emptying it first when `clearTarget` is true.
    void getMessages(std::list<std::string>& target, bool clearTarget) const
    {
        if (clearTarget)
            target.clear();
        target.insert(target.end(), m_messages.begin(), m_messages.end());
    }

    const std::list<std::string>& getMessageList() const { return m_messages; }
    void clearMessages() { m_messages.clear(); }

private:
    std::list<std::string> m_messages;
};

namespace svg {

using kxCoreSvgIODriverBase =
    kx::kxCoreDriver<std::pair<kxIoDevice*, std::string>, std::string, LoadOptions, SaveOptions>;

/// A format driver of the SVG IO manager. `canLoad` and `canSave` answer
/// 0 (cannot), 1 (can) or 2 (preferred).
class KXSVG_API kxCoreSvgIODriver : public kxCoreSvgIODriverBase {
public:
    kxCoreSvgIODriver();
    ~kxCoreSvgIODriver() override;

    virtual int canLoad(const std::pair<kxIoDevice*, std::string>& query, const LoadOptions& options) const = 0;
    virtual int canSave(const std::string& formatKey, const SaveOptions& options) const = 0;
    virtual bool loadSvg(ItemInterfacePointer<ItemInterface>& result, const std::string& filePath,
                         kxProgressNotifierInterface* notifier, const LoadOptions& options) = 0;
    virtual bool loadSvg(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device,
                         const std::string& formatKey, kxProgressNotifierInterface* notifier,
                         const LoadOptions& options) = 0;
    virtual bool saveSvg(const ItemInterface& item, const std::string& filePath, kxProgressNotifierInterface* notifier,
                         const SaveOptions& options) = 0;
    virtual bool saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string& formatKey,
                         kxProgressNotifierInterface* notifier, const SaveOptions& options) = 0;
};

/// The library's SVG driver: format key "svg" (exactly, case-sensitive).
/// Every load and save first empties the message list; files that cannot be
/// opened give the single message "Fail to open file".
class KXSVG_API kxSvgDriver : public kxCoreSvgIODriver {
public:
    kxSvgDriver();
    ~kxSvgDriver() override;

    int canLoad(const std::pair<kxIoDevice*, std::string>& query, const LoadOptions& options) const override;
    int canSave(const std::string& formatKey, const SaveOptions& options) const override;
    bool loadSvg(ItemInterfacePointer<ItemInterface>& result, const std::string& filePath,
                 kxProgressNotifierInterface* notifier, const LoadOptions& options) override;
    bool loadSvg(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const std::string& formatKey,
                 kxProgressNotifierInterface* notifier, const LoadOptions& options) override;
    bool saveSvg(const ItemInterface& item, const std::string& filePath, kxProgressNotifierInterface* notifier,
                 const SaveOptions& options) override;
    bool saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string& formatKey,
                 kxProgressNotifierInterface* notifier, const SaveOptions& options) override;
};

/// The process-wide IO manager: picks a driver by file extension or format
/// key and hands its messages back. It exists between `initializeKxSvg` and
/// the last `terminateKxSvg`. `options` and `messages` may be null (default
/// options; no messages wanted). Drivers are not owned.
class KXSVG_API kxSvgIOManager {
public:
    /// The instance, or null when the library is not initialised.
    static const kxSvgIOManager* get();
    static kxSvgIOManager* edit();

    /// Loads the file at `filePath`; the driver is chosen by its extension.
    /// With no driver: false and `messages` untouched. Otherwise `messages`
    /// is replaced by the driver's messages.
    bool loadSvg(ItemInterfacePointer<ItemInterface>& result, const std::string& filePath,
                 kxProgressNotifierInterface* notifier, const LoadOptions* options,
                 std::list<std::string>* messages) const;
    bool loadSvg(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device, const std::string& formatKey,
                 kxProgressNotifierInterface* notifier, const LoadOptions* options,
                 std::list<std::string>* messages) const;
    /// Saves `item`. With no driver: false and "No driver available to save
    /// '{formatKey}'" appended to `messages`. Otherwise `messages` is replaced
    /// by the driver's messages.
    bool saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string& formatKey,
                 kxProgressNotifierInterface* notifier, const SaveOptions* options,
                 std::list<std::string>* messages) const;
    bool saveSvg(const ItemInterface& item, const std::string& filePath, kxProgressNotifierInterface* notifier,
                 const SaveOptions* options, std::list<std::string>* messages) const;

    /// Adds a driver at the end (`append`) or at the front (asked first, so it wins ties).
    /// A null driver is ignored; a driver already registered is logged and left where it is.
    void registerDriver(kxCoreSvgIODriver* driver, bool append);
    /// Removes a driver, keeping the others' order; an unknown driver is logged.
    void unregisterDriver(kxCoreSvgIODriver* driver);
    /// The registered drivers in the order they are asked.
    const std::vector<kxCoreSvgIODriver*>& getDrivers() const { return m_drivers; }

    kxSvgIOManager(const kxSvgIOManager&) = delete;
    kxSvgIOManager& operator=(const kxSvgIOManager&) = delete;

private:
    friend void initializeKxSvg();
    friend void terminateKxSvg();

    kxSvgIOManager();
    ~kxSvgIOManager();

    kxCoreSvgIODriver* chooseLoadDriver(const std::string& formatKey) const;
    kxCoreSvgIODriver* chooseSaveDriver(const std::string& formatKey) const;

    static kxSvgIOManager* sThis;
    std::vector<kxCoreSvgIODriver*> m_drivers;
    // A second registry kept for layout compatibility with the framework's
    // other managers; nothing in this library reads or writes it.
    std::vector<kxCoreSvgIODriver*> m_reservedDrivers;
};

} // namespace svg
} // namespace kx

#endif
