// test_write.cpp - number formatting, attribute helpers, item serialisation,
// path data and the document save routine.
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/WriterHelpers.h>

#include "write/PathDataWriter.h"
#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>
#include <kx/system/kxSoftwareVersion.h>
#include <kx/system/kxStringUtils.h>
#include <kx/xml/XmlSaveContext.h>

#include <libxml/xmlwriter.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <regex>
#include <sstream>

using namespace kx::svg;
using kx::xml::XmlSaveContext;

namespace {

// The reference: a classic-locale stream in fixed notation, then the trimming rules.
std::string StreamReference(float value, int precision)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::fixed << std::setprecision(precision < 0 ? 6 : precision) << static_cast<double>(value);
    std::string text = stream.str();
    if (text.find('.') != std::string::npos) {
        while (!text.empty() && text.back() == '0') text.pop_back();
        if (!text.empty() && text.back() == '.') text.pop_back();
    }
    if (text == "-0") text = "0";
    return text;
}

std::string Fmt(float value, int precision = -1)
{
    SaveOptions options;
    options.floatPrecision = precision;
    return Helpers::floatToSvgNumber(value, options);
}

// Runs `body` inside an element "e" and returns the XML text written.
std::string WriteInElement(const SaveOptions& options,
                           const std::function<bool(XmlSaveContext&, const SaveOptions&)>& body,
                           bool* bodyResult = nullptr)
{
    XmlSaveContext context(false);
    xmlTextWriterStartElement(context.getWriter(), reinterpret_cast<const xmlChar*>("e"));
    const bool ok = body(context, options);
    if (bodyResult) *bodyResult = ok;
    xmlTextWriterEndElement(context.getWriter());
    std::string out;
    kxIoDeviceByteContainerWriteOnly device(out);
    context.flushBufferToDevice(device, 0);
    return out;
}

std::string PathData(const Path::Commands& commands, bool formatted)
{
    SaveOptions options;
    options.formatOutput = formatted;
    std::string d;
    impl::BuildPathData(commands, options, d);
    return d;
}

bool Save(const ItemInterface& root, const SaveOptions& options, std::string& out)
{
    out.clear();
    kxIoDeviceByteContainerWriteOnly device(out);
    return impl::SaveSvgDocument(root, device, options);
}

SaveOptions NoHead()
{
    SaveOptions options;
    options.writeFlag = false;
    return options;
}

// A device that accepts at most `limit` bytes in all, then reports an error.
class LimitedDevice : public kxIoDevice {
public:
    explicit LimitedDevice(int64_t limit) : m_limit(limit) {}
    int64_t readBytes(void*, int64_t) override { return 0; }
    int64_t writeBytes(const void*, int64_t count) override
    {
        const int64_t taken = std::min(count, m_limit - m_written);
        m_written += taken;
        if (taken < count) setDeviceError("full");
        return taken;
    }
    bool isEndOfData() const override { return false; }
    int64_t written() const { return m_written; }

private:
    int64_t m_limit;
    int64_t m_written = 0;
};

std::shared_ptr<Path> MakePath(const std::string& d)
{
    auto path = std::make_shared<Path>();
    std::string error;
    EXPECT_TRUE(ConvertPathStringToCommands(d, path->editCommands(), &error)) << error;
    return path;
}

// A document with every item kind, every presentation attribute, a style
// sheet and paths from strings.
std::shared_ptr<Document> BuildFullDocument()
{
    auto doc = std::make_shared<Document>();
    doc->editViewbox() = BoundingBox(Wm4::Vector2<float>(-10, -20.5f), Wm4::Vector2<float>(190, 79.5f));
    doc->editStyle() = ".a { fill: red; }";
    doc->editId() = "doc";

    auto group = std::make_shared<Node>();
    group->editId() = "all-properties";
    group->editTransform() = Wm4::Matrix3<float>(2, 0.5f, 10, -0.25f, 1.5f, -5, 0, 0, 1);
    RenderingProperties& p = group->editRenderingProperties();
    p.opacity = 0.75f;
    p.strokeWidth = 1.5f;
    p.strokeOpacity = 0.25f;
    p.stroke = "rgb(10, 20, 30)";
    p.strokeLinecap = LineCap::Square;
    p.strokeLinejoin = LineJoin::MiterClip;
    p.strokeDasharray = std::vector<UnitValue>{UnitValue(5, Unit::Px), UnitValue(50, Unit::Percent),
                                               UnitValue(0.125f, Unit::None), UnitValue(1, Unit::Em)};
    p.className = "a b";
    p.fill = "#00ff00";
    p.fillOpacity = 0.5f;
    p.vectorEffect = NonScalingStroke | FixedPosition;
    doc->addChild(group, true);

    auto line = std::make_shared<Line>(Wm4::Vector2<float>(0, 1), Wm4::Vector2<float>(-3.5f, 0));
    line->editRenderingProperties().strokeLinecap = LineCap::Round;
    line->editRenderingProperties().strokeLinejoin = LineJoin::Arcs;
    group->addChild(line, true);
    auto rect = std::make_shared<Rect>(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(10, 20));
    rect->editRx() = 2;
    rect->editRenderingProperties().strokeLinejoin = LineJoin::Round;
    rect->editRenderingProperties().vectorEffect = 0;
    group->addChild(rect, true);
    auto circle = std::make_shared<Circle>(Wm4::Vector2<float>(0, 7), 3.25f);
    circle->editRenderingProperties().strokeLinejoin = LineJoin::Bevel;
    circle->editRenderingProperties().strokeDasharray = std::vector<UnitValue>{};
    group->addChild(circle, true);

    auto text = std::make_shared<Text>(Wm4::Vector2<float>(1, 2), "Tom & \"Jerry\" <3 \xC3\xA9t\xC3\xA9");
    text->editFontFamily() = "Noto Sans";
    text->editFontSize() = 12.5f;
    text->editTextLength() = UnitValue(30, Unit::Mm);
    text->editXmlSpacePreserve() = true;
    text->editBold() = true;
    text->editItalic() = true;
    text->editUnderline() = true;
    group->addChild(text, true);
    auto plainText = std::make_shared<Text>(Wm4::Vector2<float>(0, 0), "");
    plainText->editBold() = false;
    plainText->editXmlSpacePreserve() = false;
    group->addChild(plainText, true);

    auto image = std::make_shared<Image>();
    image->editPosition() = Wm4::Vector2<float>(4, 0);
    image->editSize() = Wm4::Vector2<float>(16, 9);
    image->editHref() = "data:image/png;base64,AAAA";
    image->editPreserveAspectRatio() = Image::AspectRatio::XMaxYMid;
    doc->addChild(image, true);

    auto paths = std::make_shared<Node>();
    paths->addChild(MakePath("M 10 20 L 30 -40 l 1 1 1 1 H 5 h -5 V 2 v 0.5 Z"), true);
    paths->addChild(MakePath("m 0 0 0.5 0.5 C 1 2 3 4 5 6 7 8 9 10 11 12 S 1 1 2 2 s 3 3 4 4 c -1 -2 -3 -4 -5 -6"), true);
    paths->addChild(MakePath("M 0 0 A 5 5 30 1 0 10 10 5 5 0 0 1 20 20 a 1 2 3 0 1 4 5 Z"), true);
    doc->addChild(paths, true);
    return doc;
}

std::string DataPath(const std::string& name)
{
    return std::string(KXSVG_TEST_DATA_DIR) + "/write/" + name;
}

void ExpectMatchesFile(const std::string& actual, const std::string& name)
{
    kxtest::ExpectGolden(actual, DataPath(name));
}

} // namespace

// ------------------------------------------------------------------ numbers

// tests/data/write/numbers.txt: one "value precision" a line (values as
// strtof reads them in the classic locale); numbers.out adds the text written.
// 5e-7 as a float lies just below its tie and 1.5e-6 just above; ties at
// precision 0 go to even; 10 at precision 0 has no point, so no trimming.
TEST(FloatToSvgNumberTest, PinnedTexts)
{
    std::string input, actual;
    ASSERT_TRUE(kxtest::readFile(DataPath("numbers.txt"), input));
    std::istringstream lines(input);
    for (std::string value, precision; lines >> value >> precision;) {
        const float v = strtof_l(value.c_str(), nullptr, kxStringUtils::msCLocale);
        actual += value + " " + precision + " -> " + Fmt(v, std::stoi(precision)) + "\n";
    }
    kxtest::ExpectGolden(actual, DataPath("numbers.out"));

    std::string text = "x=";
    Helpers::appendSvgNumber(text, 1.5f, SaveOptions());
    EXPECT_EQ(text, "x=1.5");
}

TEST(FloatToSvgNumberTest, MatchesAClassicLocaleStream)
{
    std::vector<float> values = {0.5f,     1.25f,  2.5e-7f, 2.5f,     0.05f,   0.15f,   0.25f,   0.35f,
                                 1e20f,    3.4e38f, FLT_MAX, FLT_MIN, -0.0f,   -1e-7f,  -4e-7f,  -5e-7f,
                                 -6e-7f,   1e-45f, 999999.5f, 9.9999995f, 0.9999999f, 123456.789f, 16777216.0f,
                                 16777217.0f, std::numeric_limits<float>::quiet_NaN(),
                                 -std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity()};
    // Every bit pattern class: random exponents and mantissas, both signs.
    std::mt19937 random(12345);
    for (int i = 0; i < 60000; ++i) {
        const uint32_t bits = static_cast<uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
    }
    // Decimal ties at every precision used below (k + 0.5) / 10^p.
    for (int p = 0; p <= 6; ++p)
        for (int k = 0; k < 200; ++k) values.push_back(static_cast<float>((k + 0.5) / std::pow(10.0, p)));

    const int precisions[] = {-1, 0, 1, 2, 3, 6, 9, 17, 40, 149, 150, 400};
    int mismatches = 0;
    for (int precision : precisions) {
        // The long precisions are slow through the stream: test fewer values.
        const std::size_t count = precision > 20 ? 3000 : values.size();
        for (std::size_t i = 0; i < count && mismatches < 10; ++i) {
            const std::string expected = StreamReference(values[i], precision);
            const std::string actual = Fmt(values[i], precision);
            if (actual != expected) {
                ++mismatches;
                ADD_FAILURE() << "value bits " << std::hexfloat << values[i] << " precision " << precision
                              << ": got " << actual << ", stream gives " << expected;
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(FloatToSvgNumberTest, IgnoresTheGlobalLocale)
{
    // A global C++ locale with a decimal comma must not leak into the output.
    struct CommaPunct : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
        char do_thousands_sep() const override { return '.'; }
    };
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new CommaPunct));
    EXPECT_EQ(Fmt(1234567.5f), "1234567.5");
    std::locale::global(previous);
}

// ------------------------------------------------------------------ attribute helpers

TEST(WriterHelpersTest, AttributeTexts)
{
    SaveOptions options;
    EXPECT_EQ(WriteInElement(options,
                             [](XmlSaveContext& c, const SaveOptions& o) {
                                 return Helpers::writeAttributeString(c, o, "a", "x<&\"y") &&
                                        Helpers::writeAttributeString(c, o, "b", std::string("")) &&
                                        Helpers::writeAttributeFloatValue(c, o, "f", -12.5f) &&
                                        Helpers::writeAttributeBox(c, o, "box", 0, 0, 100, 50.5f) &&
                                        Helpers::writeAttributeUnitValue(c, o, "u", UnitValue(5, Unit::Px)) &&
                                        Helpers::writeAttributeUnitValue(c, o, "n", UnitValue(0.5f, Unit::UnitEnd)) &&
                                        Helpers::writeAttributeUnitValues(
                                            c, o, "us", {UnitValue(5, Unit::Px), UnitValue(50, Unit::Percent)}) &&
                                        Helpers::writeAttributeUnitValues(c, o, "empty", {}) &&
                                        Helpers::writeAttributeUnsignedInt(c, o, "uint", 18446744073709551615ull) &&
                                        Helpers::writeAttributeSignedInt(c, o, "int", INT64_MIN) &&
                                        Helpers::writeAttributeSignedInt(c, o, "zero", 0);
                             }),
              "<e a=\"x&lt;&amp;&quot;y\" b=\"\" f=\"-12.5\" box=\"0 0 100 50.5\" u=\"5px\" n=\"0.5\" "
              "us=\"5px 50%\" empty=\"\" uint=\"18446744073709551615\" int=\"-9223372036854775808\" zero=\"0\"/>");

    options.floatPrecision = 1;
    EXPECT_EQ(WriteInElement(options,
                             [](XmlSaveContext& c, const SaveOptions& o) {
                                 return Helpers::writeAttributeTransform(c, o, "i", Wm4::Matrix3<float>::IDENTITY) &&
                                        Helpers::writeAttributeTransform(c, o, "t",
                                                                         Wm4::Matrix3<float>(1, 0, 10, 0, 1, -5, 0, 0, 1)) &&
                                        Helpers::writeAttributeTransform(
                                            c, o, "m", Wm4::Matrix3<float>(1, 2, 3, 4, 5, 6.04f, 7, 8, 9));
                             }),
              "<e i=\"matrix(1 0 0 1 0 0)\" t=\"matrix(1 0 0 1 10 -5)\" m=\"matrix(1 4 2 5 3 6)\"/>");
}

TEST(WriterHelpersTest, FailureIsLogged)
{
    kxtest::LogCapture log;
    XmlSaveContext context(false);
    // No element is open: libxml2 refuses an attribute here.
    EXPECT_FALSE(Helpers::writeAttributeString(context, SaveOptions(), "a", "b"));
    EXPECT_FALSE(Helpers::writeAttributeFloatValue(context, SaveOptions(), "a", 1.0f));
    EXPECT_FALSE(Helpers::writeAttributeString(context, SaveOptions(), "a", static_cast<const char*>(nullptr)));
    ASSERT_EQ(log.entries().size(), 3u);
    for (const auto& entry : log.entries()) {
        EXPECT_EQ(entry.level, 2);
        EXPECT_EQ(entry.message, "Failed to write attribute");
    }
}

// ------------------------------------------------------------------ items

// ------------------------------------------------------------------ path data

TEST(PathDataTest, ArgumentVectorsAndFlags)
{
    Path::Commands commands;
    // The pattern repeats over the whole vector, so every number is written.
    commands.emplace_back(Path::CommandType::MoveToAbs, std::vector<float>{1, 2, 3, 4, 5});
    // Arc flags: exactly 0 writes "0", anything else (NaN too) "1".
    commands.emplace_back(Path::CommandType::EllipticalArcRel,
                          std::vector<float>{1, 1, 0, -0.0f, std::nanf(""), 2, 3, 1, 1, 0, 0.25f, 0, 4, 5});
    commands.emplace_back(Path::CommandType::ClosePath, std::vector<float>{7, 8});
    commands.emplace_back(static_cast<Path::CommandType>(15), std::vector<float>{9});
    commands.emplace_back(Path::CommandType::HLineToRel, std::vector<float>{-1.5f});
    EXPECT_EQ(PathData(commands, false), "M1 2 3 4 5a1 1 0 0 1 2 3 1 1 0 1 0 4 5Zh-1.5");
    EXPECT_EQ(PathData(commands, true), "M 1 2 3 4 5 a 1 1 0 0 1 2 3 1 1 0 1 0 4 5 Z h -1.5");

    Path::Commands first;
    first.emplace_back(Path::CommandType::LineToAbs, std::vector<float>{1, 2});
    first.emplace_back(Path::CommandType::LineToAbs, std::vector<float>{3, 4});
    EXPECT_EQ(PathData(first, false), "L1 2 3 4");
}

// ------------------------------------------------------------------ save routine

TEST(SaveDocumentTest, HeadCommentsAndDeclaration)
{
    Document doc;
    std::string out;
    ASSERT_TRUE(Save(doc, NoHead(), out));
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"/>\n");

    SaveOptions options;
    options.author = "Ann";
    ASSERT_TRUE(Save(doc, options, out));
    const std::string version = kx::GetSoftwareVersionForStream().toString();
    const std::regex head("<\\?xml version=\"1\\.0\" encoding=\"UTF-8\"\\?>\n"
                          "<!--Exporter : ([^>]*)--><!--Datetime : "
                          "(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)--><!--Author : Ann-->"
                          "<svg xmlns=\"http://www.w3.org/2000/svg\"/>\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(out, match, head)) << out;
    EXPECT_EQ(match[1].str(), version);

    options.formatOutput = true;
    options.writeFlag = false;
    ASSERT_TRUE(Save(doc, options, out));
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!--Author : Ann-->\n"
                   "<svg xmlns=\"http://www.w3.org/2000/svg\"/>\n");

    // Any item can be the root.
    Circle circle(Wm4::Vector2<float>(0, 0), 1);
    ASSERT_TRUE(Save(circle, NoHead(), out));
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<circle r=\"1\"/>\n");
}

TEST(SaveDocumentTest, FullTreeMatchesExpectedFiles)
{
    auto doc = BuildFullDocument();
    std::string out;
    SaveOptions options = NoHead();
    ASSERT_TRUE(Save(*doc, options, out));
    ExpectMatchesFile(out, "full-tree.out");
    options.formatOutput = true;
    ASSERT_TRUE(Save(*doc, options, out));
    ExpectMatchesFile(out, "full-tree.formatted.out");
    options.formatOutput = false;
    options.floatPrecision = 1;
    ASSERT_TRUE(Save(*doc, options, out));
    ExpectMatchesFile(out, "full-tree.precision1.out");

    // A copy saves to the same text.
    Document copy(*doc);
    std::string copyOut;
    ASSERT_TRUE(Save(copy, options, copyOut));
    EXPECT_EQ(copyOut, out);
}

TEST(SaveDocumentTest, FailuresStopTheSave)
{
    kxtest::LogCapture log;
    Document doc;
    auto group = std::make_shared<Node>();
    group->addChild(std::make_shared<Text>(Wm4::Vector2<float>(0, 0), "\xC0\x80"), true);
    doc.addChild(group, true);
    doc.addChild(std::make_shared<Circle>(Wm4::Vector2<float>(0, 0), 1.0f), true);
    std::string out;
    EXPECT_FALSE(Save(doc, NoHead(), out));
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Text content was not utf8"});
    EXPECT_EQ(out.find("circle"), std::string::npos); // nothing after the failure was written

    // A device that stops taking bytes fails the save.
    auto big = std::make_shared<Document>();
    for (int i = 0; i < 2000; ++i) {
        const float at = static_cast<float>(i);
        big->addChild(std::make_shared<Rect>(Wm4::Vector2<float>(at, at), Wm4::Vector2<float>(1, 1)), true);
    }
    LimitedDevice device(10000);
    EXPECT_FALSE(impl::SaveSvgDocument(*big, device, NoHead()));
    LimitedDevice roomy(1 << 20);
    EXPECT_TRUE(impl::SaveSvgDocument(*big, roomy, NoHead()));
    EXPECT_GT(roomy.written(), 8192);

    // Empty child handles are skipped.
    Document holes;
    holes.editChildren().push_back(nullptr);
    holes.addChild(std::make_shared<Node>(), true);
    ASSERT_TRUE(Save(holes, NoHead(), out));
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"><g/></svg>\n");
}

TEST(SaveDocumentTest, SavesThroughTheManager)
{
    initializeKxSvg();
    const kxSvgIOManager* manager = kxSvgIOManager::get();
    ASSERT_NE(manager, nullptr);
    auto doc = BuildFullDocument();
    SaveOptions options = NoHead();
    std::list<std::string> messages{"old"};

    // To memory, compact and formatted.
    std::string out;
    kxIoDeviceByteContainerWriteOnly device(out);
    EXPECT_TRUE(manager->saveSvg(*doc, device, "svg", nullptr, &options, &messages));
    EXPECT_TRUE(messages.empty());
    ExpectMatchesFile(out, "full-tree.out");
    options.formatOutput = true;
    std::string formatted;
    kxIoDeviceByteContainerWriteOnly formattedDevice(formatted);
    EXPECT_TRUE(manager->saveSvg(*doc, formattedDevice, "svg", nullptr, &options, nullptr));
    ExpectMatchesFile(formatted, "full-tree.formatted.out");

    // To a file.
    const std::string path = testing::TempDir() + "kxsvg-write-test.svg";
    EXPECT_TRUE(manager->saveSvg(*doc, path, nullptr, &options, &messages));
    std::string fromFile;
    ASSERT_TRUE(kxtest::readFile(path, fromFile));
    EXPECT_EQ(fromFile, formatted);
    std::remove(path.c_str());

    // A failed write is reported as a failure.
    Document bad;
    bad.addChild(std::make_shared<Text>(Wm4::Vector2<float>(0, 0), "\xED\xA0\x80"), true);
    kxtest::LogCapture log;
    std::string badOut;
    kxIoDeviceByteContainerWriteOnly badDevice(badOut);
    EXPECT_FALSE(manager->saveSvg(bad, badDevice, "svg", nullptr, nullptr, &messages));
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Text content was not utf8"});
    terminateKxSvg();
}

// ------------------------------------------------------------------ file pairs

TEST(SaveDocumentTest, LoadedFilesSaveToExpectedTexts)
{
    // Each tests/data/write/<case>.svg is loaded and saved compact and
    // formatted; the texts must equal <case>.out and <case>.formatted.out.
    const std::vector<std::string> files = kxtest::listSvgFiles(DataPath(""));
    int cases = 0;
    for (const std::string& file : files) {
        const std::string name = file.substr(file.find_last_of('/') + 1, file.size() - file.find_last_of('/') - 5);
        std::string content;
        ASSERT_TRUE(kxtest::readFile(file, content));
        const kxtest::Loaded loaded = kxtest::LoadText(content);
        ASSERT_TRUE(loaded.ok && loaded.root && loaded.messages.empty()) << file << ::testing::PrintToString(loaded.messages);
        const ItemInterface& root = *loaded.root;
        SaveOptions options = NoHead();
        std::string out;
        ASSERT_TRUE(Save(root, options, out)) << file;
        ExpectMatchesFile(out, name + ".out");
        options.formatOutput = true;
        ASSERT_TRUE(Save(root, options, out)) << file;
        ExpectMatchesFile(out, name + ".formatted.out");
        ++cases;
    }
    EXPECT_EQ(cases, 4);
}
