// test_simple.cpp - the one-call layer: start-up, loading whatever the file
// name, saving, preflight, transforms, tree equality and path data.
#include <kx/svg/IOManager.h>
#include <kx/svg/Library.h>
#include <kx/svg/Simple.h>
#include <kx/system/kxLog.h>

#include "TestSupport.h"
#include "frame/SvgContent.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <unistd.h>

using namespace kx::svg;

namespace {

const char* const kDrawing = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 40 30\">"
                             "<g transform=\"translate(2 3)\" fill=\"#ff0000\"><rect x=\"1\" y=\"1\" width=\"330.2\" "
                             "height=\"4\"/><path d=\"M 0 0 L 10 0 L 10 10 Z\"/></g></svg>";

std::string Gzip(const std::string& text)
{
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, text.size()) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

SaveTextOptions Reproducible()
{
    SaveTextOptions options;
    options.save.writeFlag = false;
    return options;
}

} // namespace

// Runs first, in a process where nothing has initialised the library yet.
TEST(Simple, StartsTheLibraryAndCoexistsWithCallersOwnStartUp)
{
    ASSERT_EQ(kxSvgIOManager::get(), nullptr);
    EXPECT_TRUE(LoadBytes(kDrawing));
    ASSERT_NE(kxSvgIOManager::get(), nullptr);
    // A caller's own balanced pair leaves the layer's count in place.
    initializeKxSvg();
    terminateKxSvg();
    EXPECT_NE(kxSvgIOManager::get(), nullptr);
    EXPECT_TRUE(SaveString(*LoadBytes(kDrawing).document));

    // At exit the layer terminates its own count exactly once: a caller who
    // initialised first and terminated before exit sees no unbalanced call,
    // and nothing crashes in the exit handlers.
    EXPECT_EXIT(
        {
            kxLog::setSink([](int, const std::string&, const std::string& message) {
                if (message.find("more often") != std::string::npos) ::_exit(3);
            });
            initializeKxSvg();
            const bool ok = static_cast<bool>(LoadBytes(kDrawing));
            terminateKxSvg();
            std::exit(ok && kxSvgIOManager::get() ? 0 : 4);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Simple, LoadsSvgWhateverTheFileIsCalled)
{
    kxtest::TempDir dir;
    const LoadResult reference = LoadBytes(kDrawing);
    ASSERT_TRUE(reference);
    EXPECT_TRUE(reference.messages.empty());
    const std::string bom = "\xEF\xBB\xBF \r\n\t";
    const std::pair<const char*, std::string> files[] = {
        {"a.svg", kDrawing},        {"b.SVG", kDrawing},          {"c.Svg", kDrawing},
        {"noextension", kDrawing},  {"d.svgz", Gzip(kDrawing)},   {"e.SVGZ", Gzip(kDrawing)},
        {"f.svg", bom + kDrawing},  {"g.txt", Gzip(bom + kDrawing)}};
    for (const auto& [name, content] : files) {
        ASSERT_TRUE(kxtest::writeFile(dir.file(name), content));
        const LoadResult loaded = LoadFile(dir.file(name));
        ASSERT_TRUE(loaded) << name << ": " << (loaded.messages.empty() ? "" : loaded.messages.front());
        EXPECT_TRUE(loaded.messages.empty()) << name;
        EXPECT_TRUE(TreesEqual(*loaded.document, *reference.document)) << name;
    }
}

TEST(Simple, FailuresSayWhatHappened)
{
    kxtest::TempDir dir;
    const std::string png = "\x89PNG\r\n\x1a\n";
    const std::string gz = Gzip(kDrawing);
    const struct {
        const char* name;
        std::string content;
        std::string message;
    } cases[] = {
        {"picture.svg", png, "is not an SVG file: its content does not start with '<'"},
        {"empty.svg", "", "is empty"},
        {"cut.svgz", gz.substr(0, gz.size() / 2), "is gzip-compressed but ends before its compressed data does"},
        {"zipped-png.svgz", Gzip(png), "is not an SVG file: its content does not start with '<'"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(kxtest::writeFile(dir.file(c.name), c.content));
        const LoadResult loaded = LoadFile(dir.file(c.name));
        EXPECT_FALSE(loaded);
        EXPECT_EQ(loaded.document, nullptr);
        EXPECT_EQ(loaded.messages, std::vector<std::string>{"File '" + dir.file(c.name) + "' " + c.message});
    }
    EXPECT_EQ(LoadFile(dir.file("missing.svg")).messages,
              std::vector<std::string>{"Cannot read '" + dir.file("missing.svg") + "'"});
    EXPECT_EQ(LoadFile(dir.path()).messages, std::vector<std::string>{"Cannot read '" + dir.path() + "'"});
    EXPECT_EQ(LoadBytes("{}").messages,
              std::vector<std::string>{"Data is not an SVG file: its content does not start with '<'"});

    // Decompression is bounded, whatever the compression ratio.
    const std::string big(100000, ' ');
    std::string inflated;
    std::string_view text;
    std::vector<std::string> messages;
    EXPECT_FALSE(impl::DecodeSvgContent(Gzip("<svg>" + big), "Data", 4096, inflated, text, messages));
    EXPECT_EQ(messages, std::vector<std::string>{"Data expands to more than 4096 bytes when decompressed; it is refused"});

    // Strict by default; lenient loads keep the warnings beside the document.
    const char* unsupported = "<svg xmlns=\"http://www.w3.org/2000/svg\"><ellipse rx=\"1\" ry=\"2\"/></svg>";
    const LoadResult strict = LoadBytes(unsupported);
    EXPECT_FALSE(strict);
    EXPECT_FALSE(strict.messages.empty());
    LoadOptions lenient;
    lenient.ignoreUnsupported = true;
    const LoadResult skipped = LoadBytes(unsupported, lenient);
    ASSERT_TRUE(skipped);
    EXPECT_EQ(skipped.messages.size(), 1u);
    EXPECT_TRUE(skipped.document->getChildren().empty());
}

// Each call runs a driver of its own: threads never see each other's messages.
TEST(Simple, ConcurrentCallsKeepTheirOwnMessages)
{
    const std::string bad = "<svg xmlns=\"http://www.w3.org/2000/svg\"><ellipse/></svg>";
    const std::vector<std::string> expected = LoadBytes(bad).messages;
    ASSERT_FALSE(expected.empty());
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                const LoadResult r = (t + i) % 2 ? LoadBytes(bad) : LoadBytes(kDrawing);
                if ((t + i) % 2 ? r.messages != expected : !r || !r.messages.empty()) ++mismatches;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(Simple, SavesToFilesAndStringsAndReadsBackTheSameTree)
{
    kxtest::TempDir dir;
    const LoadResult loaded = LoadBytes(kDrawing);
    ASSERT_TRUE(loaded);

    const SaveResult text = SaveString(*loaded.document, Reproducible());
    ASSERT_TRUE(text);
    EXPECT_TRUE(text.messages.empty());
    EXPECT_NE(text.text.find("width=\"330.200012\""), std::string::npos) << text.text;
    SaveTextOptions shortest = Reproducible();
    shortest.shortestNumbers = true;
    const SaveResult shortText = SaveString(*loaded.document, shortest);
    EXPECT_NE(shortText.text.find("width=\"330.2\""), std::string::npos) << shortText.text;
    // Both read back as the same floats.
    EXPECT_TRUE(TreesEqual(*LoadBytes(text.text).document, *loaded.document));
    EXPECT_TRUE(TreesEqual(*LoadBytes(shortText.text).document, *loaded.document));

    for (const char* name : {"out.SVG", "out"}) {
        const SaveResult saved = SaveFile(*loaded.document, dir.file(name), shortest);
        ASSERT_TRUE(saved) << name;
        EXPECT_TRUE(saved.text.empty());
        std::string written;
        ASSERT_TRUE(kxtest::readFile(dir.file(name), written));
        EXPECT_EQ(written, shortText.text);
    }
    const std::string nowhere = dir.file("no/such/folder/out.svg");
    const SaveResult failed = SaveFile(*loaded.document, nowhere);
    EXPECT_FALSE(failed);
    EXPECT_EQ(failed.messages, (std::vector<std::string>{"Cannot save '" + nowhere + "'", "Fail to open file"}));

    // Deep equality sees every field and the order of children.
    const std::shared_ptr<Document> copy = std::make_shared<Document>(*loaded.document);
    EXPECT_TRUE(TreesEqual(*copy, *loaded.document));
    auto& group = static_cast<Node&>(*copy->editChildren().front());
    static_cast<Rect&>(*group.editChildren().front()).editRy() = 1.0f;
    EXPECT_FALSE(TreesEqual(*copy, *loaded.document));
    static_cast<Rect&>(*group.editChildren().front()).editRy() = 0.0f;
    group.editChildren().reverse();
    EXPECT_FALSE(TreesEqual(*copy, *loaded.document));
}

TEST(Simple, PreflightThenStrictLoad)
{
    kxtest::TempDir dir;
    const std::string wild = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"10\"><title>t</title>"
                             "<ellipse cx=\"5\" cy=\"5\" rx=\"4\" ry=\"2\" style=\"fill:red\"/></svg>";
    ASSERT_TRUE(kxtest::writeFile(dir.file("wild.svgz"), Gzip(wild)));
    EXPECT_FALSE(LoadBytes(wild));
    const PreflightResult preflighted = PreflightFile(dir.file("wild.svgz"));
    ASSERT_TRUE(preflighted);
    EXPECT_TRUE(preflighted.messages.empty());
    EXPECT_EQ(preflighted.report.count(PreflightChange::Dropped, "element \"title\""), 1u);
    const LoadResult loaded = LoadBytes(preflighted.text);
    ASSERT_TRUE(loaded) << preflighted.text;
    ASSERT_EQ(loaded.document->getChildren().size(), 1u);
    EXPECT_EQ(loaded.document->getChildren().front()->getType(), ItemType::Path);

    const PreflightResult broken = PreflightBytes("<svg><g></svg>");
    EXPECT_FALSE(broken);
    EXPECT_TRUE(broken.text.empty());
    EXPECT_FALSE(broken.messages.empty());
    EXPECT_EQ(PreflightFile(dir.file("missing")).messages,
              std::vector<std::string>{"Cannot read '" + dir.file("missing") + "'"});
}

TEST(Simple, TransformHelpersMatchTheReader)
{
    // Each operation as the reader reads it from a "transform" attribute.
    const LoadResult loaded = LoadBytes(
        "<svg xmlns=\"http://www.w3.org/2000/svg\"><g transform=\"translate(3 -4)\"/><g transform=\"scale(2 0.5)\"/>"
        "<g transform=\"rotate(30)\"/><g transform=\"rotate(-45 7 9)\"/><g transform=\"skewX(10)\"/>"
        "<g transform=\"skewY(-20)\"/></svg>");
    ASSERT_TRUE(loaded);
    const Wm4::Matrix3<float> made[] = {TranslateMatrix(3, -4), ScaleMatrix(2, 0.5f), RotateMatrix(30),
                                        RotateMatrix(-45, 7, 9), SkewXMatrix(10),      SkewYMatrix(-20)};
    auto read = loaded.document->getChildren().begin();
    for (const Wm4::Matrix3<float>& m : made) EXPECT_TRUE(m == *(*read++)->getTransform());

    const Wm4::Vector2<float> turned = Apply(RotateMatrix(90), Wm4::Vector2<float>(1, 0));
    EXPECT_EQ(turned, Wm4::Vector2<float>(0, 1));
    // About a centre: the centre stays, and Multiply applies its second matrix first.
    EXPECT_EQ(Apply(RotateMatrix(180, 7, 9), Wm4::Vector2<float>(7, 9)), Wm4::Vector2<float>(7, 9));
    EXPECT_EQ(Apply(Multiply(TranslateMatrix(1, 0), ScaleMatrix(2, 2)), Wm4::Vector2<float>(1, 1)),
              Wm4::Vector2<float>(3, 2));

    const Wm4::Matrix3<float> m = Multiply(RotateMatrix(-45, 7, 9), Multiply(SkewXMatrix(10), ScaleMatrix(2, 3)));
    Wm4::Matrix3<float> inverse;
    ASSERT_TRUE(Invert(m, inverse));
    const Wm4::Vector2<float> back = Apply(inverse, Apply(m, Wm4::Vector2<float>(5, -6)));
    EXPECT_NEAR(back.X(), 5.0f, 1e-5f);
    EXPECT_NEAR(back.Y(), -6.0f, 1e-5f);
    Wm4::Matrix3<float> untouched = Wm4::Matrix3<float>::ZERO;
    EXPECT_FALSE(Invert(ScaleMatrix(0, 1), untouched));
    EXPECT_TRUE(untouched == Wm4::Matrix3<float>::ZERO);
}

TEST(Simple, PathDataTextAndFaultPositions)
{
    const PathDataResult parsed = ParsePathData("M 1.5 2 3 4 A 5 5 0 1 0 9 9 h -2 z");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(PathDataText(parsed.commands), "M1.5 2 3 4A5 5 0 1 0 9 9h-2Z");
    SaveOptions spaced;
    spaced.formatOutput = true;
    EXPECT_EQ(PathDataText(parsed.commands, spaced), "M 1.5 2 3 4 A 5 5 0 1 0 9 9 h -2 Z");
    EXPECT_EQ(ParsePathData(PathDataText(parsed.commands)).commands, parsed.commands);

    const struct {
        const char* text;
        std::size_t position;
        const char* message;
        std::size_t commandsBefore;
    } faults[] = {
        // The parser's messages are pinned by its golden cases; these check what the call passes on.
        {"M 0 0 L Z", 6, "Expected numbers after L at position 6", 1},
        {"M 0 0 L 1 2, 3 4", 11, "Unsupported command in path @11 : , 3 4", 2},
        {"M 0 0 L 1 \xC3", 10, "Malformed UTF-8 at position 10", 0},
    };
    for (const auto& f : faults) {
        const PathDataResult r = ParsePathData(f.text);
        EXPECT_FALSE(r) << f.text;
        EXPECT_EQ(r.errorPosition, f.position) << f.text;
        EXPECT_EQ(r.errorMessage, f.message) << f.text;
        EXPECT_EQ(r.commands.size(), f.commandsBefore) << f.text;
    }
}

TEST(Simple, SegmentGoesOnPastAFailedFillAndKeepsItsItems)
{
    // A rectangle, a bow tie (its outline crosses itself) and a circle, in a
    // translated group that sets the fill.
    const LoadResult loaded = LoadBytes(
        "<svg xmlns=\"http://www.w3.org/2000/svg\"><g transform=\"translate(100 50)\" fill=\"#00ff00\">"
        "<rect width=\"10\" height=\"4\"/><path d=\"M 0 0 L 10 10 L 10 0 L 0 10 Z\"/>"
        "<g fill=\"none\"><circle r=\"3\"/></g></g><text x=\"1\" y=\"1\">t</text></svg>");
    ASSERT_TRUE(loaded);
    const auto& group = static_cast<const Node&>(*loaded.document->getChildren().front());
    const ItemInterface* rect = group.getChildren().front().get();
    const ItemInterface* bowTie = std::next(group.getChildren().begin())->get();

    kxtest::LogCapture quiet;
    SegmentationOptions plain;
    plain.stopAtFirstFailedFill = false;
    const SegmentResult goesOn = Segment(*loaded.document, plain);
    EXPECT_FALSE(goesOn);
    EXPECT_EQ(goesOn.failedFills, 1u);
    ASSERT_EQ(goesOn.items.size(), 3u);
    EXPECT_EQ(goesOn.items[0].item, rect);
    EXPECT_EQ(goesOn.items[1].item, bowTie);
    EXPECT_EQ(goesOn.items[2].item->getType(), ItemType::Circle);
    EXPECT_EQ(std::vector<bool>({goesOn.items[0].primitive.fillFailed, goesOn.items[1].primitive.fillFailed,
                                 goesOn.items[2].primitive.fillFailed}),
              std::vector<bool>({false, true, false}));
    EXPECT_FALSE(goesOn.items[1].primitive.points.empty());
    for (const SegmentedItem& item : goesOn.items) EXPECT_TRUE(item.worldTransform == TranslateMatrix(100, 50));
    EXPECT_EQ(goesOn.items[0].primitive.points.front(), Wm4::Vector2<float>(100, 50));
    EXPECT_DOUBLE_EQ(FillArea(goesOn.items[0].primitive), 40.0);
    EXPECT_EQ(FillArea(goesOn.items[2].primitive), 0.0); // fill="none"

    SegmentationOptions stops = plain;
    stops.stopAtFirstFailedFill = true;
    EXPECT_EQ(Segment(*loaded.document, stops).items.size(), 2u);
    // The default preset fills the bow tie as well.
    const SegmentResult real = Segment(*loaded.document);
    EXPECT_TRUE(real);
    ASSERT_EQ(real.items.size(), 3u);
    EXPECT_NEAR(FillArea(real.items[1].primitive), 50.0, 1e-3);

    // ForEachItem sees every item with the world transform and cascaded
    // attributes the segmenter used; a group's children can be skipped.
    std::vector<const ItemInterface*> seen;
    std::size_t checked = 0;
    ForEachItem(*loaded.document, [&](const ItemInterface& item, const Wm4::Matrix3<float>& world,
                                      const RenderingProperties& props) {
        seen.push_back(&item);
        for (const SegmentedItem& s : goesOn.items)
            if (s.item == &item && !s.primitive.fillFailed) {
                EXPECT_TRUE(world == s.worldTransform);
                EXPECT_TRUE(props == s.primitive.properties);
                ++checked;
            }
        return item.getType() != ItemType::Node || item.getRenderingProperties().fill != std::string("none");
    });
    EXPECT_EQ(checked, 1u); // the circle's group was skipped
    ASSERT_EQ(seen.size(), 5u);
    EXPECT_EQ(seen[0], &group);
    EXPECT_EQ(seen[4]->getType(), ItemType::Text);
}

// The README shows the snippets under examples/snippets verbatim; each is a
// program whose body takes at most five lines (CTest builds and runs them).
TEST(Simple, ReadmeShowsTheSnippetsVerbatim)
{
    std::string readme;
    ASSERT_TRUE(kxtest::readFile(std::string(KXSVG_SOURCE_DIR) + "/README.md", readme));
    for (const char* name : {"load_file", "memory_to_string", "triangle_area", "preflight_strict"}) {
        std::string snippet;
        ASSERT_TRUE(kxtest::readFile(std::string(KXSVG_SOURCE_DIR) + "/examples/snippets/" + name + ".cpp", snippet));
        EXPECT_NE(readme.find(snippet), std::string::npos) << name << " is not in the README as it is";
        const std::size_t open = snippet.find("\n{\n");
        const std::size_t close = snippet.rfind("\n}\n");
        ASSERT_TRUE(open != std::string::npos && close != std::string::npos && open < close) << name;
        std::size_t lines = 0;
        for (std::size_t i = open + 3; i <= close; ++i) lines += snippet[i] == '\n';
        EXPECT_LE(lines, 5u) << name;
    }
}
