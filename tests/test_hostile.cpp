// Hostile and extreme input through the whole library: huge and deep
// documents, absurd numbers, broken UTF-8, truncated files, and trees built in
// code far deeper than any recursion could survive (entity bombs and external
// entities are refused by the XML layer: test_xml).
#include "TestSupport.h"

#include <kx/svg/BoundingBox.h>
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/system/kxIoDevice.h>

#include <gtest/gtest.h>


#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <vector>

using namespace kx::svg;

namespace {

const char* const kSvgOpen = "<svg xmlns=\"http://www.w3.org/2000/svg\">";
const char* const kFillFailed = "Shape cannot be rendered. Only its contour will be visible.";

struct LoadRun {
    bool ok = false;
    ItemInterfacePointer<ItemInterface> root;
    std::vector<std::string> messages;
};

LoadRun loadFrom(kxIoDevice& device, bool lenient)
{
    kxSvgDriver driver;
    LoadOptions options;
    options.ignoreUnsupported = lenient;
    LoadRun run;
    run.ok = driver.loadSvg(run.root, device, "svg", nullptr, options);
    run.messages.assign(driver.getMessageList().begin(), driver.getMessageList().end());
    return run;
}

LoadRun load(const std::string& text, bool lenient = false)
{
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    return loadFrom(device, lenient);
}

std::string svg(const std::string& body) { return kSvgOpen + body + "</svg>"; }

bool saveToMemory(const ItemInterface& root, std::string& out)
{
    kxSvgDriver driver;
    out.clear();
    kxIoDeviceByteContainerWriteOnly device(out);
    return driver.saveSvg(root, device, "svg", nullptr, SaveOptions());
}

// Everything a caller may do with a loaded tree: save, measure, segment.
// Returns the number of primitives.
size_t exercise(const ItemInterface& root)
{
    std::string saved;
    saveToMemory(root, saved);
    BoundingBox box;
    ComputeEstimatedBoundingBox(root, box, nullptr, nullptr);
    TightBoxOptions ink;
    ink.includeStroke = true;
    ComputeTightBoundingBox(root, nullptr, nullptr, ink);
    const Node* node = dynamic_cast<const Node*>(&root);
    if (!node) return 0;
    SegmenterVisitor segmenter(*node);
    return segmenter.getSegmentedPrimitives().size();
}

size_t envSize(const char* name, size_t fallback)
{
    const char* value = std::getenv(name);
    if (!value || !*value) return fallback;
    return static_cast<size_t>(std::strtoull(value, nullptr, 10));
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

std::string joined(const std::vector<std::string>& messages)
{
    std::string all;
    for (const std::string& m : messages) all += m + "\n";
    return all;
}

} // namespace

TEST(HostileXml, HugeDocumentsAndValues)
{
    // Many small elements: the whole document is streamed and every element
    // kept. 20 MB by default; KXSVG_HOSTILE_MEGABYTES=100 for the full size.
    const size_t megabytes = envSize("KXSVG_HOSTILE_MEGABYTES", kSanitized ? 10 : 20);
    const std::string element = "<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" fill=\"#123456\"/>\n";
    const size_t count = megabytes * 1024 * 1024 / element.size();
    kxtest::GeneratedDocument device(kSvgOpen, element, count, "</svg>");
    const LoadRun run = loadFrom(device, false);
    ASSERT_TRUE(run.ok) << joined(run.messages);
    EXPECT_GE(uint64_t(device.produced), megabytes * 1024 * 1024 - element.size());
    ASSERT_TRUE(run.root);
    EXPECT_EQ(static_cast<const Node&>(*run.root).getChildren().size(), count);

    // One attribute over the XML layer's 10,000,000-byte limit.
    std::string data = "M0 0";
    while (data.size() <= 10000000) data += " L1 2";
    for (bool lenient : {false, true}) {
        const LoadRun big = load(svg("<path d=\"" + data + "\"/>"), lenient);
        EXPECT_FALSE(big.ok);
        ASSERT_FALSE(big.messages.empty());
        EXPECT_EQ(big.messages.back(), "AttValue length too long") << joined(big.messages);
    }
}

TEST(HostileXml, DeepNestingEndsCleanly)
{
    std::string body;
    for (int i = 0; i < 10000; ++i) body += "<g>";
    body += "<rect width=\"1\" height=\"1\"/>";
    for (int i = 0; i < 10000; ++i) body += "</g>";
    for (bool lenient : {false, true}) {
        const LoadRun run = load(svg(body), lenient);
        if (run.ok) {
            ASSERT_TRUE(run.root);
            EXPECT_EQ(exercise(*run.root), 1u);
        } else {
            // A libxml2 built with a lower depth limit refuses the document instead.
            EXPECT_FALSE(run.messages.empty());
        }
    }
}

TEST(HostileNumbers, HugeNegativeZeroNanAndInfinityFinish)
{
    const std::vector<std::string> numbers = {"1e39", "-1e39", "-0", "NaN", "nan", "inf", "-inf", "INF",
                                              "1e-50", "3.4028235e38", "0x10"};
    for (const std::string& n : numbers) {
        const std::string body =
            "<rect x=\"" + n + "\" y=\"0\" width=\"" + n + "\" height=\"10\" rx=\"" + n + "\" ry=\"" + n + "\"/>" +
            "<circle cx=\"0\" cy=\"" + n + "\" r=\"" + n + "\"/>" +
            "<line x1=\"" + n + "\" y1=\"0\" x2=\"1\" y2=\"" + n + "\"/>" +
            "<g transform=\"matrix(" + n + " 0 0 1 " + n + " 0) rotate(" + n + ") scale(" + n + ")\">" +
            "<path d=\"M0 0 L" + n + " 10 A" + n + " " + n + " " + n + " 1 1 5 " + n + " C1 2 " + n + " 4 5 6 Z\"/>" +
            "<rect width=\"5\" height=\"5\"/></g>";
        for (bool lenient : {false, true}) {
            const LoadRun run = load(svg(body), lenient);
            if (run.root) exercise(*run.root);
            EXPECT_TRUE(run.ok || !run.messages.empty()) << n;
        }
    }

    // An outline with a NaN vertex cannot be filled: the fill fails with the
    // message, the contour is kept, and later shapes are not segmented.
    Document document;
    auto path = std::make_shared<Path>();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    path->editCommands().emplace_back(Path::CommandType::MoveToAbs, std::vector<float>{0.0f, 0.0f});
    path->editCommands().emplace_back(Path::CommandType::LineToAbs, std::vector<float>{10.0f, 0.0f});
    path->editCommands().emplace_back(Path::CommandType::LineToAbs, std::vector<float>{nan, 10.0f});
    path->editCommands().emplace_back(Path::CommandType::ClosePath, std::vector<float>{});
    document.addChild(path, true);
    document.addChild(std::make_shared<Rect>(Wm4::Vector2<float>(0.0f, 0.0f), Wm4::Vector2<float>(1.0f, 1.0f)), true);
    kxtest::LogCapture log;
    SegmenterVisitor segmenter(document);
    EXPECT_TRUE(segmenter.hasError());
    ASSERT_EQ(segmenter.getSegmentedPrimitives().size(), 1u);
    EXPECT_TRUE(segmenter.getSegmentedPrimitives().front()->triangleIndices.empty());
    EXPECT_EQ(segmenter.getSegmentedPrimitives().front()->lineIndices.size(), 6u);
    EXPECT_EQ(log.messages(), std::vector<std::string>{kFillFailed});
}

TEST(HostileText, InvalidUtf8FailsTheSave)
{
    Document document;
    document.addChild(std::make_shared<Text>(Wm4::Vector2<float>(1.0f, 2.0f), std::string("ok \xff\xfe bad")), true);
    kxtest::LogCapture log;
    std::string saved;
    EXPECT_FALSE(saveToMemory(document, saved));
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Text content was not utf8"});
}

TEST(HostileInput, EveryPrefixOfADrawing)
{
    const std::string drawing =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 24 24\" fill=\"none\" stroke=\"#000\">\n"
        "  <g transform=\"translate(1 2) rotate(30)\" opacity=\"0.5\">\n"
        "    <path d=\"M3 3h18v18H3zM8 8l8 8m0-8-8 8\"/>\n"
        "    <circle cx=\"12\" cy=\"12\" r=\"4\" fill=\"rgb(10%,20%,30%)\"/>\n"
        "  </g>\n"
        "  <rect x=\"1\" y=\"1\" width=\"22\" height=\"22\" rx=\"2\"/>\n"
        "  <line x1=\"0\" y1=\"0\" x2=\"24\" y2=\"24\"/>\n"
        "  <text x=\"2\" y=\"20\">caf\xc3\xa9</text>\n"
        "</svg>\n";
    const LoadRun whole = load(drawing);
    ASSERT_TRUE(whole.ok) << joined(whole.messages);
    EXPECT_EQ(exercise(*whole.root), 4u);
    size_t loaded = 0;
    for (size_t cut = 0; cut < drawing.size(); ++cut) {
        const LoadRun run = load(drawing.substr(0, cut), (cut & 1) != 0);
        if (run.ok) {
            ASSERT_TRUE(run.root) << cut;
            exercise(*run.root);
            ++loaded;
        } else {
            EXPECT_FALSE(run.messages.empty()) << "cut at " << cut;
        }
    }
    // Only the prefixes that stop in the blank after the closing tag are whole documents.
    EXPECT_EQ(loaded, 1u);
}

// ------------------------------------------------------------------ deep trees built in code

TEST(DeepTree, MillionDeepChainCopiesSavesMeasuresSegmentsAndDies)
{
    // The stack is what matters: a sanitized build keeps the default stack
    // size, so a smaller chain there still proves the walks do not recurse.
    const size_t depth = envSize("KXSVG_DEEP_CHAIN", kSanitized ? 200000 : 1000000);
    auto document = std::make_shared<Document>();
    Node* current = document.get();
    for (size_t i = 0; i < depth; ++i) {
        auto group = std::make_shared<Node>();
        group->editTransform() = Wm4::Matrix3<float>(1, 0, 1, 0, 1, 0, 0, 0, 1); // one unit to the right
        current->addChild(group, true);
        current = group.get();
    }
    current->addChild(std::make_shared<Rect>(Wm4::Vector2<float>(0.0f, 0.0f), Wm4::Vector2<float>(2.0f, 3.0f)), true);

    {
        const Document copy(*document);
        size_t copiedDepth = 0;
        const Node* walk = &copy;
        while (!walk->getChildren().empty()) {
            walk = dynamic_cast<const Node*>(walk->getChildren().front().get());
            if (!walk) break;
            ++copiedDepth;
        }
        EXPECT_EQ(copiedDepth, depth);
    } // the copy dies here, as deep as the original

    kxIoDeviceNullWriteOnly sink;
    kxSvgDriver driver;
    EXPECT_TRUE(driver.saveSvg(*document, sink, "svg", nullptr, SaveOptions()));
    // Every group writes at least its start tag, its transform and its end tag.
    EXPECT_GT(sink.size(), static_cast<int64_t>(depth * 20));

    BoundingBox box;
    ComputeEstimatedBoundingBox(*document, box, nullptr, nullptr);
    EXPECT_EQ(box.getMinPoint(), Wm4::Vector2<float>(static_cast<float>(depth), 0.0f));
    EXPECT_EQ(box.getMaxPoint(), Wm4::Vector2<float>(static_cast<float>(depth) + 2.0f, 3.0f));
    EXPECT_EQ(ComputeTightBoundingBox(*document, nullptr, nullptr).box, box);

    SegmenterVisitor segmenter(*document);
    ASSERT_EQ(segmenter.getSegmentedPrimitives().size(), 1u);
    EXPECT_EQ(segmenter.getSegmentedPrimitives().front()->points.front(),
              Wm4::Vector2<float>(static_cast<float>(depth), 0.0f));

    document.reset();
}
