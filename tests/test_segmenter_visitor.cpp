// The segmenter visitor: traversal order, composed transforms, cascaded
// properties, options and the fill-failure rules as golden cases, and what
// a document cannot express (deep trees: test_hostile; corpus: test_corpus).
#include <kx/svg/Segmentation.h>

#include <kx/svg/PathParser.h>
#include <kx/system/kxIoDevice.h>

#include "TestSupport.h"
#include "read/LoadDocument.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace kx::svg;
using Vec2 = Wm4::Vector2<float>;
using Mat3 = Wm4::Matrix3<float>;

Mat3 Translate(float x, float y) { return Mat3(1, 0, x, 0, 1, y, 0, 0, 1); }

template <class T, class... Args>
std::shared_ptr<T> Make(Args&&... args)
{
    return std::make_shared<T>(std::forward<Args>(args)...);
}

std::shared_ptr<Path> MakePath(const std::string& d)
{
    auto path = Make<Path>();
    EXPECT_TRUE(ConvertPathStringToCommands(d, path->editCommands(), nullptr)) << d;
    return path;
}

std::vector<std::shared_ptr<SegmentedPrimitive>> Primitives(SegmenterVisitor& visitor)
{
    return {visitor.getSegmentedPrimitives().begin(), visitor.getSegmentedPrimitives().end()};
}

TEST(SegmenterVisitor, SegmentObjectOnItsOwn)
{
    // A text is ignored; a shape whose fill fails returns false and keeps its outline.
    kxtest::LogCapture log;
    SegmenterVisitor direct(Document{});
    EXPECT_TRUE(direct.segmentObject(Text(Vec2(0, 0), "t"), Mat3::IDENTITY, RenderingProperties()));
    EXPECT_TRUE(direct.getSegmentedPrimitives().empty());
    EXPECT_FALSE(direct.segmentObject(*MakePath("M 0 0 L 10 10 L 10 0 L 0 10 Z"), Mat3::IDENTITY, RenderingProperties()));
    EXPECT_EQ(direct.getSegmentedPrimitives().size(), 1u);
}

TEST(SegmenterVisitor, CyclicTreeIsWalkedOnce)
{
    // A group that holds itself (possible through editChildren): its shapes
    // are segmented once and the walk ends. The cycle is broken afterwards so
    // that the nodes can be freed.
    Document doc;
    auto loop = Make<Node>();
    loop->editTransform() = Translate(1, 0);
    loop->addChild(Make<Line>(Vec2(0, 0), Vec2(1, 0)), true);
    loop->editChildren().push_back(loop);
    doc.addChild(loop, true);
    doc.addChild(loop, true); // the same group twice in a row is not a cycle
    SegmenterVisitor visitor(doc);
    std::vector<std::shared_ptr<SegmentedPrimitive>> prims = Primitives(visitor);
    ASSERT_EQ(prims.size(), 2u);
    EXPECT_EQ(prims[0]->points[0], Vec2(1, 0));
    EXPECT_EQ(prims[1]->points[0], Vec2(1, 0));
    loop->editChildren().pop_back();
}

// Everything a walk handed out, comparable exactly.
auto Output(SegmenterVisitor& v)
{
    std::vector<std::tuple<std::vector<Vec2>, std::vector<unsigned int>, std::vector<Vec2>, std::vector<unsigned int>,
                           bool, std::optional<std::string>>> out;
    for (const auto& p : v.getSegmentedPrimitives())
        out.emplace_back(p->points, p->lineIndices, p->trianglePoints, p->triangleIndices, p->fillFailed,
                         p->properties.stroke);
    return std::make_pair(v.hasError(), out);
}

TEST(SegmenterVisitor, DefaultOptionsGiveTheOneArgumentOutput)
{
    kxtest::LogCapture log;
    std::string content;
    ASSERT_TRUE(kxtest::readFile(std::string(KXSVG_SOURCE_DIR) + "/examples/data/badge.svg", content));
    const ItemInterfacePointer<ItemInterface> badge = kxtest::LoadText(content).root;
    ASSERT_TRUE(badge);
    const Node& badgeRoot = dynamic_cast<const Node&>(*badge);
    ASSERT_TRUE(kxtest::readFile(std::string(KXSVG_TEST_DATA_DIR) + "/segment/failed_fill.svg", content));
    const ItemInterfacePointer<ItemInterface> unfillable = kxtest::LoadText(content).root;
    ASSERT_TRUE(unfillable);
    for (const Node* root : {&badgeRoot, &dynamic_cast<const Node&>(*unfillable)}) {
        SegmenterVisitor plain(*root), defaults(*root, SegmentationOptions());
        EXPECT_TRUE(Output(plain) == Output(defaults));
    }
    // Resolving crossings changes nothing where every fill already succeeds.
    SegmenterVisitor plain(badgeRoot), real(badgeRoot, SegmentationOptions::realSvg());
    EXPECT_TRUE(Output(plain) == Output(real));
}

} // namespace

// ---------------------------------------------------------------- golden cases
// tests/data/segment/<case>.svg is loaded strictly and segmented once per
// line of <case>.options ("default", "realSvg" or name=value settings; one
// default run without the file). <case>.out lists, for each run, every
// primitive: its points, outline pairs, triangle count, fill area and
// properties, then the log lines and the visitor's error state.
// KXSVG_REGENERATE=1 rewrites them.

namespace {

bool ApplySetting(SegmentationOptions& options, const std::string& setting)
{
    if (setting == "default") return true;
    if (setting == "realSvg") {
        options = SegmentationOptions::realSvg();
        return true;
    }
    const size_t eq = setting.find('=');
    if (eq == std::string::npos) return false;
    const std::string name = setting.substr(0, eq), value = setting.substr(eq + 1);
    const std::pair<const char*, bool SegmentationOptions::*> flags[] = {
        {"resolveCrossings", &SegmentationOptions::resolveCrossings},
        {"stopAtFirstFailedFill", &SegmentationOptions::stopAtFirstFailedFill},
        {"cleanupContours", &SegmentationOptions::cleanupContours}};
    for (const auto& [flag, member] : flags)
        if (name == flag) return (options.*member = value == "true", value == "true" || value == "false");
    const std::pair<const char*, unsigned int SegmentationOptions::*> counts[] = {
        {"bezierMaxLeaves", &SegmentationOptions::bezierMaxLeaves},
        {"arcPieces", &SegmentationOptions::arcPieces},
        {"circlePieces", &SegmentationOptions::circlePieces}};
    for (const auto& [count, member] : counts)
        if (name == count) return (options.*member = unsigned(std::stoul(value)), true);
    if (name == "bezierTolerance") return (options.bezierTolerance = std::stof(value), true);
    if (name == "fillRule") {
        options.fillRule = value == "nonzero" ? kx::TriangulationFillRule::NonZero : kx::TriangulationFillRule::EvenOdd;
        return value == "nonzero" || value == "evenodd";
    }
    return false;
}

std::string Number(double v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", v == 0.0 ? 0.0 : v);
    return text;
}

std::string DescribeRun(const Node& root, const SegmentationOptions& options)
{
    kxtest::LogCapture log;
    SegmenterVisitor visitor(root, options);
    std::string out;
    size_t index = 0;
    for (const auto& p : visitor.getSegmentedPrimitives()) {
        out += "#" + std::to_string(index++) + " points " + std::to_string(p->points.size()) + ":";
        for (const Vec2& q : p->points) out += " (" + Number(q.X()) + " " + Number(q.Y()) + ")";
        out += "\n   pairs:";
        for (size_t i = 0; i + 1 < p->lineIndices.size(); i += 2)
            out += " " + std::to_string(p->lineIndices[i]) + "-" + std::to_string(p->lineIndices[i + 1]);
        out += "\n   fill: " + std::to_string(p->triangleIndices.size() / 3) + " triangles, area " +
               Number(kxtest::FillArea(*p)) + (p->fillFailed ? ", failed" : "") + "\n   properties:" +
               kxtest::DumpProperties(p->properties) + "\n";
    }
    for (const std::string& message : log.messages()) out += "log: " + message + "\n";
    out += std::string("error: ") + (visitor.hasError() ? "yes" : "no") + ", failed fills " +
           std::to_string(visitor.getFailedFillCount()) + "\n";
    return out;
}

} // namespace

TEST(SegmentGolden, Cases)
{
    const std::vector<std::string> files = kxtest::listSvgFiles(std::string(KXSVG_TEST_DATA_DIR) + "/segment");
    ASSERT_FALSE(files.empty());
    for (const std::string& file : files) {
        const std::string base = file.substr(0, file.size() - 4);
        std::string input, runs = "default\n", out;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        kxtest::readFile(base + ".options", runs);
        const kxtest::Loaded loaded = kxtest::LoadText(input);
        ASSERT_TRUE(loaded.ok && loaded.root) << file;
        std::istringstream lines(runs);
        for (std::string line; std::getline(lines, line);) {
            SegmentationOptions options;
            std::istringstream settings(line);
            for (std::string setting; settings >> setting;)
                EXPECT_TRUE(ApplySetting(options, setting)) << base << ".options: " << setting;
            out += "== " + line + "\n" + DescribeRun(dynamic_cast<const Node&>(*loaded.root), options);
        }
        kxtest::ExpectGolden(out, base + ".out");
    }
}
