// IOManager.cpp - the IO manager: driver registry, driver choice by score,
// and the hand-over of the chosen driver's messages.
#include <kx/svg/IOManager.h>

#include <kx/system/kxDirUtils.h>
#include <kx/system/kxLog.h>

#include <algorithm>
#include <typeinfo>

namespace kx {
namespace svg {

kxSvgIOManager* kxSvgIOManager::sThis = nullptr;

namespace {

// The type name written in registration warnings: the drivers' base class as
// the compiler's type information spells it (GCC marks some names with a
// leading '*', which is dropped).
std::string driverTypeName()
{
    const char* name = typeid(kxCoreSvgIODriver).name();
    if (name && *name == '*')
        ++name;
    return name ? name : "";
}

void logDriverWarning(const std::string& text)
{
    if (kxLog::isLevelEnabled(2))
        kxLog::write(2, "driver", text);
}

// The first driver answering 2 wins, else the first answering 1. Every
// driver is asked, even once a 2 has been seen.
template <class Ask>
kxCoreSvgIODriver* chooseDriver(const std::vector<kxCoreSvgIODriver*>& drivers, Ask&& ask)
{
    kxCoreSvgIODriver* firstPreferred = nullptr;
    kxCoreSvgIODriver* firstCapable = nullptr;
    for (kxCoreSvgIODriver* driver : drivers) {
        const int score = ask(*driver);
        if (score == 2 && !firstPreferred)
            firstPreferred = driver;
        else if (score == 1 && !firstCapable)
            firstCapable = driver;
    }
    return firstPreferred ? firstPreferred : firstCapable;
}

// Runs `call` on `driver` with the caller's options (defaults when there are
// none), then hands the driver's messages over, replacing `messages`.
template <class Options, class Call>
bool RunDriver(kxCoreSvgIODriver& driver, const Options* options, std::list<std::string>* messages, Call&& call)
{
    const Options chosen = options ? *options : Options();
    const bool ok = call(driver, chosen);
    if (messages)
        driver.getMessages(*messages, true);
    return ok;
}

bool NoSaveDriver(const std::string& formatKey, std::list<std::string>* messages)
{
    if (messages)
        messages->push_back("No driver available to save '" + formatKey + "'");
    return false;
}

} // namespace

kxSvgIOManager::kxSvgIOManager() = default;

kxSvgIOManager::~kxSvgIOManager() = default;

const kxSvgIOManager* kxSvgIOManager::get() { return sThis; }

kxSvgIOManager* kxSvgIOManager::edit() { return sThis; }

kxCoreSvgIODriver* kxSvgIOManager::chooseLoadDriver(const std::string& formatKey) const
{
    // The device is never shown to the drivers, and they see default options.
    const std::pair<kxIoDevice*, std::string> query(nullptr, formatKey);
    const LoadOptions defaults;
    return chooseDriver(m_drivers, [&](const kxCoreSvgIODriver& d) { return d.canLoad(query, defaults); });
}

kxCoreSvgIODriver* kxSvgIOManager::chooseSaveDriver(const std::string& formatKey) const
{
    const SaveOptions defaults;
    return chooseDriver(m_drivers, [&](const kxCoreSvgIODriver& d) { return d.canSave(formatKey, defaults); });
}

bool kxSvgIOManager::loadSvg(ItemInterfacePointer<ItemInterface>& result, const std::string& filePath,
                             kxProgressNotifierInterface* notifier, const LoadOptions* options,
                             std::list<std::string>* messages) const
{
    kxCoreSvgIODriver* driver = chooseLoadDriver(kxDirUtils::ExtractFileExtension(filePath, true, 1));
    if (!driver)
        return false;
    return RunDriver(*driver, options, messages, [&](kxCoreSvgIODriver& d, const LoadOptions& chosen) {
        return d.loadSvg(result, filePath, notifier, chosen);
    });
}

bool kxSvgIOManager::loadSvg(ItemInterfacePointer<ItemInterface>& result, kxIoDevice& device,
                             const std::string& formatKey, kxProgressNotifierInterface* notifier,
                             const LoadOptions* options, std::list<std::string>* messages) const
{
    kxCoreSvgIODriver* driver = chooseLoadDriver(formatKey);
    if (!driver)
        return false;
    return RunDriver(*driver, options, messages, [&](kxCoreSvgIODriver& d, const LoadOptions& chosen) {
        return d.loadSvg(result, device, formatKey, notifier, chosen);
    });
}

bool kxSvgIOManager::saveSvg(const ItemInterface& item, kxIoDevice& device, const std::string& formatKey,
                             kxProgressNotifierInterface* notifier, const SaveOptions* options,
                             std::list<std::string>* messages) const
{
    kxCoreSvgIODriver* driver = chooseSaveDriver(formatKey);
    if (!driver)
        return NoSaveDriver(formatKey, messages);
    return RunDriver(*driver, options, messages, [&](kxCoreSvgIODriver& d, const SaveOptions& chosen) {
        return d.saveSvg(item, device, formatKey, notifier, chosen);
    });
}

bool kxSvgIOManager::saveSvg(const ItemInterface& item, const std::string& filePath,
                             kxProgressNotifierInterface* notifier, const SaveOptions* options,
                             std::list<std::string>* messages) const
{
    const std::string formatKey = kxDirUtils::ExtractFileExtension(filePath, true, 1);
    kxCoreSvgIODriver* driver = chooseSaveDriver(formatKey);
    if (!driver)
        return NoSaveDriver(formatKey, messages);
    return RunDriver(*driver, options, messages, [&](kxCoreSvgIODriver& d, const SaveOptions& chosen) {
        return d.saveSvg(item, filePath, notifier, chosen);
    });
}

void kxSvgIOManager::registerDriver(kxCoreSvgIODriver* driver, bool append)
{
    if (!driver)
        return;
    if (std::find(m_drivers.begin(), m_drivers.end(), driver) != m_drivers.end()) {
        logDriverWarning("Weird error, driver " + driverTypeName() + " is already registered");
        return;
    }
    if (append)
        m_drivers.push_back(driver);
    else
        m_drivers.insert(m_drivers.begin(), driver);
}

void kxSvgIOManager::unregisterDriver(kxCoreSvgIODriver* driver)
{
    const auto it = std::find(m_drivers.begin(), m_drivers.end(), driver);
    if (it == m_drivers.end()) {
        logDriverWarning("Weird error, driver " + driverTypeName() + " has already been unregistered");
        return;
    }
    m_drivers.erase(it);
}

} // namespace svg
} // namespace kx
