// Tests of the SVG reader: number and transform parsing, the attribute
// handlers, the loader's nesting rules and messages, and the golden cases
// of tests/data/read (each input loaded strictly and leniently).
#include "read/AttributeHandlers.h"
#include "read/Loader.h"
#include "read/LoadDocument.h"
#include "read/ReadNumbers.h"

#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxStringUtils.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <fstream>
#include <sstream>

using namespace kx::svg;
using kx::svg::impl::ParseSvgFloat;
using kx::xml::XmlAttribute;

namespace {

// ---------------------------------------------------------------------------
// Helpers

using LoadRun = kxtest::Loaded;
const auto load = kxtest::LoadText;

std::string svg(const std::string& body, const std::string& rootAttributes = "")
{
    return "<svg" + rootAttributes + ">" + body + "</svg>";
}

template <class T>
const T& child(const ItemInterface& parent, size_t index = 0)
{
    const auto& children = dynamic_cast<const Node&>(parent).getChildren();
    auto it = children.begin();
    std::advance(it, std::min(index, children.size()));
    if (it == children.end()) throw std::runtime_error("missing child");
    return dynamic_cast<const T&>(**it);
}

template <class T>
const T& child(const ItemInterfacePointer<ItemInterface>& root, size_t index = 0)
{
    if (!root) throw std::runtime_error("no tree");
    return child<T>(*root, index);
}

// Handlers run on their own, without the XML layer.
struct HandlerRun {
    std::vector<std::string> messages;
    impl::MessageSink errors = [this](const std::string& m) { messages.push_back("error: " + m); };
    impl::MessageSink warnings = [this](const std::string& m) { messages.push_back("warning: " + m); };
    impl::AttributeContext context;
    explicit HandlerRun(bool lenient) : context(errors, warnings, lenient) {}

    bool process(ItemInterface& item, impl::AttributeHandler handler, const std::vector<XmlAttribute>& attributes)
    {
        return impl::ProcessAttributes(context, item, handler, attributes);
    }
};

} // namespace

// ---------------------------------------------------------------------------
// Numbers

TEST(ReadNumbers, SingleNumberFollowsStrtofRules)
{
    float v = -7.0f;
    EXPECT_TRUE(ParseSvgFloat("", v));
    EXPECT_EQ(v, 0.0f); // empty is deliberately accepted as 0
    EXPECT_TRUE(ParseSvgFloat("12.5", v));
    EXPECT_EQ(v, 12.5f);
    EXPECT_TRUE(ParseSvgFloat(" \t\n12", v)); // leading white space
    EXPECT_EQ(v, 12.0f);
    EXPECT_TRUE(ParseSvgFloat("-.5", v));
    EXPECT_EQ(v, -0.5f);
    EXPECT_TRUE(ParseSvgFloat("3.", v));
    EXPECT_EQ(v, 3.0f);
    EXPECT_TRUE(ParseSvgFloat("1e3", v));
    EXPECT_EQ(v, 1000.0f);
    EXPECT_TRUE(ParseSvgFloat("+4", v));
    EXPECT_EQ(v, 4.0f);
    EXPECT_TRUE(ParseSvgFloat("0x10", v)); // hexadecimal, as strtof reads it
    EXPECT_EQ(v, 16.0f);
    EXPECT_TRUE(ParseSvgFloat("0.1", v));
    EXPECT_EQ(v, 0.1f);
    EXPECT_TRUE(ParseSvgFloat("1e999", v)); // out of range: infinity, still consumed
    EXPECT_TRUE(std::isinf(v));
    EXPECT_TRUE(ParseSvgFloat("-inf", v));
    EXPECT_TRUE(std::isinf(v) && v < 0);
    EXPECT_TRUE(ParseSvgFloat("nan", v));
    EXPECT_TRUE(std::isnan(v));

    v = 42.0f;
    for (const char* bad : {"10 ", "   ", "-", ".", "1e", "abc", "1px", "1,5", "--1", "1 2"}) {
        EXPECT_FALSE(ParseSvgFloat(bad, v)) << bad;
        EXPECT_EQ(v, 42.0f) << bad; // unchanged on failure
    }
    EXPECT_FALSE(ParseSvgFloat(std::string_view("1\0" "2", 3), v));
    EXPECT_EQ(v, 42.0f);
}

TEST(ReadNumbers, FastPathMatchesStrtofBitForBit)
{
    auto same = [](const char* text) {
        float fast = 0.0f;
        char* end = nullptr;
        const float reference = strtof_l(text, &end, kxStringUtils::msCLocale);
        const bool consumed = *text == '\0' || (end != text && *end == '\0');
        const bool ok = ParseSvgFloat(text, fast);
        return ok == consumed && (!ok || std::memcmp(&fast, &reference, sizeof fast) == 0 ||
                                  (std::isnan(fast) && std::isnan(reference)));
    };
    for (const char* tricky :
         {"1e400", "-1e400", "1e-400", "1.4e-45", "7e-46", "1.17549435e-38", "3.4028235e38", "3.4028236e38",
          "340282356779733661637539395458142568448", "0.000000000000000000000000000000000000000000001401298464",
          "123456789012345678901234567890", "16777217", "-0", "-0.0e5", "00012", "1e+5", "1E5", ".5e-3", "5.e2",
          "1_0", "0b101", "1e5.5", "12abc", " -7", "\t.5", "1\n"})
        EXPECT_TRUE(same(tricky)) << tricky;
    // Random texts against strtof_l: PathNumber.FastPathMatchesStrtofOnGeneratedTexts
    // (the same conversion).
}

TEST(ReadNumbers, NumberListsSkipSeparatorRuns)
{
    float v[4] = {};
    size_t count = 0;
    std::string_view bad;
    EXPECT_TRUE(impl::ParseNumberList("0, 0, 100, 50", v, 4, count, bad));
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(v[2], 100.0f);
    EXPECT_EQ(v[3], 50.0f);
    EXPECT_TRUE(impl::ParseNumberList(" 0 0  100 50 ", v, 4, count, bad));
    EXPECT_EQ(count, 4u);
    EXPECT_TRUE(impl::ParseNumberList(",1,,\t2\r\n,", v, 4, count, bad));
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(v[1], 2.0f);
    EXPECT_TRUE(impl::ParseNumberList("1 2 3 4 5 6", v, 4, count, bad));
    EXPECT_EQ(count, 6u); // counted beyond the capacity
    EXPECT_TRUE(impl::ParseNumberList("", v, 4, count, bad));
    EXPECT_EQ(count, 0u);
    EXPECT_FALSE(impl::ParseNumberList("1 2 x3 4 y", v, 4, count, bad));
    EXPECT_EQ(bad, "x3");
}

// ---------------------------------------------------------------------------
// Attribute handlers

TEST(ReadAttributes, LookupAndDisplayNames)
{
    EXPECT_EQ(impl::LookupAttribute({"x", "", "1"}), impl::AttributeId::X);
    EXPECT_EQ(impl::LookupAttribute({"space", "xml", "preserve"}), impl::AttributeId::XmlSpace);
    EXPECT_EQ(impl::LookupAttribute({"href", "xlink", "a.png"}), impl::AttributeId::Unknown);
    EXPECT_EQ(impl::LookupAttribute({"X", "", "1"}), impl::AttributeId::Unknown);
    EXPECT_EQ(impl::LookupAttribute({"space", "", "preserve"}), impl::AttributeId::Unknown);
    EXPECT_EQ(impl::AttributeDisplayName({"href", "xlink", ""}), "xlink:href");
    EXPECT_EQ(impl::AttributeDisplayName({"d", "", ""}), "d");
}

TEST(ReadAttributes, DuplicatesAndLenientSkips)
{
    {
        HandlerRun run(false);
        Rect rect(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(1, 1));
        EXPECT_FALSE(run.process(rect, impl::HandleRectAttribute, {{"x", "", "1"}, {"x", "", "2"}}));
        EXPECT_EQ(run.messages, std::vector<std::string>{"error: Attribute \"x\" specified twice"});
        EXPECT_EQ(rect.getPosition().X(), 1.0f);
    }
    {
        HandlerRun run(false);
        Circle circle(Wm4::Vector2<float>(0, 0), 5);
        EXPECT_FALSE(run.process(circle, impl::HandleCircleAttribute, {{"fill", "", "red"}, {"fill", "", "red"}}));
        EXPECT_EQ(run.messages, std::vector<std::string>{"error: Attribute \"fill\" specified twice"});
    }
    {
        // A failed store does not count as seen.
        HandlerRun run(true);
        Text text(Wm4::Vector2<float>(0, 0), "");
        EXPECT_TRUE(run.process(text, impl::HandleTextAttribute,
                                {{"font-weight", "", "normal"}, {"font-weight", "", "bold"}, {"onclick", "", "f()"}}));
        EXPECT_EQ(run.messages,
                  (std::vector<std::string>{"warning: Ignore unsupported attribute \"font-weight\" with value \"normal\"",
                                            "warning: Ignore unsupported attribute \"onclick\" with value \"f()\""}));
        EXPECT_EQ(text.getBold(), std::optional<bool>(true));
    }
    {
        // The flags are cleared for each element.
        HandlerRun run(false);
        Circle a(Wm4::Vector2<float>(0, 0), 5), b(Wm4::Vector2<float>(0, 0), 5);
        EXPECT_TRUE(run.process(a, impl::HandleCircleAttribute, {{"r", "", ""}}));
        EXPECT_TRUE(run.process(b, impl::HandleCircleAttribute, {{"r", "", "3"}}));
        EXPECT_EQ(a.getRadius(), 0.0f); // empty is 0
        EXPECT_EQ(b.getRadius(), 3.0f);
    }
}

TEST(ReadAttributes, ElementHandlersCheckTheItemKind)
{
    // Element fields are pinned by the golden cases; here a handler meets an item of another kind.
    HandlerRun run(false);
    Rect rect(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(1, 1));
    EXPECT_FALSE(run.process(rect, impl::HandleCircleAttribute, {{"r", "", "1"}}));
    EXPECT_EQ(run.messages, std::vector<std::string>{
                                "error: Internal svg error, attribute \"r\" given to an item of another kind"});
    run.messages.clear();
    EXPECT_EQ(impl::HandleTextAttribute(run.context, rect, {"x", "", "1"}), 2);
    EXPECT_EQ(impl::HandleGroupAttribute(run.context, rect, {"x", "", "1"}), 2);
    Node group;
    EXPECT_EQ(impl::HandleGroupAttribute(run.context, group, {"x", "", "1"}), 1);
    EXPECT_EQ(rect.getPosition(), Wm4::Vector2<float>(0, 0));
}

TEST(ReadAttributes, PathData)
{
    HandlerRun run(false);
    Path path;
    ASSERT_TRUE(run.process(path, impl::HandlePathAttribute, {{"d", "", "M1 2L3 4z"}}));
    EXPECT_EQ(path.getCommands().size(), 3u);
    Path bad;
    EXPECT_FALSE(run.process(bad, impl::HandlePathAttribute, {{"d", "", "M 0 0 Q 1 1 2 2"}}));
    ASSERT_EQ(run.messages.size(), 1u);
    EXPECT_EQ(run.messages[0].rfind("error: Malformed path attribute, Unsupported command in path @", 0), 0u)
        << run.messages[0];
    EXPECT_EQ(run.messages[0].substr(run.messages[0].size() - 18), " : M 0 0 Q 1 1 2 2");
    EXPECT_EQ(bad.getCommands().size(), 1u); // commands before the fault stay
    // Bytes that are not UTF-8 are reported, never thrown.
    Path invalid;
    run.messages.clear();
    EXPECT_FALSE(run.process(invalid, impl::HandlePathAttribute, {{"d", "", "M 0 0 L \xff\xfe 1"}}));
    ASSERT_EQ(run.messages.size(), 1u);
    EXPECT_EQ(run.messages[0].rfind("error: Malformed path attribute, ", 0), 0u);
}

// ---------------------------------------------------------------------------
// Whole documents

TEST(ReadDocument, LoadsWholeDocuments)
{
    // The golden cases pin trees and messages; this checks the handles themselves.
    LoadRun empty = load("<svg/>", false);
    ASSERT_TRUE(empty.ok);
    ASSERT_TRUE(empty.root);
    EXPECT_EQ(empty.root->getType(), ItemType::Document);
    EXPECT_TRUE(static_cast<const Node&>(*empty.root).getChildren().empty());
    EXPECT_TRUE(empty.messages.empty());

    LoadRun run = load(svg("<g><text x='1'> a\n\tb <![CDATA[<c>]]>&amp;</text><style>.a{}</style></g>"), false);
    ASSERT_TRUE(run.ok) << ::testing::PrintToString(run.messages);
    // A closed "style" hands nothing to its group.
    ASSERT_EQ(child<Node>(run.root).getChildren().size(), 1u);
    EXPECT_EQ(child<Text>(child<Node>(run.root)).getContent(), " a\n\tb <c>&");
    EXPECT_EQ(static_cast<const Document&>(*run.root).getStyle(), std::optional<std::string>(".a{}"));
}

TEST(ReadDocument, BadXmlEndsInMessages)
{
    for (const std::string& text :
         {std::string("<svg><g></svg>"), std::string("<svg>"), std::string(""), std::string("<svg"),
          std::string("not xml"), std::string("<svg><rect x='1' x='2'/></svg>"), std::string("\xff\xfe<svg/>")}) {
        for (bool lenient : {false, true}) {
            LoadRun run = load(text, lenient);
            EXPECT_FALSE(run.ok) << text;
            EXPECT_FALSE(run.messages.empty()) << text;
            EXPECT_FALSE(run.root) << text;
        }
    }
}

TEST(ReadDocument, HugePathsAndAbsurdNumbers)
{
    std::string path = "M0 0";
    for (int i = 0; i < 200000; ++i) path += " L1 2";
    LoadRun run = load(svg("<path d='" + path + "'/>"), false);
    ASSERT_TRUE(run.ok) << ::testing::PrintToString(run.messages);
    EXPECT_EQ(child<Path>(run.root).getCommands().size(), 200001u);

    LoadRun absurd = load(svg("<rect x='1e999' width='-1e-999' height='0x1p3'/>"), false);
    ASSERT_TRUE(absurd.ok);
    EXPECT_TRUE(std::isinf(child<Rect>(absurd.root).getPosition().X()));
    EXPECT_EQ(child<Rect>(absurd.root).getSize(), Wm4::Vector2<float>(-0.0f, 8.0f));
}

// Event sequences replayed on a Loader directly.
TEST(ReadLoaderEvents, RootsEndTagsAndDiagnostics)
{
    std::vector<std::string> messages;
    impl::MessageSink errors = [&](const std::string& m) { messages.push_back("error: " + m); };
    impl::MessageSink warnings = [&](const std::string& m) { messages.push_back("warning: " + m); };
    std::string nothing;
    kxIoDeviceByteContainerReadOnly device(nothing.data(), 0);
    const std::vector<XmlAttribute> none;
    {
        // Two top-level elements give a group holding both roots.
        ItemInterfacePointer<ItemInterface> result;
        Loader loader(result, device, LoadOptions(), errors, warnings);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("rect", {{"id", "", "a"}}), 0);
        EXPECT_TRUE(loader.endElement("rect"));
        EXPECT_EQ(loader.startElement("g", none), 0);
        EXPECT_EQ(loader.startElement("circle", none), 0);
        EXPECT_TRUE(loader.characters("ignored", 7));
        EXPECT_TRUE(loader.endElement("circle"));
        EXPECT_TRUE(loader.endElement("g"));
        EXPECT_TRUE(loader.endDocument());
        EXPECT_TRUE(loader.succeeded());
        EXPECT_EQ(kxtest::DumpTree(result.get()), "g\n  rect id=a (0 0) size (1 1) r (0 0)\n  g\n    circle (0 0) r 0\n");
        EXPECT_TRUE(messages.empty());
    }
    {
        // The root end tag never arrives: the caller's result stays as it was.
        ItemInterfacePointer<ItemInterface> result = std::make_shared<Circle>(Wm4::Vector2<float>(1, 1), 1.0f);
        Loader loader(result, device, LoadOptions(), errors, warnings);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("svg", none), 0);
        EXPECT_EQ(loader.startElement("g", none), 0);
        EXPECT_TRUE(loader.endElement("g"));
        EXPECT_FALSE(loader.endDocument());
        EXPECT_FALSE(loader.succeeded());
        EXPECT_EQ(messages, std::vector<std::string>{"error: Some svg tags were not closed properly."});
        EXPECT_EQ(result->getType(), ItemType::Circle);
    }
    messages.clear();
    {
        ItemInterfacePointer<ItemInterface> result;
        Loader loader(result, device, LoadOptions(), errors, warnings);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_FALSE(loader.endElement("g"));
        EXPECT_FALSE(loader.characters("x", 1)); // no open element: the parse stops
        EXPECT_TRUE(loader.characters("x", 0));
        EXPECT_EQ(loader.startElement("svg", none), 0);
        EXPECT_EQ(loader.startElement("g", none), 0);
        EXPECT_FALSE(loader.endElement("svg"));
        EXPECT_EQ(loader.startElement(nullptr, none), 2);
        EXPECT_TRUE(loader.message("a warning", 4));
        EXPECT_FALSE(loader.message("an error", 2));
        EXPECT_FALSE(loader.message("a fatal error", 3));
        EXPECT_EQ(messages, (std::vector<std::string>{"error: End of element \"g\" unexpected",
                                                      "error: End of element \"svg\", expected closing of \"g\"",
                                                      "warning: a warning", "error: an error",
                                                      "error: a fatal error"}));
    }
    messages.clear();
    {
        // A second "svg" root is unsupported too: a document never ends up as a child.
        ItemInterfacePointer<ItemInterface> result;
        Loader loader(result, device, LoadOptions(), errors, warnings);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("svg", none), 0);
        EXPECT_TRUE(loader.endElement("svg"));
        EXPECT_EQ(loader.startElement("svg", none), 2);
        EXPECT_EQ(messages, std::vector<std::string>{"error: Found unsupported tag in svg : \"svg\""});
    }
    messages.clear();
    {
        // A fresh start discards what an earlier run left; missing sinks stay silent.
        ItemInterfacePointer<ItemInterface> result;
        Loader loader(result, device, LoadOptions(), impl::MessageSink(), impl::MessageSink());
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("rect", none), 0);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("svg", {{"viewBox", "", "1"}}), 2);
        ASSERT_TRUE(loader.startDocument());
        EXPECT_EQ(loader.startElement("style", {{"bogus", "", "1"}}), 0);
        EXPECT_FALSE(loader.characters("x", 1));
        EXPECT_FALSE(loader.endDocument());
        EXPECT_FALSE(result);
    }
}

// Every prefix of every golden input, and copies with bytes overwritten,
// either load or fail with a message.
TEST(ReadDocument, TruncatedAndDamagedInputs)
{
    const std::vector<std::string> files = kxtest::listSvgFiles(std::string(KXSVG_TEST_DATA_DIR) + "/read");
    ASSERT_FALSE(files.empty());
    unsigned seed = 12345;
    auto next = [&seed]() { return seed = seed * 1103515245u + 12345u; };
    const char noise[] = {'<', '>', '"', '\'', '/', '&', ';', ' ', '(', ')', 'M', 'Q', '0', '.', 'e', '-', '\0', '\xff'};
    for (const std::string& file : files) {
        std::string input;
        ASSERT_TRUE(kxtest::readFile(file, input));
        for (size_t cut = 0; cut < input.size(); ++cut) {
            const LoadRun run = load(input.substr(0, cut), (cut & 1) != 0);
            EXPECT_TRUE((run.ok && run.root) || !run.messages.empty()) << file << " cut at " << cut;
        }
        for (int round = 0; round < 50; ++round) {
            std::string damaged = input;
            for (int k = 0; k < 3; ++k) damaged[(next() >> 8) % damaged.size()] = noise[(next() >> 8) % sizeof noise];
            const LoadRun run = load(damaged, (round & 1) != 0);
            EXPECT_TRUE((run.ok && run.root) || !run.messages.empty()) << file << ": " << damaged;
        }
    }
}

// The public path: the manager picks the SVG driver, which runs this reader.
TEST(ReadDocument, ThroughTheManager)
{
    initializeKxSvg();
    ASSERT_NE(kxSvgIOManager::get(), nullptr);
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/read/";
    ItemInterfacePointer<ItemInterface> root;
    std::list<std::string> messages{"old"};
    EXPECT_TRUE(kxSvgIOManager::get()->loadSvg(root, dir + "text_offsets.svg", nullptr, nullptr, &messages));
    EXPECT_TRUE(messages.empty());
    ASSERT_TRUE(root);
    EXPECT_EQ(child<Text>(root).getPosition(), Wm4::Vector2<float>(12, 19));

    LoadOptions lenient;
    lenient.ignoreUnsupported = true;
    root.reset();
    EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(root, dir + "unsupported_tag.svg", nullptr, nullptr, &messages));
    EXPECT_EQ(messages, std::list<std::string>{"Found unsupported tag in svg : \"ellipse\""});
    EXPECT_FALSE(root);
    EXPECT_TRUE(kxSvgIOManager::get()->loadSvg(root, dir + "unsupported_tag.svg", nullptr, &lenient, &messages));
    EXPECT_EQ(messages, std::list<std::string>{"Ignore unsupported tag in svg : \"ellipse\""});
    EXPECT_TRUE(root);
    terminateKxSvg();
}

// ---------------------------------------------------------------------------
// Golden cases: tests/data/read/<case>.svg with <case>.strict.err and
// <case>.lenient.err. Each .err file holds the result ("true"/"false"), the
// messages one a line, then a line "--" and the tree. Set
// KXSVG_REGENERATE=1 to rewrite them from the current behaviour.

namespace {

std::string goldenText(const LoadRun& run)
{
    std::string text = run.ok ? "true\n" : "false\n";
    for (const std::string& m : run.messages) text += m + "\n";
    text += "--\n" + kxtest::DumpTree(run.root.get());
    return text;
}

} // namespace

TEST(ReadGolden, Cases)
{
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/read";
    const std::vector<std::string> files = kxtest::listSvgFiles(dir);
    ASSERT_FALSE(files.empty()) << "no golden cases in " << dir;
    for (const std::string& file : files) {
        std::string input;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        const std::string base = file.substr(0, file.size() - 4);
        for (bool lenient : {false, true}) {
            const std::string expectedFile = base + (lenient ? ".lenient.err" : ".strict.err");
            kxtest::ExpectGolden(goldenText(load(input, lenient)), expectedFile);
        }
    }
}
