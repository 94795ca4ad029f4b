// Hostile and extreme input: entity bombs, external entities, huge and deep
// documents, absurd numbers, broken UTF-8, truncated files, and trees built in
// code far deeper than any recursion could survive.
#include "TestSupport.h"

#include <kx/svg/BoundingBox.h>
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/system/kxIoDevice.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

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

// A byte source that writes a document of `count` identical elements as it
// is read, so that a huge input needs no huge buffer in the test.
class GeneratedDocument : public kxIoDevice {
public:
    GeneratedDocument(const std::string& element, size_t count) : m_element(element), m_remaining(count)
    {
        m_pending = kSvgOpen;
    }
    int64_t readBytes(void* buffer, int64_t count) override
    {
        char* out = static_cast<char*>(buffer);
        int64_t written = 0;
        while (written < count) {
            if (m_offset == m_pending.size()) {
                m_offset = 0;
                if (m_remaining > 0) {
                    --m_remaining;
                    m_pending = m_element;
                } else if (!m_closed) {
                    m_closed = true;
                    m_pending = "</svg>";
                } else {
                    m_pending.clear();
                    break;
                }
            }
            const size_t n = std::min<size_t>(static_cast<size_t>(count - written), m_pending.size() - m_offset);
            std::memcpy(out + written, m_pending.data() + m_offset, n);
            m_offset += n;
            written += static_cast<int64_t>(n);
        }
        m_produced += static_cast<uint64_t>(written);
        return written;
    }
    int64_t writeBytes(const void*, int64_t) override { return 0; }
    bool isEndOfData() const override { return m_closed && m_offset == m_pending.size(); }
    uint64_t produced() const { return m_produced; }

private:
    std::string m_element;
    size_t m_remaining;
    std::string m_pending;
    size_t m_offset = 0;
    bool m_closed = false;
    uint64_t m_produced = 0;
};

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

TEST(HostileXml, EntityBombsFailWithAMessage)
{
    // Billion laughs: ten levels of ten references each.
    std::string laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE svg [\n<!ENTITY lol \"lol\">\n";
    for (int i = 1; i <= 9; ++i) {
        laughs += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) laughs += "&lol" + (i == 1 ? std::string() : std::to_string(i - 1)) + ";";
        laughs += "\">\n";
    }
    laughs += "]>\n" + svg("<text x=\"0\" y=\"0\">&lol9;&lol9;&lol9;</text>");
    // Quadratic blowup: one 10 KB entity referenced a hundred thousand times.
    std::string quadratic = "<!DOCTYPE svg [<!ENTITY big \"" + std::string(10000, 'x') + "\">]>";
    std::string text = "<text x=\"0\" y=\"0\">";
    while (text.size() < 1024 * 1024) text += "&big;";
    quadratic += svg(text + "</text>");

    struct Case {
        const std::string* document;
        const char* message;
    };
    for (const Case& c : {Case{&laughs, "Detected an entity reference loop"},
                          Case{&quadratic, "Maximum entity amplification factor exceeded"}}) {
        for (bool lenient : {false, true}) {
            const LoadRun run = load(*c.document, lenient);
            EXPECT_FALSE(run.ok);
            ASSERT_FALSE(run.messages.empty());
            EXPECT_EQ(run.messages.back(), c.message) << joined(run.messages);
        }
    }
}

TEST(HostileXml, ExternalEntitiesAndDtdsAreNeverOpened)
{
    char path[] = "/tmp/kxsvg_hostile_secretXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const std::string secret = "HOSTILE-SECRET-CONTENT";
    ASSERT_EQ(write(fd, secret.data(), secret.size()), static_cast<ssize_t>(secret.size()));
    close(fd);

    // Every open of the file is seen by inotify, whoever makes it.
    const int watcher = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watcher, 0);
    ASSERT_GE(inotify_add_watch(watcher, path, IN_OPEN | IN_ACCESS), 0);

    const std::string file = std::string("file://") + path;
    const std::string plain = path;
    const std::string url = "http://127.0.0.1:9/secret.dtd";
    std::vector<std::string> documents;
    for (const std::string& target : {file, plain, url}) {
        const std::string text = "<text x=\"0\" y=\"0\">&xxe;</text>";
        documents.push_back("<!DOCTYPE svg [<!ENTITY xxe SYSTEM \"" + target + "\">]>" + svg(text));
        documents.push_back("<!DOCTYPE svg [<!ENTITY xxe SYSTEM \"" + target + "\">]>" +
                            svg("<g id=\"&xxe;\"/>"));
        documents.push_back("<!DOCTYPE svg [<!ENTITY % pe SYSTEM \"" + target + "\"> %pe;]>" + svg(""));
        documents.push_back("<!DOCTYPE svg SYSTEM \"" + target + "\">" + svg(text));
        documents.push_back("<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" \"" + target + "\">" + svg(""));
    }
    for (const std::string& document : documents) {
        for (bool lenient : {false, true}) {
            const LoadRun run = load(document, lenient);
            EXPECT_EQ(joined(run.messages).find(secret), std::string::npos) << document;
            if (run.root) {
                std::string saved;
                saveToMemory(*run.root, saved);
                EXPECT_EQ(saved.find(secret), std::string::npos) << document;
            }
            if (document.find("&xxe;") != std::string::npos) {
                EXPECT_FALSE(run.ok) << document;
                EXPECT_NE(joined(run.messages).find("Entity 'xxe' not defined"), std::string::npos)
                    << document << "\n" << joined(run.messages);
            }
        }
    }
    char events[4096];
    EXPECT_LT(read(watcher, events, sizeof events), 0) << "the entity file was opened";
    close(watcher);
    std::remove(path);
}

TEST(HostileXml, HugeDocumentsAndValues)
{
    // Many small elements: the whole document is streamed and every element
    // kept. 20 MB by default; KXSVG_HOSTILE_MEGABYTES=100 for the full size.
    const size_t megabytes = envSize("KXSVG_HOSTILE_MEGABYTES", kSanitized ? 10 : 20);
    const std::string element = "<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" fill=\"#123456\"/>\n";
    const size_t count = megabytes * 1024 * 1024 / element.size();
    GeneratedDocument device(element, count);
    const LoadRun run = loadFrom(device, false);
    ASSERT_TRUE(run.ok) << joined(run.messages);
    EXPECT_GE(device.produced(), megabytes * 1024 * 1024 - element.size());
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
