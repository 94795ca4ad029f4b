// Replays the inputs the fuzzers found (fuzz/regressions/<target>/) and the
// fuzzers' seeds through the same target functions, built with the ordinary
// compiler, and pins what each minimised finding must do now.
#include "../fuzz/FuzzTargets.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using TargetFunction = int (*)(const uint8_t*, size_t);

std::vector<std::string> listFiles(const std::string& dir)
{
    std::vector<std::string> files;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(dir, missing))
        if (entry.path().filename() != ".gitkeep") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// Runs every file of fuzz/regressions/<target> and fuzz/seeds/<target>;
// returns how many ran. A finding that comes back aborts the program.
size_t replay(const std::string& target, TargetFunction function)
{
    size_t count = 0;
    for (const char* kind : {"regressions", "seeds"}) {
        for (const std::string& file : listFiles(std::string(KXSVG_SOURCE_DIR) + "/fuzz/" + kind + "/" + target)) {
            std::string bytes;
            EXPECT_TRUE(kxtest::readFile(file, bytes)) << file;
            SCOPED_TRACE(file);
            function(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    return count;
}

} // namespace

TEST(FuzzRegressions, ReplayEveryTarget)
{
    kxtest::LogCapture log;
    EXPECT_GT(replay("path_data", kxfuzz::fuzzPathData), 0u);
    EXPECT_GT(replay("load", kxfuzz::fuzzLoad), 0u);
    EXPECT_GT(replay("values", kxfuzz::fuzzValues), 0u);
    EXPECT_GT(replay("triangulate", kxfuzz::fuzzTriangulate), 0u);
    EXPECT_GT(replay("simple", kxfuzz::fuzzSimple), 0u);
    EXPECT_GT(replay("preflight", kxfuzz::fuzzPreflight), 0u);
}

// A document whose bytes cannot be decoded failed without saying why: the
// decoding error went to libxml2's global output only.
TEST(FuzzRegressions, fuzzing_test_case_01)
{
    const char raw[] = "<\0\0\0\0\0\0\0/=\"img\" viewBox=\"0 0 2406 9.706 5.61c.091-.698 3.007 1.5<!ENTITY27 3\"/></svg>";
    const std::string input(raw, sizeof raw - 1);
    for (bool lenient : {false, true}) {
        const kxtest::Loaded outcome = kxtest::LoadText(input, lenient);
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.messages, std::vector<std::string>{"error: XML parser error"});
    }
}

// The triangulation target's independent area is what its checks rest on.
TEST(FuzzRegressions, CoveredAreaOfTheTriangulationCheck)
{
    using kx::TriangulationFillRule;
    const std::vector<Wm4::Vector2<float>> squares = {{0, 0},   {20, 0},  {20, 20}, {0, 20},
                                                      {5, 5},   {15, 5},  {15, 15}, {5, 15}};
    const std::vector<unsigned int> sameWay = {0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4};
    const std::vector<unsigned int> reversed = {0, 1, 1, 2, 2, 3, 3, 0, 5, 4, 6, 5, 7, 6, 4, 7};
    EXPECT_DOUBLE_EQ(kxfuzz::coveredArea(squares, sameWay, TriangulationFillRule::EvenOdd), 300.0);
    EXPECT_DOUBLE_EQ(kxfuzz::coveredArea(squares, sameWay, TriangulationFillRule::NonZero), 400.0);
    EXPECT_DOUBLE_EQ(kxfuzz::coveredArea(squares, reversed, TriangulationFillRule::NonZero), 300.0);

    // A bow tie: two triangles of 25 meeting at the crossing.
    const std::vector<Wm4::Vector2<float>> bowTie = {{0, 0}, {10, 10}, {10, 0}, {0, 10}};
    const std::vector<unsigned int> edges = {0, 1, 1, 2, 2, 3, 3, 0};
    EXPECT_DOUBLE_EQ(kxfuzz::coveredArea(bowTie, edges, TriangulationFillRule::EvenOdd), 50.0);
    EXPECT_DOUBLE_EQ(kxfuzz::coveredArea(bowTie, edges, TriangulationFillRule::NonZero), 50.0);
}
