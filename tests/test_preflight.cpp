// Tests of the preflight pass: path-data rewriting, colours and lengths, each
// document rewrite with its report entry and hostile input (the corpus run
// is part of test_corpus).
#include "preflight/PreflightPath.h"
#include "preflight/PreflightValues.h"
#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/svg/Items.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/Preflight.h>
#include <kx/svg/Segmentation.h>
#include <kx/system/kxIoDevice.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>

using namespace kx::svg;
using namespace kx::svg::preflight;

namespace {

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Preflight of a document whose output must load strictly.
std::string runPreflight(const std::string& svg, PreflightReport& report,
                      const PreflightOptions& options = PreflightOptions())
{
    std::string out;
    EXPECT_TRUE(PreflightSvg(svg, options, out, report)) << report.toText();
    const kxtest::Loaded load = kxtest::LoadText(out);
    EXPECT_TRUE(load.ok) << out << (load.messages.empty() ? "" : load.messages.front());
    return out;
}

} // namespace

// ---------------------------------------------------------------- golden cases
// tests/data/preflight/<case>.svg is the input; <case>.out holds the output
// document, a line "--" and the report; <case>.options, when present, sets
// options one "name=value" a line. KXSVG_REGENERATE=1 rewrites the .out files.

namespace {

// Applies one "name=value" line; false for an unknown name or a bad value.
bool setOption(PreflightOptions& options, const std::string& line)
{
    const size_t eq = line.find('=');
    if (eq == std::string::npos) return false;
    const std::string name = line.substr(0, eq), value = line.substr(eq + 1);
    const std::pair<const char*, bool PreflightOptions::*> flags[] = {
        {"keepIds", &PreflightOptions::keepIds},
        {"keepClasses", &PreflightOptions::keepClasses},
        {"approximatePaint", &PreflightOptions::approximatePaint},
        {"splitCrossingSubpaths", &PreflightOptions::splitCrossingSubpaths},
        {"honorFillRule", &PreflightOptions::honorFillRule},
    };
    for (const auto& [flagName, member] : flags) {
        if (name != flagName) continue;
        if (value != "true" && value != "false") return false;
        options.*member = value == "true";
        return true;
    }
    char* end = nullptr;
    const unsigned long number = std::strtoul(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0') return false;
    if (name == "maxReferenceDepth") options.maxReferenceDepth = int(number);
    else if (name == "maxInlinedElements") options.maxInlinedElements = number;
    else return false;
    return true;
}

} // namespace

TEST(PreflightGolden, Cases)
{
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/preflight";
    const std::vector<std::string> files = kxtest::listSvgFiles(dir);
    ASSERT_FALSE(files.empty()) << "no golden cases in " << dir;
    for (const std::string& file : files) {
        const std::string base = file.substr(0, file.size() - 4);
        std::string input, optionText;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        PreflightOptions options;
        if (kxtest::readFile(base + ".options", optionText)) {
            std::istringstream lines(optionText);
            for (std::string line; std::getline(lines, line);) {
                if (!line.empty()) {
                    EXPECT_TRUE(setOption(options, line)) << base << ".options: " << line;
                }
            }
        }
        std::string out;
        PreflightReport report;
        const bool ok = PreflightSvg(input, options, out, report);
        kxtest::ExpectGolden(out + "--\n" + report.toText(), base + ".out");
        if (!ok) continue;
        const kxtest::Loaded load = kxtest::LoadText(out);
        EXPECT_TRUE(load.ok) << file << ": " << (load.messages.empty() ? out : load.messages.front());
    }
}

// ---------------------------------------------------------------- values
// tests/data/preflight/values.txt holds one value a line, "<kind> <text>"
// ("\\t", "\\r" and "\\n" stand for those characters); values.out holds each
// line followed by what preflight makes of it. Every rewritten path must be
// taken by the strict parser.

namespace {

std::string Unescape(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        if (text[i] == '\\' && (next == 't' || next == 'r' || next == 'n')) {
            out += next == 't' ? '\t' : next == 'r' ? '\r' : '\n';
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string DescribeValue(const std::string& kind, const std::string& text)
{
    static const char* const kResults[] = {"kept", "converted", "approximated", "invalid"};
    std::string out;
    if (kind == "path") {
        PathRewriteStats stats;
        if (!RewritePathData(text, out, stats)) return "failed";
        std::list<Path::Command> commands;
        std::string error;
        if (!ConvertPathStringToCommands(out, commands, &error)) return "not strict (" + error + "): " + out;
        const std::pair<const char*, unsigned> counts[] = {{"quadratics", stats.quadratics},
                                                           {"smooth after quadratic", stats.smoothAfterQuadratic},
                                                           {"smooth reflections", stats.smoothReflections},
                                                           {"arc radii enlarged", stats.arcRadiiEnlarged},
                                                           {"truncated", stats.truncated ? 1u : 0u}};
        for (const auto& [name, count] : counts)
            if (count) out += std::string(" [") + name + " " + std::to_string(count) + "]";
        return out;
    }
    if (kind == "color") {
        const ColorResult result = NormalizeColor(text, out);
        return result == ColorResult::Invalid ? "invalid" : kResults[int(result)] + (" " + out);
    }
    if (kind == "length") { // percentages of 640
        const LengthResult result = NormalizeLength(text, 640, out);
        return result == LengthResult::Invalid ? "invalid" : kResults[int(result)] + (" " + out);
    }
    if (kind == "transform") return NormalizeTransform(text, out) ? out : "invalid";
    if (kind == "viewbox") {
        double box[4];
        if (!NormalizeNumberList(text, 4, box, out)) return "invalid";
        std::ostringstream values;
        values << out << " = " << box[0] << " " << box[1] << " " << box[2] << " " << box[3];
        return values.str();
    }
    if (kind == "lengths") {
        std::vector<std::string_view> pieces;
        if (!SplitLengthList(text, pieces)) return "invalid";
        for (std::string_view piece : pieces) out += (out.empty() ? "" : " | ") + std::string(piece);
        return out;
    }
    return "unknown kind";
}

} // namespace

TEST(PreflightValues, GoldenTable)
{
    const std::string base = std::string(KXSVG_TEST_DATA_DIR) + "/preflight/values";
    std::string input, actual;
    ASSERT_TRUE(kxtest::readFile(base + ".txt", input));
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        const size_t space = std::min(line.find(' '), line.size());
        const std::string text = space < line.size() ? line.substr(space + 1) : std::string();
        actual += line + "\n  -> " + DescribeValue(line.substr(0, space), Unescape(text)) + "\n";
    }
    kxtest::ExpectGolden(actual, base + ".out");
}

TEST(PreflightValues, DeclarationsAndStyleSheets)
{
    const auto d = ParseDeclarations("fill: RED ; stroke:url(data:a;b) !important;/* x */ opacity :0.5;;bad");
    ASSERT_EQ(d.size(), 3u);
    EXPECT_EQ(d[0], (Declaration{"fill", "RED"}));
    EXPECT_EQ(d[1], (Declaration{"stroke", "url(data:a;b)"}));
    EXPECT_EQ(d[2], (Declaration{"opacity", "0.5"}));

    unsigned selectors = 0, atRules = 0;
    const auto rules = ParseStyleSheet("<!-- .a, path#b.c { fill: red } @media print { .a { fill: blue } } "
                                       "g > path { fill: green } @import url(x.css); * {stroke:none} -->",
                                       selectors, atRules);
    EXPECT_EQ(selectors, 1u);
    EXPECT_EQ(atRules, 2u);
    ASSERT_EQ(rules.size(), 3u);
    EXPECT_EQ(rules[0].selector.classes, std::vector<std::string>{"a"});
    EXPECT_EQ(rules[0].selector.specificity(), 10);
    EXPECT_EQ(rules[1].selector.tag, "path");
    EXPECT_EQ(rules[1].selector.id, "b");
    EXPECT_EQ(rules[1].selector.specificity(), 111);
    EXPECT_EQ(rules[2].selector.tag, "*");
    EXPECT_EQ(rules[2].declarations, (std::vector<Declaration>{{"stroke", "none"}}));
}

// ---------------------------------------------------------------- documents

namespace {
const std::string kSvgOpen = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\">";
std::string doc(const std::string& inner) { return kSvgOpen + inner + "</svg>"; }
std::string expected(const std::string& lines)
{
    return kHead + "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\">\n" + lines + "</svg>\n";
}
} // namespace

TEST(PreflightDocument, FilledPathsWhoseSubpathsCrossAreSplitIntoFillableGroups)
{
    // Every fill of a split path triangulates (the texts are golden cases).
    PreflightOptions evenOdd;
    evenOdd.honorFillRule = false;
    PreflightReport report;
    const kxtest::Loaded load = kxtest::LoadText(runPreflight(doc("<path d=\"M0 0h4v4h-4z m2 2h4v4h-4z\"/>"
                                                      "<path d=\"M0 0H8V8H0Z M2 2H4V4H2Z M6 6H10V10H6Z M20 20h1v1h-1z\"/>"),
                                                  report, evenOdd));
    ASSERT_TRUE(load.ok);
    SegmenterVisitor visitor(static_cast<const Node&>(*load.root));
    EXPECT_FALSE(visitor.hasError());
    EXPECT_EQ(visitor.getSegmentedPrimitives().size(), 4u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "path with crossing sub-paths as separately filled paths"),
              2u);

    // Many large sub-paths that all cross each other: the search gives up
    // within its budget and the path stays as it is.
    std::string crowd;
    for (int k = 0; k < 120; ++k)
        for (int i = 0; i < 400; ++i) {
            const double a = 2 * 3.141592653589793 * i / 400;
            crowd += (i ? " L " : (k ? " M " : "M ")) + std::to_string(5 + 0.01 * k + 4 * std::cos(a)) + " " +
                     std::to_string(5 + 4 * std::sin(a));
        }
    PreflightReport crowded;
    EXPECT_EQ(runPreflight(doc("<path d=\"" + crowd + "\"/>"), crowded, evenOdd),
              expected("  <path d=\"" + crowd + "\"/>\n"));
    EXPECT_TRUE(crowded.empty()) << crowded.toText();
}

namespace {
// Sum of the fill areas of a document loaded strictly and segmented with a fill rule.
double documentFillArea(const std::string& svg, kx::TriangulationFillRule rule)
{
    const kxtest::Loaded load = kxtest::LoadText(svg);
    EXPECT_TRUE(load.ok) << svg;
    if (!load.ok) return -1;
    SegmentationOptions options = SegmentationOptions::realSvg();
    options.fillRule = rule;
    SegmenterVisitor visitor(static_cast<const Node&>(*load.root), options);
    EXPECT_EQ(visitor.getFailedFillCount(), 0u) << svg;
    double area = 0;
    for (const auto& primitive : visitor.getSegmentedPrimitives()) area += kxtest::FillArea(*primitive);
    return area;
}
} // namespace

// The even-odd fill of what preflight writes covers the non-zero fill of its
// input: the fill-rule golden cases, measured against their data read as
// written and filled non-zero.
TEST(PreflightDocument, NonZeroFillsKeepTheirAreaWhenFilledEvenOdd)
{
    const std::vector<std::string> files = kxtest::listSvgFiles(std::string(KXSVG_TEST_DATA_DIR) + "/preflight");
    PreflightOptions asWritten;
    asWritten.honorFillRule = false;
    asWritten.splitCrossingSubpaths = false;
    size_t cases = 0;
    for (const std::string& file : files) {
        if (file.find("/fill_rule_") == std::string::npos) continue;
        std::string input;
        ASSERT_TRUE(kxtest::readFile(file, input));
        PreflightReport report;
        const double nonZero =
            documentFillArea(runPreflight(input, report, asWritten), kx::TriangulationFillRule::NonZero);
        const double evenOdd = documentFillArea(runPreflight(input, report), kx::TriangulationFillRule::EvenOdd);
        EXPECT_GT(nonZero, 0.0) << file;
        EXPECT_NEAR(evenOdd, nonZero, 1e-4 * nonZero) << file;
        ++cases;
    }
    EXPECT_GE(cases, 3u);
}

namespace {
// Preflight, strict load and save of `svg`: the saved text, or the first error.
std::string preflightLoadSave(const std::string& svg)
{
    PreflightReport report;
    std::string out;
    if (!PreflightSvg(svg, PreflightOptions(), out, report)) return "preflight failed: " + report.toText();
    const kxtest::Loaded load = kxtest::LoadText(out);
    if (!load.ok || !load.root) return "load failed: " + (load.messages.empty() ? out : load.messages.front());
    std::string saved;
    kxIoDeviceByteContainerWriteOnly device(saved);
    SaveOptions options;
    options.writeFlag = false;
    if (!impl::SaveSvgDocument(*load.root, device, options)) return "save failed";
    return out + saved;
}
} // namespace

TEST(PreflightDocument, NumbersReadTheSameUnderACommaDecimalLocale)
{
    // Rounded corners, a nested viewport scaled by 2.5, a quadratic with
    // fractional control point, lengths and colours in percent.
    const std::string svg = doc("<rect width=\"5\" height=\"4\" rx=\"1.5\" fill=\"rgb(50%,10.5%,0%)\"/>"
                                "<svg width=\"5\" height=\"5\" viewBox=\"0 0 2 2\"><path d=\"M0 0Q1.5 1.5 3 0\" "
                                "stroke-width=\"0.25mm\" opacity=\"50%\"/></svg>");
    const std::string classic = preflightLoadSave(svg);
    EXPECT_NE(classic.find("matrix(2.5 0 0 2.5 0 0)"), std::string::npos) << classic;
    EXPECT_NE(classic.find("A1.5 1.5 0 0 1 5 1.5"), std::string::npos) << classic;
    const char* names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "ru_RU.UTF-8", "ru_RU.utf8"};
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    const char* used = nullptr;
    for (const char* name : names) {
        if (std::setlocale(LC_ALL, name) && std::string(std::localeconv()->decimal_point) == ",") {
            used = name;
            break;
        }
    }
    if (!used) {
        std::setlocale(LC_ALL, previous.c_str());
        GTEST_SKIP() << "no comma-decimal locale is installed (localedef -i de_DE -f UTF-8 de_DE.UTF-8)";
    }
    const std::string local = preflightLoadSave(svg);
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_EQ(local, classic) << "under " << used;
}

// ---------------------------------------------------------------- bad input

TEST(PreflightInput, MalformedAndHostileInputFailsCleanly)
{
    const std::pair<std::string, std::string> failures[] = {
        {"", "failed: malformed XML: line 1: Document is empty x1\n"},
        {"<svg><g></svg>", "failed: malformed XML: line 1: Opening and ending tag mismatch: g line 1 and svg x1\n"},
        {"<html/>", "failed: root element is not svg x1\n"},
        {std::string("<svg>\0</svg>", 12), "failed: malformed XML: line 1: Premature end of data in tag svg line 1 x1\n"},
    };
    for (const auto& f : failures) {
        std::string out = "previous";
        PreflightReport report;
        EXPECT_FALSE(PreflightSvg(f.first, PreflightOptions(), out, report));
        EXPECT_EQ(out, "");
        EXPECT_EQ(report.toText(), f.second);
    }

    // External parameter entities and DTDs are never read, even when they exist.
    std::string out;
    PreflightReport report;
    const std::string dtd = testing::TempDir() + "preflight_leak.dtd";
    {
        FILE* f = std::fopen(dtd.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("<!ENTITY leak \"SECRET\">", f);
        std::fclose(f);
    }
    for (const std::string& doctype : {"<!DOCTYPE svg [<!ENTITY % p SYSTEM \"file://" + dtd + "\"> %p;]>",
                                       "<!DOCTYPE svg SYSTEM \"file://" + dtd + "\">"}) {
        report.clear();
        out.clear();
        PreflightSvg(doctype + "<svg xmlns=\"http://www.w3.org/2000/svg\"><text>&leak;</text></svg>",
                     PreflightOptions(), out, report);
        EXPECT_EQ(out.find("SECRET"), std::string::npos) << out;
    }
    std::remove(dtd.c_str());

    // Deep nesting and exponential references stay bounded.
    std::string deep = "<svg xmlns=\"http://www.w3.org/2000/svg\">";
    for (int i = 0; i < 5000; ++i) deep += "<g>";
    for (int i = 0; i < 5000; ++i) deep += "</g>";
    deep += "</svg>";
    report.clear();
    EXPECT_FALSE(PreflightSvg(deep, PreflightOptions(), out, report));
    std::string fan = "<svg xmlns=\"http://www.w3.org/2000/svg\"><defs><path id=\"u0\" d=\"M0 0h1\"/>";
    for (int i = 1; i < 25; ++i)
        fan += "<g id=\"u" + std::to_string(i) + "\"><use href=\"#u" + std::to_string(i - 1) + "\"/><use href=\"#u" +
               std::to_string(i - 1) + "\"/></g>";
    fan += "</defs><use href=\"#u24\"/></svg>";
    report.clear();
    PreflightOptions deepReferences;
    deepReferences.maxReferenceDepth = 64;
    deepReferences.maxInlinedElements = 3000;
    ASSERT_TRUE(PreflightSvg(fan, deepReferences, out, report));
    EXPECT_GE(report.count(PreflightChange::Dropped, "use beyond the inlining limit"), 1u);
    EXPECT_TRUE(kxtest::LoadText(out).ok);
}

TEST(PreflightInput, FilesOfTensOfMegabytesPassWithinOwnLimits)
{
    // 10 MB of drawing and then a long path: libxml2's default mode refuses the
    // path ("Huge input lookup"); the reader takes the file.
    std::string big = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\">";
    while (big.size() < 10'500'000) big += "<path d=\"M0 0h1v1z\"/>\n";
    big += "<path d=\"M0 0";
    for (int i = 0; i < 300'000; ++i) big += " h1";
    big += "\"/></svg>";
    std::string out;
    PreflightReport report;
    ASSERT_TRUE(PreflightSvg(big, PreflightOptions(), out, report)) << report.toText();
    const std::string tail = " h1 h1\"/>\n</svg>\n";
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail);
    EXPECT_TRUE(kxtest::LoadText(out).ok);

    // The limits that mode lifts are the pass's own, with their own messages.
    std::string deep = "<svg xmlns=\"http://www.w3.org/2000/svg\">";
    for (int i = 0; i < 300; ++i) deep += "<g>";
    for (int i = 0; i < 300; ++i) deep += "</g>";
    deep += "</svg>";
    std::string bomb = "<!DOCTYPE svg [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\">";
    for (char name = 'b'; name <= 'h'; ++name) {
        bomb += std::string("<!ENTITY ") + name + " \"";
        for (int i = 0; i < 10; ++i) bomb += std::string("&") + char(name - 1) + ";";
        bomb += "\">";
    }
    bomb += "]><svg xmlns=\"http://www.w3.org/2000/svg\"><text>&h;</text></svg>";
    for (const auto& [input, message] :
         {std::pair{deep, "failed: elements nested deeper than 256 x1\n"},
          std::pair{bomb, "failed: entity references expand the text beyond 10 times the input x1\n"}}) {
        report.clear();
        EXPECT_FALSE(PreflightSvg(input, PreflightOptions(), out, report));
        EXPECT_EQ(report.toText(), message);
    }
}

TEST(PreflightReportText, EntriesAreGroupedByKindAndCounted)
{
    PreflightReport report;
    EXPECT_TRUE(report.empty());
    report.add(PreflightChange::Dropped, "element \"title\"");
    report.add(PreflightChange::Rewritten, "ellipse as path", 2);
    report.add(PreflightChange::Dropped, "element \"title\"");
    report.add(PreflightChange::Approximated, "gradient paint as its first stop color");
    report.add(PreflightChange::Failed, "root element is not svg");
    EXPECT_EQ(report.toText(), "rewritten: ellipse as path x2\n"
                               "approximated: gradient paint as its first stop color x1\n"
                               "dropped: element \"title\" x2\n"
                               "failed: root element is not svg x1\n");
    EXPECT_EQ(report.total(PreflightChange::Dropped), 2u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "element \"desc\""), 0u);
    EXPECT_STREQ(PreflightChangeName(PreflightChange::Approximated), "approximated");
    const auto entries = report.getEntries();
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[2].detail, "element \"title\"");
    EXPECT_EQ(entries[2].count, 2u);
}
