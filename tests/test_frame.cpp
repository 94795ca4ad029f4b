// test_frame.cpp - the library frame: start-up nesting, version texts, the IO
// manager's driver choice and messages, and the SVG driver's file forms.
#include <kx/svg/IOManager.h>
#include <kx/svg/Library.h>
#include <kx/svg/Version.h>
#include <kx/system/kxLog.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <atomic>
#include <thread>

using kx::svg::ItemInterface;
using kx::svg::ItemInterfacePointer;
using kx::svg::kxCoreSvgIODriver;
using kx::svg::kxSvgIOManager;
using kx::svg::LoadOptions;
using kx::svg::SaveOptions;

namespace {

// A driver whose scores and results are set by the test; it records how it was called.
class ScriptedDriver : public kxCoreSvgIODriver {
public:
    ScriptedDriver(std::string driverName, int scoreToLoad, int scoreToSave)
        : name(std::move(driverName)), loadScore(scoreToLoad), saveScore(scoreToSave)
    {
    }
    std::string name;
    int loadScore;
    int saveScore;
    bool result = true;
    mutable int asked = 0;
    mutable std::vector<std::string> keysSeen;
    mutable bool sawDevice = false;
    mutable bool sawNonDefaultOptions = false;
    std::vector<std::string> calls;
    bool lastIgnoreUnsupported = false;
    SaveOptions lastSaveOptions;

    int canLoad(const std::pair<kxIoDevice*, std::string>& query, const LoadOptions& options) const override
    {
        ++asked;
        keysSeen.push_back(query.second);
        sawDevice = sawDevice || query.first != nullptr;
        sawNonDefaultOptions = sawNonDefaultOptions || options.ignoreUnsupported;
        return loadScore;
    }
    int canSave(const std::string& formatKey, const SaveOptions& options) const override
    {
        ++asked;
        keysSeen.push_back(formatKey);
        sawNonDefaultOptions = sawNonDefaultOptions || options.floatPrecision != -1 || !options.author.empty();
        return saveScore;
    }
    bool loadSvg(ItemInterfacePointer<ItemInterface>&, const std::string& filePath, kxProgressNotifierInterface*,
                 const LoadOptions& options) override
    {
        return record("load-path " + filePath, options.ignoreUnsupported);
    }
    bool loadSvg(ItemInterfacePointer<ItemInterface>&, kxIoDevice&, const std::string& formatKey,
                 kxProgressNotifierInterface*, const LoadOptions& options) override
    {
        return record("load-device " + formatKey, options.ignoreUnsupported);
    }
    bool saveSvg(const ItemInterface&, const std::string& filePath, kxProgressNotifierInterface*,
                 const SaveOptions& options) override
    {
        lastSaveOptions = options;
        return record("save-path " + filePath, false);
    }
    bool saveSvg(const ItemInterface&, kxIoDevice&, const std::string& formatKey, kxProgressNotifierInterface*,
                 const SaveOptions& options) override
    {
        lastSaveOptions = options;
        return record("save-device " + formatKey, false);
    }

private:
    bool record(const std::string& call, bool ignoreUnsupported)
    {
        calls.push_back(call);
        lastIgnoreUnsupported = ignoreUnsupported;
        clearMessages();
        addMessage(name + " ran", -1);
        return result;
    }
};

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        kx::svg::initializeKxSvg();
        ASSERT_NE(kxSvgIOManager::get(), nullptr);
    }
    void TearDown() override
    {
        for (ScriptedDriver* d : registered)
            kxSvgIOManager::edit()->unregisterDriver(d);
        kx::svg::terminateKxSvg();
    }
    void add(ScriptedDriver& driver, bool append = true)
    {
        kxSvgIOManager::edit()->registerDriver(&driver, append);
        registered.push_back(&driver);
    }
    std::vector<ScriptedDriver*> registered;
};

const std::string kBaseTypeName = typeid(kxCoreSvgIODriver).name();

} // namespace

TEST(Lifecycle, InitialisationNests)
{
    EXPECT_EQ(kxSvgIOManager::get(), nullptr);
    kx::svg::initializeKxSvg();
    const kxSvgIOManager* first = kxSvgIOManager::get();
    ASSERT_NE(first, nullptr);
    ASSERT_EQ(first->getDrivers().size(), 1u);
    EXPECT_NE(dynamic_cast<kx::svg::kxSvgDriver*>(first->getDrivers()[0]), nullptr);

    kx::svg::initializeKxSvg();
    EXPECT_EQ(kxSvgIOManager::get(), first);
    EXPECT_EQ(first->getDrivers().size(), 1u);
    kx::svg::terminateKxSvg();
    EXPECT_EQ(kxSvgIOManager::get(), first);
    EXPECT_EQ(kxSvgIOManager::edit(), first);
    kx::svg::terminateKxSvg();
    EXPECT_EQ(kxSvgIOManager::get(), nullptr);
    EXPECT_EQ(kxSvgIOManager::edit(), nullptr);

    // An extra termination changes nothing but a log entry; a new start-up works again.
    {
        kxtest::LogCapture capture;
        kx::svg::terminateKxSvg();
        EXPECT_EQ(capture.messages(), std::vector<std::string>{"Library 'svg' terminated more often than initialised"});
    }
    kx::svg::initializeKxSvg();
    ASSERT_NE(kxSvgIOManager::get(), nullptr);
    EXPECT_EQ(kxSvgIOManager::get()->getDrivers().size(), 1u);
    kx::svg::terminateKxSvg();
    EXPECT_EQ(kxSvgIOManager::get(), nullptr);
}

TEST(Lifecycle, ConcurrentInitialisationsSeeAReadyManager)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            kx::svg::initializeKxSvg();
            if (kxSvgIOManager::get() && kxSvgIOManager::get()->getDrivers().size() == 1)
                ++ready;
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(ready.load(), 4);
    for (int t = 0; t < 4; ++t)
        kx::svg::terminateKxSvg();
    EXPECT_EQ(kxSvgIOManager::get(), nullptr);
}

TEST(Version, NumbersAndTexts)
{
    using kxSvg::Version;
    EXPECT_EQ(std::to_string(Version::GetMajor()) + "." + std::to_string(Version::GetMinor()) + "." +
                  std::to_string(Version::GetRelease()) + "." + std::to_string(Version::GetRevision()) + " " +
                  std::to_string(Version::GetYear()) + "-" + std::to_string(Version::GetMonth()),
              "3.0.0.1297 2026-2");
    const std::string commit = Version::GetCommitId();
    ASSERT_EQ(commit.size(), 16u);
    EXPECT_EQ(commit.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_STREQ(Version::GetDescStringMajorMinor(true), "3.0");
    EXPECT_STREQ(Version::GetDescStringMajorMinor(false), "3.0");
    EXPECT_STREQ(Version::GetDescStringMajorMinorRelease(true), "3.0.0");
    EXPECT_STREQ(Version::GetDescStringMajorMinorReleaseRevision(true, false), "3.0.0.1297");
    EXPECT_STREQ(Version::GetDescStringMajorMinorReleaseRevision(false, false), "3.0.0.1297");
    EXPECT_EQ(std::string(Version::GetDescStringMajorMinorReleaseRevision(true, true)), "3.0.0.1297 #" + commit);
    EXPECT_EQ(std::string(Version::GetDescStringMajorMinorReleaseRevisionDate()), "3.0.0.1297 #" + commit + " 2026-2");
    // Constant texts: the same pointer every time.
    EXPECT_EQ(Version::GetDescStringMajorMinorReleaseRevisionDate(), Version::GetDescStringMajorMinorReleaseRevisionDate());
    EXPECT_FALSE(Version::IsBeta() || Version::IsDebug() || Version::IsDev());
}

TEST_F(ManagerTest, PreferredDriverWinsAndEveryDriverIsAsked)
{
    ScriptedDriver capable("capable", 1, 1), preferredA("preferredA", 2, 2), preferredB("preferredB", 2, 2);
    add(capable);
    add(preferredA);
    add(preferredB);
    ItemInterfacePointer<ItemInterface> result;
    std::list<std::string> messages = {"old"};
    kxIoDeviceByteContainerReadOnly device("", 0);
    LoadOptions options;
    options.ignoreUnsupported = true;
    EXPECT_TRUE(kxSvgIOManager::get()->loadSvg(result, device, "xyz", nullptr, &options, &messages));
    EXPECT_EQ(preferredA.calls, std::vector<std::string>{"load-device xyz"});
    EXPECT_TRUE(preferredA.lastIgnoreUnsupported);
    EXPECT_TRUE(capable.calls.empty());
    EXPECT_TRUE(preferredB.calls.empty());
    EXPECT_EQ(messages, (std::list<std::string>{"preferredA ran"}));
    // Every driver was asked, with the key, no device and default options.
    EXPECT_EQ(capable.asked, 1);
    EXPECT_EQ(preferredB.asked, 1);
    EXPECT_EQ(preferredB.keysSeen, std::vector<std::string>{"xyz"});
    EXPECT_FALSE(capable.sawDevice || preferredA.sawDevice || preferredB.sawDevice);
    EXPECT_FALSE(capable.sawNonDefaultOptions || preferredA.sawNonDefaultOptions);

    // A driver registered at the front is asked first and wins the tie.
    ScriptedDriver front("front", 2, 2);
    add(front, false);
    EXPECT_EQ(kxSvgIOManager::get()->getDrivers().front(), &front);
    EXPECT_TRUE(kxSvgIOManager::get()->loadSvg(result, "a/b.xyz", nullptr, nullptr, &messages));
    EXPECT_EQ(front.calls, std::vector<std::string>{"load-path a/b.xyz"});
    EXPECT_FALSE(front.lastIgnoreUnsupported); // null options are the defaults
}

TEST_F(ManagerTest, CapableDriverUsedWhenNoneIsPreferred)
{
    ScriptedDriver never("never", 0, 0), capableA("capableA", 1, 1), capableB("capableB", 1, 1);
    add(never);
    add(capableA);
    add(capableB);
    capableA.result = false;
    ItemInterfacePointer<ItemInterface> result;
    std::list<std::string> messages;
    EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(result, "file.any", nullptr, nullptr, &messages));
    EXPECT_EQ(capableA.calls, std::vector<std::string>{"load-path file.any"});
    EXPECT_EQ(messages, (std::list<std::string>{"capableA ran"}));

    kx::svg::Document doc;
    SaveOptions options;
    options.author = "me";
    options.floatPrecision = 3;
    EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(doc, "out.any", nullptr, &options, nullptr));
    EXPECT_EQ(capableA.calls.back(), "save-path out.any");
    EXPECT_EQ(capableA.lastSaveOptions.author, "me");
    EXPECT_EQ(capableA.lastSaveOptions.floatPrecision, 3);
    EXPECT_FALSE(never.sawNonDefaultOptions || capableA.sawNonDefaultOptions); // scores see defaults

    std::string out;
    kxIoDeviceByteContainerWriteOnly device(out);
    EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(doc, device, "any", nullptr, nullptr, &messages));
    EXPECT_EQ(capableA.calls.back(), "save-device any");
    EXPECT_EQ(capableA.lastSaveOptions.floatPrecision, -1);
    EXPECT_TRUE(capableA.lastSaveOptions.writeFlag);
}

TEST_F(ManagerTest, NoDriverForLoadOrSave)
{
    ItemInterfacePointer<ItemInterface> result;
    std::list<std::string> messages = {"first", "second"};
    for (const char* path : {"picture.SVG", "picture.svgz", "picture", "dir.svg/picture"}) {
        EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(result, path, nullptr, nullptr, &messages)) << path;
        EXPECT_EQ(messages, (std::list<std::string>{"first", "second"})) << path;
    }
    kxIoDeviceByteContainerReadOnly device("<svg/>", 6);
    EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(result, device, "SVG", nullptr, nullptr, &messages));
    EXPECT_EQ(messages.size(), 2u);
    EXPECT_EQ(result, nullptr);

    kx::svg::Document doc;
    EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(doc, "picture.png", nullptr, nullptr, &messages));
    EXPECT_EQ(messages, (std::list<std::string>{"first", "second", "No driver available to save 'png'"}));
    std::string out;
    kxIoDeviceByteContainerWriteOnly sink(out);
    EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(doc, sink, "", nullptr, nullptr, &messages));
    EXPECT_EQ(messages.back(), "No driver available to save ''");
    EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(doc, "x.pdf", nullptr, nullptr, nullptr));
    EXPECT_EQ(out, "");
}

TEST_F(ManagerTest, RegistrationWarningsAreLogged)
{
    ScriptedDriver driver("d", 0, 0);
    kxtest::LogCapture capture;
    kxSvgIOManager::edit()->registerDriver(nullptr, true);
    kxSvgIOManager::edit()->registerDriver(&driver, true);
    kxSvgIOManager::edit()->registerDriver(&driver, false);
    EXPECT_EQ(kxSvgIOManager::get()->getDrivers().size(), 2u);
    EXPECT_EQ(kxSvgIOManager::get()->getDrivers().back(), &driver);
    kxSvgIOManager::edit()->unregisterDriver(&driver);
    kxSvgIOManager::edit()->unregisterDriver(&driver);
    EXPECT_EQ(kxSvgIOManager::get()->getDrivers().size(), 1u);

    ASSERT_EQ(capture.entries().size(), 2u);
    EXPECT_EQ(capture.entries()[0].level, 2);
    EXPECT_EQ(capture.entries()[0].tag, "driver");
    EXPECT_EQ(capture.entries()[0].message, "Weird error, driver " + kBaseTypeName + " is already registered");
    EXPECT_EQ(capture.entries()[1].message,
              "Weird error, driver " + kBaseTypeName + " has already been unregistered");
    EXPECT_EQ(kBaseTypeName, "N2kx3svg17kxCoreSvgIODriverE");
}

TEST(DriverMessages, LimitsAndLineNumbers)
{
    ScriptedDriver driver("d", 0, 0);
    driver.addMessage("x", 12);
    driver.addMessage("y", 0);
    driver.addMessage("z", -1);
    EXPECT_EQ(driver.getMessageList(), (std::list<std::string>{"x @12", "y @0", "z"}));

    driver.clearMessages();
    const std::string exact(1024, 'a');
    driver.addMessage(exact, -1);
    std::string longText(2000, 'b');
    longText[1019] = 'c';
    longText[1020] = 'd';
    driver.addMessage(longText, 7);
    ASSERT_EQ(driver.getMessageList().size(), 2u);
    EXPECT_EQ(driver.getMessageList().front(), exact);
    const std::string& cut = driver.getMessageList().back();
    EXPECT_EQ(cut, std::string(1019, 'b') + "c ... @7");

    driver.clearMessages();
    for (int i = 0; i < 1025; ++i)
        driver.addMessage("m" + std::to_string(i), -1);
    EXPECT_EQ(driver.getMessageList().size(), 1024u);
    EXPECT_EQ(driver.getMessageList().front(), "m1");
    EXPECT_EQ(driver.getMessageList().back(), "m1024");

    std::list<std::string> target = {"keep"};
    driver.clearMessages();
    driver.addMessage("a", -1);
    driver.getMessages(target, false);
    EXPECT_EQ(target, (std::list<std::string>{"keep", "a"}));
    driver.getMessages(target, true);
    EXPECT_EQ(target, (std::list<std::string>{"a"}));
    EXPECT_EQ(driver.getMessageList().size(), 1u);
}

// The SVG driver's path forms (its device forms: test_read, test_write).
TEST_F(ManagerTest, SvgDriverFileForms)
{
    const kxSvgIOManager* manager = kxSvgIOManager::get();
    ItemInterfacePointer<ItemInterface> result;
    std::list<std::string> messages = {"stale"};
    EXPECT_FALSE(manager->loadSvg(result, "/nonexistent-dir/missing.svg", nullptr, nullptr, &messages));
    EXPECT_EQ(messages, (std::list<std::string>{"Fail to open file"}));
    EXPECT_EQ(result, nullptr);

    kxtest::TempDir dir;
    kx::svg::Document doc;
    auto rect = std::make_shared<kx::svg::Rect>(Wm4::Vector2<float>(1, 2), Wm4::Vector2<float>(3, 4));
    rect->editId() = "r1";
    doc.addChild(rect, true);
    EXPECT_TRUE(manager->saveSvg(doc, dir.file("drawing.svg"), nullptr, nullptr, &messages));
    EXPECT_TRUE(messages.empty());
    EXPECT_TRUE(manager->loadSvg(result, dir.file("drawing.svg"), nullptr, nullptr, &messages));
    EXPECT_TRUE(messages.empty());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(kxtest::DumpTree(result.get()), "svg\n  rect id=r1 (1 2) size (3 4) r (0 0)\n");
}
