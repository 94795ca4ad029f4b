// Hostile and extreme input through the whole library: huge and deep
// documents, absurd numbers, and trees built in code far deeper than any
// recursion could survive (entity bombs and external entities are refused by
// the XML layer: test_xml; truncated and damaged files: test_read).
#include "TestSupport.h"
#include "read/LoadDocument.h"

#include <kx/svg/BoundingBox.h>
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/system/kxIoDevice.h>

#include <gtest/gtest.h>


#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace kx::svg;

namespace {

std::string svg(const std::string& body) { return "<svg xmlns=\"http://www.w3.org/2000/svg\">" + body + "</svg>"; }

// Everything a caller may do with a loaded tree: save, measure, segment.
// Returns the number of primitives.
size_t exercise(const ItemInterface& root)
{
    kxIoDeviceNullWriteOnly sink;
    kxSvgDriver().saveSvg(root, sink, "svg", nullptr, SaveOptions());
    BoundingBox box;
    ComputeEstimatedBoundingBox(root, box, nullptr, nullptr);
    TightBoxOptions ink;
    ink.includeStroke = true;
    ComputeTightBoundingBox(root, nullptr, nullptr, ink);
    const Node* node = dynamic_cast<const Node*>(&root);
    return node ? SegmenterVisitor(*node).getSegmentedPrimitives().size() : 0;
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

} // namespace

TEST(HostileXml, HugeDocumentsAndValues)
{
    // Many small elements: the whole document is streamed in chunks of at
    // most 64 KiB and every element kept. 20 MB by default;
    // KXSVG_HOSTILE_MEGABYTES=100 for the full size.
    const size_t megabytes = envSize("KXSVG_HOSTILE_MEGABYTES", kSanitized ? 10 : 20);
    const std::string element = "<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" fill=\"#123456\"/>\n";
    const size_t count = megabytes * 1024 * 1024 / element.size();
    kxtest::GeneratedDocument device("<svg xmlns=\"http://www.w3.org/2000/svg\">", element, count, "</svg>");
    ItemInterfacePointer<ItemInterface> root;
    const impl::MessageSink ignore = [](const std::string&) {};
    ASSERT_TRUE(impl::LoadSvgDocument(root, device, LoadOptions(), ignore, ignore));
    EXPECT_GE(uint64_t(device.produced), megabytes * 1024 * 1024 - element.size());
    EXPECT_LE(device.largestRequest, 64 * 1024);
    ASSERT_TRUE(root);
    EXPECT_EQ(static_cast<const Node&>(*root).getChildren().size(), count);

    // One attribute over the XML layer's 10,000,000-byte limit.
    std::string data = "M0 0";
    while (data.size() <= 10000000) data += " L1 2";
    for (bool lenient : {false, true}) {
        const kxtest::Loaded big = kxtest::LoadText(svg("<path d=\"" + data + "\"/>"), lenient);
        EXPECT_FALSE(big.ok);
        EXPECT_EQ(big.messages, std::vector<std::string>{"error: AttValue length too long"});
    }
}

TEST(HostileXml, DeepNestingEndsCleanly)
{
    std::string body;
    for (int i = 0; i < 10000; ++i) body += "<g>";
    body += "<rect width=\"1\" height=\"1\"/>";
    for (int i = 0; i < 10000; ++i) body += "</g>";
    for (bool lenient : {false, true}) {
        const kxtest::Loaded run = kxtest::LoadText(svg(body), lenient);
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
            const kxtest::Loaded run = kxtest::LoadText(svg(body), lenient);
            if (run.root) exercise(*run.root);
            EXPECT_TRUE(run.ok || !run.messages.empty()) << n;
        }
    }
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
