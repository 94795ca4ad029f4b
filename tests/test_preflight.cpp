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

// ---------------------------------------------------------------- path data

namespace {
std::string rewrite(const std::string& d, PathRewriteStats* statsOut = nullptr)
{
    std::string out;
    PathRewriteStats stats;
    const bool ok = RewritePathData(d, out, stats);
    if (statsOut) *statsOut = stats;
    if (!ok) return "<failed>";
    std::list<Path::Command> commands;
    std::string error;
    EXPECT_TRUE(ConvertPathStringToCommands(out, commands, &error)) << out << " : " << error;
    return out;
}

std::vector<float> strictNumbers(const std::string& d)
{
    std::list<Path::Command> commands;
    EXPECT_TRUE(ConvertPathStringToCommands(d, commands, nullptr)) << d;
    std::vector<float> numbers;
    for (const Path::Command& c : commands) {
        numbers.push_back(float(int(c.type)));
        numbers.insert(numbers.end(), c.arguments.begin(), c.arguments.end());
    }
    return numbers;
}
} // namespace

TEST(PreflightPath, SeparatorsFlagsAndNumbersKeepTheirText)
{
    EXPECT_EQ(rewrite("M 10,20 L 30,40, 50,60"), "M 10 20 L 30 40 50 60");
    EXPECT_EQ(rewrite("M0 0a1 1 0 011 1"), "M 0 0 a 1 1 0 0 1 1 1");
    EXPECT_EQ(rewrite("M0,0A5,5,0,1,0,10,0"), "M 0 0 A 5 5 0 1 0 10 0");
    EXPECT_EQ(rewrite("M1.5.5L-1-2\tz"), "M 1.5 .5 L -1 -2 z");
    EXPECT_EQ(rewrite("m1e2,+3E-1\r\nh.5v-.25"), "m 1e2 +3E-1 h .5 v -.25");
    EXPECT_EQ(rewrite("M 1 2 3 4 5 6"), "M 1 2 L 3 4 5 6");
    EXPECT_EQ(rewrite("m1 2 3 4"), "m 1 2 l 3 4");
    EXPECT_EQ(rewrite("M0 0zm1 1z"), "M 0 0 z m 1 1 z");
    EXPECT_EQ(rewrite("M0 0C1,2,3,4,5,6 7,8,9,10,11,12S1 2 3 4"), "M 0 0 C 1 2 3 4 5 6 7 8 9 10 11 12 S 1 2 3 4");
    EXPECT_EQ(rewrite("  "), "<failed>");
    EXPECT_EQ(rewrite("L 1 2"), "<failed>");
}

TEST(PreflightPath, QuadraticsBecomeExactCubics)
{
    PathRewriteStats stats;
    // C1 = P0 + 2/3 (Q - P0), C2 = P3 + 2/3 (Q - P3).
    EXPECT_EQ(rewrite("M0 0 Q 3 3 6 0", &stats), "M 0 0 C 2 2 4 2 6 0");
    EXPECT_EQ(stats.quadratics, 1u);
    EXPECT_EQ(rewrite("m0 0 q3 3 6 0"), "m 0 0 c 2 2 4 2 6 0");
    EXPECT_EQ(rewrite("M3 0 q3 3 6 0"), "M 3 0 c 2 2 4 2 6 0");
    // T reflects the previous quadratic control point (3,3) about (6,0): (9,-3).
    EXPECT_EQ(rewrite("M0 0 Q3 3 6 0 T12 0", &stats), "M 0 0 C 2 2 4 2 6 0 C 8 -2 10 -2 12 0");
    EXPECT_EQ(stats.quadratics, 2u);
    EXPECT_EQ(rewrite("M0 0 Q3 3 6 0 t6 0"), "M 0 0 C 2 2 4 2 6 0 c 2 -2 4 -2 6 0");
    // T without a quadratic before it has its control point on the current point: a straight cubic.
    EXPECT_EQ(rewrite("M0 0 L 3 0 T 9 0"), "M 0 0 L 3 0 C 3 0 5 0 9 0");
    // Several pairs after one Q letter.
    EXPECT_EQ(rewrite("M0 0Q3 3 6 0 9-3 12 0"), "M 0 0 C 2 2 4 2 6 0 8 -2 10 -2 12 0");
    // S after a quadratic starts at the current point, so it is written as a full cubic.
    EXPECT_EQ(rewrite("M0 0 Q3 3 6 0 S 10 4 12 0", &stats), "M 0 0 C 2 2 4 2 6 0 C 6 0 10 4 12 0");
    EXPECT_EQ(stats.smoothAfterQuadratic, 1u);
    EXPECT_EQ(rewrite("M0 0 Q3 3 6 0 s4 4 6 0"), "M 0 0 C 2 2 4 2 6 0 c 0 0 4 4 6 0");
    // The reader reflects the stored numbers of the previous cubic; only S after
    // an absolute C or S gets the reflected point, so every other smooth cubic
    // after a cubic carries its first control point.
    EXPECT_EQ(rewrite("M0 0 C 0 10 10 10 10 0 S 20 -10 20 0 S 30 10 30 0", &stats),
              "M 0 0 C 0 10 10 10 10 0 S 20 -10 20 0 S 30 10 30 0");
    EXPECT_EQ(stats.smoothReflections, 0u);
    EXPECT_EQ(rewrite("M0 0 c 0 10 10 10 10 0 s 10 -10 10 0 s 10 10 10 0", &stats),
              "M 0 0 c 0 10 10 10 10 0 c 0 -10 10 -10 10 0 c 0 10 10 10 10 0");
    EXPECT_EQ(stats.smoothReflections, 2u);
    EXPECT_EQ(rewrite("M0 0 C 0 10 10 10 10 0 s 10 -10 10 0 S 30 10 30 0", &stats),
              "M 0 0 C 0 10 10 10 10 0 c 0 -10 10 -10 10 0 C 20 10 30 10 30 0");
    EXPECT_EQ(stats.smoothReflections, 2u);
    EXPECT_EQ(rewrite("M0 0 L 5 5 S 1 2 3 4 c 1 1 2 2 3 3", &stats), "M 0 0 L 5 5 S 1 2 3 4 c 1 1 2 2 3 3");
    EXPECT_EQ(stats.smoothReflections, 0u);
    // Positions after H, V, arcs and close paths are followed for later quadratics.
    EXPECT_EQ(rewrite("M1 1 h2 v2 H0 V0 Q3 3 6 0"), "M 1 1 h 2 v 2 H 0 V 0 C 2 2 4 2 6 0");
    EXPECT_EQ(rewrite("M1 1 a1 1 0 0 0 2 0 Q3 3 6 0"), "M 1 1 a 1 1 0 0 0 2 0 C 3 2.3333333 4 2 6 0");
    EXPECT_EQ(rewrite("M3 0 L 9 9 z q3 3 6 0"), "M 3 0 L 9 9 z c 2 2 4 2 6 0");
    // Thirds that have no short decimal form are written with float precision.
    EXPECT_EQ(rewrite("M0 0 Q1 1 2 0"), "M 0 0 C 0.6666667 0.6666667 1.3333334 0.6666667 2 0");
}

TEST(PreflightPath, ArcRadiiTooSmallForTheChordAreEnlarged)
{
    PathRewriteStats stats;
    // A chord of 10 needs radius 5; SVG scales (1, 1) up, the reader would not.
    EXPECT_EQ(rewrite("M0 0 A1 1 0 0 1 10 0", &stats), "M 0 0 A 5 5 0 0 1 10 0");
    EXPECT_EQ(stats.arcRadiiEnlarged, 1u);
    EXPECT_EQ(rewrite("M0 0 a2 1 90 1 0 0 8", &stats), "M 0 0 a 4 2 90 1 0 0 8");
    EXPECT_EQ(stats.arcRadiiEnlarged, 1u);
    // Radii that reach, zero radii and arcs that end where they start stay as written.
    EXPECT_EQ(rewrite("M0 0 A5 5 0 0 1 10 0 a0 3 0 0 1 4 4 A1 1 0 0 1 14 4", &stats),
              "M 0 0 A 5 5 0 0 1 10 0 a 0 3 0 0 1 4 4 A 1 1 0 0 1 14 4");
    EXPECT_EQ(stats.arcRadiiEnlarged, 0u);
}

TEST(PreflightPath, ErrorsKeepWhatCameBefore)
{
    PathRewriteStats stats;
    EXPECT_EQ(rewrite("M0 0 L10 10 L 5", &stats), "M 0 0 L 10 10");
    EXPECT_TRUE(stats.truncated);
    EXPECT_EQ(rewrite("M0 0 L1 1 X 2 2", &stats), "M 0 0 L 1 1");
    EXPECT_TRUE(stats.truncated);
    EXPECT_EQ(rewrite("M0 0 A 1 1 0 2 0 3 3", &stats), "M 0 0");
    EXPECT_TRUE(stats.truncated);
    EXPECT_EQ(rewrite("M0 0 z 1 2", &stats), "M 0 0 z");
    EXPECT_TRUE(stats.truncated);
    EXPECT_EQ(rewrite("M0 0 L1 1", &stats), "M 0 0 L 1 1");
    EXPECT_FALSE(stats.truncated);
}

TEST(PreflightPath, PathsWithoutQuadraticsKeepExactlyTheSameNumbers)
{
    // Lenient spellings and their strict equivalents (written by hand): the
    // numbers the strict parser reads from the rewrite are the same floats.
    const std::pair<const char*, const char*> cases[] = {
        {"M 0.1,0.2 L 0.3,0.4, 1e-7,3.4028234e38", "M 0.1 0.2 L 0.3 0.4 1e-7 3.4028234e38"},
        {"m-.1-.2l.3.4.5.6", "m -.1 -.2 l .3 .4 .5 .6"},
        {"M1 1a25 25 0 1050 0", "M 1 1 a 25 25 0 1 0 50 0"},
        {"M1,1A 2.5,2.5 -30 0,1 2.25,2.75", "M 1 1 A 2.5 2.5 -30 0 1 2.25 2.75"},
        {"M 16777217,0.30000001 C1,2,3,4,5,6", "M 16777217 0.30000001 C 1 2 3 4 5 6"},
    };
    for (const auto& c : cases) {
        const std::string out = rewrite(c.first);
        EXPECT_EQ(strictNumbers(out), strictNumbers(c.second)) << c.first;
    }
}

// ---------------------------------------------------------------- values

TEST(PreflightValues, ColorsComeInReaderForms)
{
    std::string out;
    EXPECT_EQ(NormalizeColor("#ABC", out), ColorResult::Kept);
    EXPECT_EQ(out, "#ABC");
    EXPECT_EQ(NormalizeColor("#11223344", out), ColorResult::Kept);
    EXPECT_EQ(NormalizeColor(" red ", out), ColorResult::Converted);
    EXPECT_EQ(out, "red");
    EXPECT_EQ(NormalizeColor("DarkSlateGray", out), ColorResult::Converted);
    EXPECT_EQ(out, "darkslategray");
    EXPECT_EQ(NormalizeColor("transparent", out), ColorResult::Converted);
    EXPECT_EQ(out, "none");
    EXPECT_EQ(NormalizeColor("rgb(255,0,10)", out), ColorResult::Kept);
    EXPECT_EQ(out, "rgb(255,0,10)");
    // Percentages: the reader would truncate 100% to 254, so they are written as bytes.
    EXPECT_EQ(NormalizeColor("rgb(100%, 0%, 20%)", out), ColorResult::Converted);
    EXPECT_EQ(out, "#ff0033");
    EXPECT_EQ(NormalizeColor("rgb(010,0,0)", out), ColorResult::Converted);
    EXPECT_EQ(out, "#0a0000");
    EXPECT_EQ(NormalizeColor("rgba(0,0,0,0.5)", out), ColorResult::Approximated);
    EXPECT_EQ(out, "#00000080");
    EXPECT_EQ(NormalizeColor("rgb(0 128 255 / 20%)", out), ColorResult::Converted);
    EXPECT_EQ(out, "#0080ff33");
    EXPECT_EQ(NormalizeColor("hsl(120, 100%, 50%)", out), ColorResult::Converted);
    EXPECT_EQ(out, "#00ff00");
    EXPECT_EQ(NormalizeColor("hsl(200deg 50% 40%)", out), ColorResult::Converted);
    EXPECT_EQ(out, "#337799");
    EXPECT_EQ(NormalizeColor("HSLA(1, 50%, 50%, 1)", out), ColorResult::Approximated);
    EXPECT_EQ(out, "#bf4240");
    for (const char* bad : {"", "#12", "#ggg", "blurple", "rgb(1,2)", "url(#a)", "rgb(1,2,3"})
        EXPECT_EQ(NormalizeColor(bad, out), ColorResult::Invalid) << bad;
}

TEST(PreflightValues, LengthsInUserUnits)
{
    std::string out;
    EXPECT_EQ(NormalizeLength("12.50", 100, out), LengthResult::Kept);
    EXPECT_EQ(out, "12.50");
    EXPECT_EQ(NormalizeLength("12.50px", 100, out), LengthResult::Converted);
    EXPECT_EQ(out, "12.50");
    EXPECT_EQ(NormalizeLength("1in", 100, out), LengthResult::Converted);
    EXPECT_EQ(out, "96");
    EXPECT_EQ(NormalizeLength("3pt", 100, out), LengthResult::Converted);
    EXPECT_EQ(out, "4");
    EXPECT_EQ(NormalizeLength("25.4mm", 100, out), LengthResult::Converted);
    EXPECT_EQ(out, "96");
    EXPECT_EQ(NormalizeLength("50%", 640, out), LengthResult::Approximated);
    EXPECT_EQ(out, "320");
    EXPECT_EQ(NormalizeLength("2em", 100, out), LengthResult::Approximated);
    EXPECT_EQ(out, "32");
    for (const char* bad : {"", "px", "12furlongs", "auto", "0x10"})
        EXPECT_EQ(NormalizeLength(bad, 100, out), LengthResult::Invalid) << bad;
}

TEST(PreflightValues, TransformsAndListsInSvgNumberGrammar)
{
    const std::pair<const char*, const char*> transforms[] = {
        {"translate(0-1036.36)", "translate(0 -1036.36)"},
        {"matrix(1.42857 0 0 1.42857-163.67-235.91)", "matrix(1.42857 0 0 1.42857 -163.67 -235.91)"},
        {" scale(.5.5)rotate(45,1e1,-2E-1) , skewX( +3 )", "scale(.5 .5) rotate(45 1e1 -2E-1) skewX(+3)"},
        {"translate(1,,2)", nullptr},  {"translate(1,)", nullptr},  {"rotate(1 2)", nullptr},
        {"matrix(1 2 3 4 5 6 7)", nullptr}, {"spin(1)", nullptr}, {"translate(1e999)", nullptr},
        {"translate(1", nullptr},      {"translate(0x10)", nullptr},
    };
    for (const auto& [in, want] : transforms) {
        std::string out;
        EXPECT_EQ(NormalizeTransform(in, out), want != nullptr) << in;
        if (want) {
            EXPECT_EQ(out, want) << in;
        }
    }
    double vb[4];
    std::string out;
    EXPECT_TRUE(NormalizeNumberList("-1-2.5.5,4e1", 4, vb, out));
    EXPECT_EQ(out, "-1 -2.5 .5 4e1");
    EXPECT_EQ(vb[2], 0.5);
    EXPECT_FALSE(NormalizeNumberList("0 0 1", 4, vb, out));
    EXPECT_FALSE(NormalizeNumberList("0 0 1 1,", 4, vb, out));
    std::vector<std::string_view> pieces;
    EXPECT_TRUE(SplitLengthList("5px,3-2.5%.5em", pieces));
    EXPECT_EQ(pieces, (std::vector<std::string_view>{"5px", "3", "-2.5%", ".5em"}));
    EXPECT_FALSE(SplitLengthList("5 px", pieces));

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

    // Entity expansion bombs stop inside libxml2's limits; external entities are never read.
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE svg [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\">";
    char previous = 'a';
    for (char name = 'b'; name <= 'k'; ++name) {
        bomb += std::string("<!ENTITY ") + name + " \"";
        for (int i = 0; i < 10; ++i) bomb += std::string("&") + previous + ";";
        bomb += "\">";
        previous = name;
    }
    bomb += "]><svg xmlns=\"http://www.w3.org/2000/svg\"><text>&k;</text></svg>";
    std::string out;
    PreflightReport report;
    EXPECT_FALSE(PreflightSvg(bomb, PreflightOptions(), out, report));
    EXPECT_EQ(report.total(PreflightChange::Failed), 1u);

    // Nor are external parameter entities or DTDs, even when they exist.
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

TEST(PreflightInput, MutatedDocumentsEitherFailOrLoadStrictly)
{
    const std::string seed =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"24\" "
        "height=\"24\"><style>.a{fill:#0f0;stroke:currentColor}</style><defs><linearGradient id=\"g\"><stop "
        "stop-color=\"red\"/></linearGradient><symbol id=\"s\" viewBox=\"0 0 2 2\"><circle r=\"1\" cx=\"1\" "
        "cy=\"1\"/></symbol></defs><g color=\"blue\" style=\"opacity:.5;fill:url(#g)\" transform=\"rotate(5 1 1)\">"
        "<path class=\"a\" d=\"M1,2Q3 4 5 6t7 8a1 1 0 011 1z\"/><ellipse rx=\"2\" ry=\"1\"/><polygon "
        "points=\"1,2 3,4 5,6\"/><rect x=\"1\" width=\"4\" height=\"3\" rx=\"1\"/><use xlink:href=\"#s\" x=\"3\" "
        "width=\"4\" height=\"4\"/><text x=\"1\">a<tspan>b</tspan></text></g></svg>";
    uint32_t state = 12345;
    auto next = [&state]() {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    size_t failed = 0, loaded = 0;
    for (int round = 0; round < 1500; ++round) {
        std::string text = seed;
        const int edits = 1 + int(next() % 4);
        for (int k = 0; k < edits; ++k) {
            const size_t at = next() % text.size();
            switch (next() % 3) {
            case 0: text[at] = static_cast<char>(next() & 0xff); break;
            case 1: text.erase(at, 1 + next() % 8); break;
            default: text.insert(at, 1, "<>\"&;#.-e01 ,QqAaZz%()"[next() % 22]); break;
            }
            if (text.empty()) text = "<";
        }
        std::string out;
        PreflightReport report;
        if (!PreflightSvg(text, PreflightOptions(), out, report)) {
            ++failed;
            EXPECT_EQ(report.total(PreflightChange::Failed), 1u) << text;
            EXPECT_TRUE(out.empty());
            continue;
        }
        const kxtest::Loaded load = kxtest::LoadText(out);
        EXPECT_TRUE(load.ok) << text << "\n" << out << (load.messages.empty() ? "" : load.messages.front());
        ++loaded;
    }
    EXPECT_GT(failed, 0u);
    EXPECT_GT(loaded, 0u);
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
