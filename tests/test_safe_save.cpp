// Saving to a path replaces an existing file only when the save succeeded.
#include "TestSupport.h"

#include <kx/svg/Svg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace kx::svg;

namespace {

std::vector<std::string> Entries(const kxtest::TempDir& dir)
{
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir.path())) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ContentOf(const std::string& path)
{
    std::string text;
    EXPECT_TRUE(kxtest::readFile(path, text)) << path;
    return text;
}

} // namespace

TEST(SafeSave, FailedSaveLeavesTheExistingFileUntouched)
{
    kxtest::TempDir dir;
    const std::string target = dir.file("drawing.svg");
    const std::string original = "old content\n\x01\x02 kept byte for byte";
    ASSERT_TRUE(kxtest::writeFile(target, original));
    ::chmod(target.c_str(), 0640);

    // Text that is not UTF-8 makes the writer fail part-way through the document.
    Document broken;
    broken.addChild(std::make_shared<Text>(Wm4::Vector2<float>(0, 0), std::string("\xff\xfe")), true);
    SaveOptions options;
    options.writeFlag = false;
    kxtest::LogCapture log;
    kxSvgDriver driver;
    EXPECT_FALSE(driver.saveSvg(broken, target, nullptr, options));
    EXPECT_EQ(ContentOf(target), original);
    EXPECT_EQ(Entries(dir), std::vector<std::string>{"drawing.svg"}); // no temporary file is left behind
    EXPECT_TRUE(driver.getMessageList().empty());
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Text content was not utf8"});

    // A good save replaces it and keeps its permissions.
    Document good;
    good.addChild(std::make_shared<Circle>(Wm4::Vector2<float>(1, 2), 3.0f), true);
    EXPECT_TRUE(driver.saveSvg(good, target, nullptr, options));
    EXPECT_EQ(ContentOf(target), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<svg xmlns=\"http://www.w3.org/2000/svg\"><circle r=\"3\" cx=\"1\" cy=\"2\"/></svg>\n");
    EXPECT_EQ(Entries(dir), std::vector<std::string>{"drawing.svg"});
    struct stat info;
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST(SafeSave, UnwritablePlacesFailToOpen)
{
    kxtest::TempDir dir;
    Document doc;
    kxSvgDriver driver;
    std::list<std::string> messages;
    EXPECT_FALSE(driver.saveSvg(doc, dir.file("missing/a.svg"), nullptr, SaveOptions()));
    driver.getMessages(messages, true);
    EXPECT_EQ(messages, std::list<std::string>{"Fail to open file"});

    // A directory in the way of the target: the document is written, but it
    // cannot take the directory's place.
    fs::create_directories(dir.file("taken.svg/inside"));
    EXPECT_FALSE(driver.saveSvg(doc, dir.file("taken.svg"), nullptr, SaveOptions()));
    driver.getMessages(messages, true);
    EXPECT_EQ(messages, std::list<std::string>{"Fail to replace file"});
    EXPECT_EQ(Entries(dir), std::vector<std::string>{"taken.svg"});
    EXPECT_TRUE(fs::is_directory(dir.file("taken.svg/inside")));
}
