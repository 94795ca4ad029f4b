// Library.cpp - nesting start-up and shut-down of the library.
#include <kx/svg/IOManager.h>
#include <kx/svg/Library.h>

#include "system/kxLibInitCounter.h"
#include <kx/xml/XmlLibrary.h>

#include <mutex>

namespace kx {
namespace svg {

namespace {

kx::impl::LibInitCounter gInitCounter("svg", true);

// Held for the whole of each call, so that a nested call made on another
// thread while the first one is still building the manager waits for it.
std::mutex gLifecycleMutex;

// The library's own driver, owned between the first initialisation and the
// last termination, and how many times it was registered.
kxSvgDriver* gDriver = nullptr;
int gDriverRegistrations = 0;

} // namespace

void initializeKxSvg()
{
    std::lock_guard<std::mutex> lock(gLifecycleMutex);
    if (!gInitCounter.incrementInitCounter())
        return;
    kx::xml::initializeXmlLibrary();
    kxSvgIOManager* manager = nullptr;
    kxSvgDriver* driver = nullptr;
    try {
        manager = new kxSvgIOManager();
        driver = new kxSvgDriver();
        manager->registerDriver(driver, true);
    } catch (...) {
        // Free what was built and leave the library as it was before this
        // call, then let the caller see the failure.
        delete driver;
        delete manager;
        kx::xml::finalizeXmlLibrary();
        gInitCounter.decrementInitCounter();
        throw;
    }
    kxSvgIOManager::sThis = manager;
    gDriver = driver;
    ++gDriverRegistrations;
}

void terminateKxSvg()
{
    std::lock_guard<std::mutex> lock(gLifecycleMutex);
    if (!gInitCounter.decrementInitCounter())
        return;
    kxSvgIOManager* manager = kxSvgIOManager::sThis;
    if (gDriver && gDriverRegistrations > 0) {
        if (manager)
            manager->unregisterDriver(gDriver);
        --gDriverRegistrations;
    }
    delete gDriver;
    gDriver = nullptr;
    kxSvgIOManager::sThis = nullptr;
    delete manager;
    kx::xml::finalizeXmlLibrary();
}

} // namespace svg
} // namespace kx
