// Saving to a path replaces an existing file only when the save succeeded.
#include "TestSupport.h"

#include <kx/svg/Svg.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace kx::svg;

namespace {

class SafeSaveTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() / ("kxsvg-safe-save-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path dir;
};

std::string contentOf(const fs::path& p)
{
    std::string text;
    kxtest::readFile(p.string(), text);
    return text;
}

} // namespace

TEST_F(SafeSaveTest, FailedSaveLeavesTheExistingFileUntouched)
{
    const fs::path target = dir / "drawing.svg";
    const std::string original = "old content\n\x01\x02 kept byte for byte";
    std::ofstream(target, std::ios::binary) << original;
    ::chmod(target.c_str(), 0640);

    // Text that is not UTF-8 makes the writer fail part-way through the document.
    Document broken;
    broken.addChild(std::make_shared<Text>(Wm4::Vector2<float>(0, 0), std::string("\xff\xfe")), true);
    SaveOptions options;
    options.writeFlag = false;
    kxtest::LogCapture log;
    kxSvgDriver driver;
    EXPECT_FALSE(driver.saveSvg(broken, target.string(), nullptr, options));
    EXPECT_EQ(contentOf(target), original);
    EXPECT_EQ(entries(), std::vector<std::string>{"drawing.svg"}); // no temporary file is left behind
    EXPECT_TRUE(driver.getMessageList().empty());
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Text content was not utf8"});

    // A good save replaces it and keeps its permissions.
    Document good;
    good.addChild(std::make_shared<Circle>(Wm4::Vector2<float>(1, 2), 3.0f), true);
    EXPECT_TRUE(driver.saveSvg(good, target.string(), nullptr, options));
    EXPECT_EQ(contentOf(target), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<svg xmlns=\"http://www.w3.org/2000/svg\"><circle r=\"3\" cx=\"1\" cy=\"2\"/></svg>\n");
    EXPECT_EQ(entries(), std::vector<std::string>{"drawing.svg"});
    struct stat info;
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST_F(SafeSaveTest, UnwritablePlacesFailToOpen)
{
    Document doc;
    kxSvgDriver driver;
    std::list<std::string> messages;
    EXPECT_FALSE(driver.saveSvg(doc, (dir / "missing" / "a.svg").string(), nullptr, SaveOptions()));
    driver.getMessages(messages, true);
    EXPECT_EQ(messages, std::list<std::string>{"Fail to open file"});

    // A directory in the way of the target: the document is written, but it
    // cannot take the directory's place.
    fs::create_directories(dir / "taken.svg" / "inside");
    EXPECT_FALSE(driver.saveSvg(doc, (dir / "taken.svg").string(), nullptr, SaveOptions()));
    driver.getMessages(messages, true);
    EXPECT_EQ(messages, std::list<std::string>{"Fail to replace file"});
    EXPECT_EQ(entries(), std::vector<std::string>{"taken.svg"});
    EXPECT_TRUE(fs::is_directory(dir / "taken.svg" / "inside"));
}
