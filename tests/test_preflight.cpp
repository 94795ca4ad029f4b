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

using namespace kx::svg;
using namespace kx::svg::preflight;

namespace {

struct Strict {
    bool ok = false;
    std::vector<std::string> errors;
    ItemInterfacePointer<ItemInterface> root;
};

Strict loadStrictly(const std::string& text)
{
    Strict run;
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    LoadOptions options;
    options.ignoreUnsupported = false;
    run.ok = impl::LoadSvgDocument(
        run.root, device, options, [&](const std::string& m) { run.errors.push_back(m); },
        [&](const std::string& m) { run.errors.push_back("warning: " + m); });
    return run;
}

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Preflight of a document whose output must load strictly.
std::string runPreflight(const std::string& svg, PreflightReport& report,
                      const PreflightOptions& options = PreflightOptions())
{
    std::string out;
    EXPECT_TRUE(PreflightSvg(svg, options, out, report)) << report.toText();
    const Strict load = loadStrictly(out);
    EXPECT_TRUE(load.ok) << out << (load.errors.empty() ? "" : load.errors.front());
    return out;
}

// The document body without the XML declaration.
std::string body(const std::string& out) { return out.compare(0, kHead.size(), kHead) == 0 ? out.substr(kHead.size()) : out; }

} // namespace

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
    // A strict path goes through preflight byte for byte.
    PreflightReport report;
    const std::string d = "M 0.1 0.2 L 0.30000001 1e-7 C 1 2 3 4 5 6 S 1 2 3 4 A 5 5 0 1 0 10 10 Z";
    const std::string out = runPreflight("<svg xmlns=\"http://www.w3.org/2000/svg\"><path d=\"" + d + "\"/></svg>", report);
    EXPECT_NE(out.find("d=\"" + d + "\""), std::string::npos) << out;
    EXPECT_TRUE(report.empty()) << report.toText();
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

    // In a document what the reader takes stays byte for byte.
    PreflightReport report;
    EXPECT_EQ(body(runPreflight("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0-1 10.5.5\">"
                                "<g transform=\"translate(1,2)\"><path transform=\"scale(2)translate(0-1)\" "
                                "stroke-dasharray=\"1.5.5\" d=\"M0 0h1\"/></g></svg>",
                                report)),
              "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 -1 10.5 .5\">\n  <g transform=\"translate(1,2)\">\n"
              "    <path transform=\"scale(2) translate(0 -1)\" stroke-dasharray=\"1.5 .5\" d=\"M0 0h1\"/>\n  </g>\n</svg>\n");
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "transform list with plain separators"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "viewBox with plain separators"), 1u);
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

TEST(PreflightDocument, CurrentColorFollowsTheCascadedColor)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<path fill=\"currentColor\" d=\"M0 0h1\"/>"
                            "<g color=\"#f00\"><path stroke=\"currentColor\" d=\"M0 0h1\"/>"
                            "<g style=\"color: blue\"><circle fill=\"currentcolor\" r=\"1\"/></g></g>"),
                        report),
              expected("  <path fill=\"black\" d=\"M0 0h1\"/>\n"
                       "  <g>\n"
                       "    <path stroke=\"#f00\" d=\"M0 0h1\"/>\n"
                       "    <g>\n"
                       "      <circle fill=\"blue\" r=\"1\"/>\n"
                       "    </g>\n"
                       "  </g>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "currentColor resolved"), 3u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "color property resolved into paint"), 2u);
}

TEST(PreflightDocument, StyleDeclarationsBecomeAttributes)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<style>.a { fill: #0f0 } #b { stroke: red } rect { opacity: .5 } g path { fill: red }</style>"
                            "<rect class=\"a\" id=\"b\" fill=\"blue\" style=\"stroke-width: 2px; font-weight: bold; "
                            "fill-rule: evenodd; width: 5\" width=\"1\" height=\"1\"/>"),
                        report),
              expected("  <rect class=\"a\" id=\"b\" fill=\"#0f0\" width=\"1\" height=\"1\" opacity=\".5\" "
                       "stroke=\"red\" stroke-width=\"2\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "style sheet applied to elements"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "style sheet rule moved to attributes"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "style attribute moved to attributes"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "style sheet rule with a complex selector"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "style property \"width\""), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"font-weight\""), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"fill-rule\" (fills are drawn even-odd)"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "length unit converted to user units"), 1u);
}

TEST(PreflightDocument, NonDrawingContentIsDroppedAndReported)
{
    PreflightReport report;
    const std::string in =
        "<?xml version=\"1.0\"?>\n<!-- made by hand -->\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:sodipodi=\"http://sodipodi.sourceforge.net/DTD/sodipodi-0.dtd\" "
        "xmlns:inkscape=\"http://www.inkscape.org/namespaces/inkscape\" version=\"1.1\" width=\"48px\" height=\"32\" "
        "role=\"img\" aria-label=\"x\" data-name=\"y\" xml:space=\"preserve\" inkscape:version=\"1.0\">"
        "<title>T</title><desc>D</desc><metadata><rdf/></metadata><sodipodi:namedview/>"
        "<g inkscape:label=\"Layer\" inkscape:groupmode=\"layer\" data-x=\"1\"><path d=\"M0 0h1\" sodipodi:nodetypes=\"cc\"/></g>"
        "<foo><rect width=\"1\" height=\"1\"/></foo><text xml:space=\"preserve\" x=\"1px\">a <tspan>b</tspan></text>"
        "</svg>";
    EXPECT_EQ(runPreflight(in, report),
              kHead + "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 48 32\">\n"
                      "  <g>\n"
                      "    <path d=\"M0 0h1\"/>\n"
                      "  </g>\n"
                      "  <text xml:space=\"preserve\" x=\"1\">a b</text>\n"
                      "</svg>\n");
    EXPECT_EQ(report.toText(),
              "rewritten: length unit converted to user units x2\n"
              "rewritten: root width and height as viewBox x1\n"
              "dropped: element \"sodipodi:*\" x1\n"
              "dropped: attribute \"width\" on the root x1\n"
              "dropped: attribute \"height\" on the root x1\n"
              "dropped: attribute \"version\" on the root x1\n"
              "dropped: attribute \"role\" x1\n"
              "dropped: attribute \"aria-*\" x1\n"
              "dropped: attribute \"data-*\" x2\n"
              "dropped: attribute \"xml:space\" x1\n"
              "dropped: attribute \"inkscape:*\" x3\n"
              "dropped: element \"title\" x1\n"
              "dropped: element \"desc\" x1\n"
              "dropped: element \"metadata\" x1\n"
              "dropped: attribute \"sodipodi:*\" x1\n"
              "dropped: element \"foo\" x1\n"
              "dropped: element \"tspan\" inside text (its characters are kept) x1\n");
    EXPECT_EQ(report.total(PreflightChange::Dropped), 18u);
}

TEST(PreflightDocument, EllipsesPolylinesPolygonsAndRoundedRectsBecomePaths)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<ellipse id=\"e\" cx=\"5\" cy=\"4\" rx=\"2\" ry=\"1.5\" fill=\"red\"/>"
                            "<ellipse cx=\"5\" cy=\"5\" rx=\"3\"/><ellipse rx=\"0\" ry=\"2\"/>"
                            "<polyline points=\"0,0 1,1, 2,0\" fill=\"none\" stroke=\"red\"/>"
                            "<polygon points=\"1-1 2,3 4 5 6\"/><polygon points=\"\"/>"
                            "<rect x=\"1\" y=\"2\" width=\"6\" height=\"4\" rx=\"1\"/>"
                            "<rect width=\"2\" height=\"2\" rx=\"0\" ry=\"0\"/><circle cx=\"1px\" r=\"2\"/>"),
                        report),
              expected("  <path id=\"e\" fill=\"red\" d=\"M 3 4 A 2 1.5 0 1 0 7 4 A 2 1.5 0 1 0 3 4 Z\"/>\n"
                       "  <path d=\"M 2 5 A 3 3 0 1 0 8 5 A 3 3 0 1 0 2 5 Z\"/>\n"
                       "  <path fill=\"none\" stroke=\"red\" d=\"M 0 0 L 1 1 2 0\"/>\n"
                       "  <path d=\"M 1 -1 L 2 3 4 5 Z\"/>\n"
                       "  <path d=\"M 2 2 H 6 A 1 1 0 0 1 7 3 V 5 A 1 1 0 0 1 6 6 H 2 A 1 1 0 0 1 1 5 V 3 A 1 1 0 0 1 2 2 Z\"/>\n"
                       "  <rect width=\"2\" height=\"2\"/>\n"
                       "  <circle cx=\"1\" r=\"2\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "ellipse as path"), 2u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "polyline as path"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "polygon as path"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "rounded rect as path"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "ellipse without a radius"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "polygon without points"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "point list cut at an error"), 1u);
}

TEST(PreflightDocument, UseIsInlinedAsATransformedGroup)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<defs><path id=\"p\" d=\"M0 0h1\" fill=\"red\"/>"
                            "<symbol id=\"s\" viewBox=\"0 0 2 2\"><use href=\"#p\"/></symbol></defs>"
                            "<use xlink:href=\"#p\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" x=\"2\" y=\"3\" "
                            "transform=\"scale(2)\" fill=\"blue\" id=\"u\"/>"
                            "<use href=\"#s\" width=\"4\" height=\"4\"/><use href=\"#nothing\"/>"
                            "<g id=\"loop\"><use href=\"#loop\"/></g>"),
                        report),
              expected("  <g transform=\"scale(2) translate(2 3)\" fill=\"blue\" id=\"u\">\n"
                       "    <path d=\"M0 0h1\" fill=\"red\"/>\n"
                       "  </g>\n"
                       "  <g>\n"
                       "    <g transform=\"matrix(2 0 0 2 0 0)\">\n"
                       "      <g>\n"
                       "        <path d=\"M0 0h1\" fill=\"red\"/>\n"
                       "      </g>\n"
                       "    </g>\n"
                       "  </g>\n"
                       "  <g id=\"loop\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "use inlined as a group"), 3u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "use of a missing element"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "use that refers to itself or nests too deeply"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "element \"defs\""), 1u);
}

TEST(PreflightDocument, GradientsAndPatternsBecomePlainColors)
{
    PreflightReport report;
    const std::string defs =
        "<defs><linearGradient id=\"g\"><stop offset=\"0\" stop-color=\"#123456\"/><stop offset=\"1\" "
        "stop-color=\"#fff\"/></linearGradient><linearGradient id=\"h\" href=\"#g\"/>"
        "<radialGradient id=\"one\"><stop style=\"stop-color: red; stop-opacity: .5\"/></radialGradient>"
        "<linearGradient id=\"empty\"/><pattern id=\"p\"><rect fill=\"green\" width=\"1\" height=\"1\"/></pattern></defs>";
    EXPECT_EQ(runPreflight(doc(defs + "<path fill=\"url(#g)\" d=\"M0 0h1\"/><path fill=\"url('#h')\" d=\"M0 0h1\"/>"
                                   "<path stroke=\"url(#one)\" d=\"M0 0h1\"/><path fill=\"url(#empty)\" d=\"M0 0h1\"/>"
                                   "<path fill=\"url(#p) #00f\" d=\"M0 0h1\"/><path fill=\"url(#p)\" d=\"M0 0h1\"/>"
                                   "<path fill=\"url(#missing) red\" d=\"M0 0h1\"/>"),
                        report),
              expected("  <path fill=\"#123456\" d=\"M0 0h1\"/>\n"
                       "  <path fill=\"#123456\" d=\"M0 0h1\"/>\n"
                       "  <path stroke=\"#ff000080\" d=\"M0 0h1\"/>\n"
                       "  <path fill=\"none\" d=\"M0 0h1\"/>\n"
                       "  <path fill=\"#00f\" d=\"M0 0h1\"/>\n"
                       "  <path fill=\"green\" d=\"M0 0h1\"/>\n"
                       "  <path fill=\"red\" d=\"M0 0h1\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Approximated, "gradient paint as its first stop color"), 2u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "gradient of one color as that color"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "gradient without stops as none"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "pattern paint as its fallback color"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "pattern paint as the color of its content"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "paint reference to a missing element"), 1u);

    PreflightOptions noApproximation;
    noApproximation.approximatePaint = false;
    PreflightReport strictReport;
    EXPECT_EQ(runPreflight(doc(defs + "<path fill=\"url(#g)\" d=\"M0 0h1\"/>"), strictReport, noApproximation),
              expected("  <path fill=\"none\" d=\"M0 0h1\"/>\n"));
    EXPECT_EQ(strictReport.count(PreflightChange::Dropped, "gradient paint"), 1u);
}

TEST(PreflightDocument, ColorsFillRulesAndOpacity)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<g opacity=\"0.5\" fill-rule=\"nonzero\"><path fill=\"transparent\" stroke=\"hsl(0, 100%, 50%)\" "
                            "clip-rule=\"evenodd\" opacity=\"50%\" d=\"M0 0h1\"/>"
                            "<path fill=\"Blue\" stroke=\"#zz\" fill-opacity=\" 1\" d=\"M0 0h1\"/></g>"
                            "<path fill=\"inherit\" d=\"M0 0h1\" display=\"inline\"/><path display=\"none\" d=\"M0 0h1\"/>"
                            "<g visibility=\"hidden\"><path d=\"M0 0h1\"/><path visibility=\"visible\" d=\"M1 1h1\"/></g>"),
                        report),
              expected("  <g opacity=\"0.5\">\n"
                       "    <path fill=\"none\" stroke=\"#ff0000\" opacity=\"0.25\" d=\"M0 0h1\"/>\n"
                       "    <path fill=\"blue\" fill-opacity=\"1\" d=\"M0 0h1\"/>\n"
                       "  </g>\n"
                       "  <path d=\"M0 0h1\"/>\n"
                       "  <g>\n"
                       "    <path d=\"M1 1h1\"/>\n"
                       "  </g>\n"));
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"fill-rule\" (fills are drawn even-odd)"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"clip-rule\" (fills are drawn even-odd)"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "color converted to a form the reader accepts"), 3u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "paint that cannot be read"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "group opacity multiplied into its content"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "inherit left to the cascade"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "element hidden with display none"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "element hidden with visibility"), 1u);
}

TEST(PreflightDocument, PathDataIsRewrittenOnlyWhenTheStrictParserRejectsIt)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<path d=\"M0,0 1,1\"/><path d=\"M0 0Q1 1 2 0T4 0\"/><path d=\"M0 0 L1 1 L\"/>"
                            "<path d=\"L 1 1\"/><path/><path d=\"M0 0a1 1 0 011 1\"/>"),
                        report),
              expected("  <path d=\"M0,0 1,1\"/>\n"
                       "  <path d=\"M 0 0 C 0.6666667 0.6666667 1.3333334 0.6666667 2 0 C 2.6666667 -0.6666667 "
                       "3.3333333 -0.6666667 4 0\"/>\n"
                       "  <path d=\"M 0 0 L 1 1\"/>\n"
                       "  <path d=\"M 0 0 a 1 1 0 0 1 1 1\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "path data rewritten"), 3u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "quadratic segment as cubic"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "path data after an error"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "path whose data cannot be read"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "path without data"), 1u);
}

TEST(PreflightDocument, FilledPathsWhoseSubpathsCrossAreSplitIntoFillableGroups)
{
    // Two overlapping squares (the second placed by a relative move-to after a
    // close), and an outline with a hole crossed by a third square plus a
    // distant fourth: holes stay with their outline, a square clear of a group
    // joins it, the crossing one gets a path of its own.
    PreflightReport report;
    const std::string out =
        runPreflight(doc("<path id=\"p\" fill=\"#f00\" transform=\"translate(1 0)\" d=\"M0 0h4v4h-4z m2 2h4v4h-4z\"/>"
                         "<path d=\"M0 0H8V8H0Z M2 2H4V4H2Z M6 6H10V10H6Z M20 20h1v1h-1z\"/>"
                         // Not filled, or filled and fine, or crossing inside one
                         // sub-path (no split helps): left as they are.
                         "<path fill=\"none\" d=\"M0 0h4v4h-4z M2 2h4v4h-4z\"/>"
                         "<g fill=\"none\"><path d=\"M0 0h4v4h-4z M2 2h4v4h-4z\"/></g>"
                         "<path d=\"M0 0H8V8H0Z M2 2H4V4H2Z\"/>"
                         "<path d=\"M0 0L4 4V0L0 4Z M2 2h4v4h-4z\"/>"),
                     report);
    EXPECT_EQ(out, expected("  <g id=\"p\" fill=\"#f00\" transform=\"translate(1 0)\">\n"
                            "    <path d=\"M 0 0 h 4 v 4 h -4 Z\"/>\n"
                            "    <path d=\"M 2 2 h 4 v 4 h -4 Z\"/>\n"
                            "  </g>\n"
                            "  <g>\n"
                            "    <path d=\"M 0 0 H 8 V 8 H 0 Z M 2 2 H 4 V 4 H 2 Z M 20 20 h 1 v 1 h -1 Z\"/>\n"
                            "    <path d=\"M 6 6 H 10 V 10 H 6 Z\"/>\n"
                            "  </g>\n"
                            "  <path fill=\"none\" d=\"M0 0h4v4h-4z M2 2h4v4h-4z\"/>\n"
                            "  <g fill=\"none\">\n"
                            "    <path d=\"M0 0h4v4h-4z M2 2h4v4h-4z\"/>\n"
                            "  </g>\n"
                            "  <path d=\"M0 0H8V8H0Z M2 2H4V4H2Z\"/>\n"
                            "  <path d=\"M0 0L4 4V0L0 4Z M2 2h4v4h-4z\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Approximated, "path with crossing sub-paths as separately filled paths"),
              2u);

    PreflightOptions keep;
    keep.splitCrossingSubpaths = false;
    PreflightReport unchanged;
    EXPECT_EQ(runPreflight(doc("<path d=\"M0 0h4v4h-4z m2 2h4v4h-4z\"/>"), unchanged, keep),
              expected("  <path d=\"M0 0h4v4h-4z m2 2h4v4h-4z\"/>\n"));
    EXPECT_TRUE(unchanged.empty());

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
    EXPECT_EQ(runPreflight(doc("<path d=\"" + crowd + "\"/>"), crowded),
              expected("  <path d=\"" + crowd + "\"/>\n"));
    EXPECT_TRUE(crowded.empty()) << crowded.toText();

    // Without the bow tie, every fill of the result triangulates.
    const Strict load = loadStrictly(out.substr(0, out.find("  <path d=\"M0 0L4 4")) + "</svg>\n");
    ASSERT_TRUE(load.ok);
    SegmenterVisitor visitor(static_cast<const Node&>(*load.root));
    EXPECT_FALSE(visitor.hasError());
    EXPECT_EQ(visitor.getSegmentedPrimitives().size(), 7u);
}

TEST(PreflightDocument, NonZeroFillsAreDrawnAsTheirRegionWhenAsked)
{
    // Same-direction nested squares (non-zero: no hole), a pentagram (non-zero:
    // the centre is filled), stroked; the same with evenodd, and squares
    // nested in opposite directions (the same under both rules) stay as they are.
    const std::string kept = "<path fill-rule=\"evenodd\" d=\"M0 0H8V8H0Z M2 2H4V4H2Z\"/>"
                             "<path d=\"M0 0H8V8H0Z M2 2V4H4V2Z\"/>";
    PreflightOptions options;
    options.honorFillRule = true;
    PreflightReport report;
    const std::string out = runPreflight(doc("<g fill-rule=\"nonzero\"><path d=\"M0 0H8V8H0Z M2 2H4V4H2Z\"/>"
                                             "<path stroke=\"red\" d=\"M5 0L8 10L0 4H10L2 10Z\"/></g>" + kept),
                                         report, options);
    EXPECT_NE(out.find("  <path d=\"M0 0H8V8H0Z M2 2H4V4H2Z\"/>\n  <path d=\"M0 0H8V8H0Z M2 2V4H4V2Z\"/>\n"),
              std::string::npos) << out;
    EXPECT_EQ(report.count(PreflightChange::Approximated, "non-zero fill as the boundary of its region"), 2u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "fill-rule resolved into the path data"), 2u);

    const Strict load = loadStrictly(out);
    ASSERT_TRUE(load.ok);
    SegmenterVisitor visitor(static_cast<const Node&>(*load.root));
    std::vector<double> areas;
    for (const auto& primitive : visitor.getSegmentedPrimitives()) areas.push_back(kxtest::FillArea(*primitive));
    // Squares: 64; pentagram fill (its centre pentagon included) and its
    // stroke-only outline; kept squares: 60 each.
    ASSERT_EQ(areas.size(), 5u);
    EXPECT_NEAR(areas[0], 64.0, 1e-4);
    EXPECT_NEAR(areas[1], 32.0908, 1e-3); // 22.18 even-odd
    EXPECT_EQ(areas[2], 0.0);
    EXPECT_NEAR(areas[3], 60.0, 1e-4);
    EXPECT_NEAR(areas[4], 60.0, 1e-4);
}

TEST(PreflightDocument, SmoothCubicsAfterRelativeCubicsGetTheirControlPoint)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<path d=\"M0 0c0-3 5-6 12-6s12 3 12 6\"/><path d=\"M0 0C1 1 2 2 3 3S5 5 6 6\"/>"),
                           report),
              expected("  <path d=\"M 0 0 c 0 -3 5 -6 12 -6 c 7 0 12 3 12 6\"/>\n"
                       "  <path d=\"M0 0C1 1 2 2 3 3S5 5 6 6\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "smooth cubic given its reflected control point"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "path data rewritten"), 1u);

    report.clear();
    EXPECT_EQ(runPreflight(doc("<path d=\"M1 1a.5.5 0 0 1 2 0\"/><path d=\"M1 1a1 1 0 0 1 2 0\"/>"), report),
              expected("  <path d=\"M 1 1 a 1 1 0 0 1 2 0\"/>\n"
                       "  <path d=\"M1 1a1 1 0 0 1 2 0\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "arc radii enlarged to reach the end point"), 1u);
}

TEST(PreflightDocument, NestedSvgSwitchLinksAndText)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<svg x=\"1\" y=\"2\" width=\"4\" height=\"4\" viewBox=\"0 0 2 2\"><rect width=\"1\" height=\"1\"/></svg>"
                            "<switch><g><path d=\"M0 0h1\"/></g><path d=\"M5 5h1\"/></switch>"
                            "<a href=\"x\"><circle r=\"1\" cx=\"1\" cy=\"1\"><title>t</title></circle></a>"
                            "<text x=\"1 2 3\" font-weight=\"700\" font-style=\"normal\" font-size=\"2em\">&lt;a&amp;b&gt;</text>"
                            "<image xlink:href=\"a.png\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"2\" height=\"2\" "
                            "preserveAspectRatio=\"xMidYMid slice\"/>"),
                        report),
              expected("  <g transform=\"translate(1 2) matrix(2 0 0 2 0 0)\">\n"
                       "    <rect width=\"1\" height=\"1\"/>\n"
                       "  </g>\n"
                       "  <g>\n"
                       "    <g>\n"
                       "      <path d=\"M0 0h1\"/>\n"
                       "    </g>\n"
                       "  </g>\n"
                       "  <g>\n"
                       "    <circle r=\"1\" cx=\"1\" cy=\"1\"/>\n"
                       "  </g>\n"
                       "  <text x=\"1\" font-weight=\"bold\" font-size=\"32\">&lt;a&amp;b&gt;</text>\n"
                       "  <image href=\"a.png\" width=\"2\" height=\"2\" preserveAspectRatio=\"xMidYMid\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "nested svg as group"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "switch as its first child"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "link as group"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "element \"title\" inside a shape"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "list of positions as its first entry"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Approximated, "image slice drawn as meet"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "xlink:href as href"), 1u);
}

namespace {
// Preflight, strict load and save of `svg`: the saved text, or the first error.
std::string preflightLoadSave(const std::string& svg)
{
    PreflightReport report;
    std::string out;
    if (!PreflightSvg(svg, PreflightOptions(), out, report)) return "preflight failed: " + report.toText();
    const Strict load = loadStrictly(out);
    if (!load.ok || !load.root) return "load failed: " + (load.errors.empty() ? out : load.errors.front());
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

TEST(PreflightDocument, FontPropertiesOfGroupsMoveOntoTexts)
{
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<g font-family=\"Sans\" style=\"font-size:12px\"><g font-family=\"Serif\">"
                               "<text>a</text><text font-family=\"Mono\">b</text></g><path d=\"M0 0h1\"/></g>"),
                           report),
              expected("  <g>\n"
                       "    <g>\n"
                       "      <text font-family=\"Serif\" font-size=\"12\">a</text>\n"
                       "      <text font-family=\"Mono\" font-size=\"12\">b</text>\n"
                       "    </g>\n"
                       "    <path d=\"M0 0h1\"/>\n"
                       "  </g>\n"));
    EXPECT_EQ(report.count(PreflightChange::Rewritten, "font property moved onto the texts it applies to"), 2u);
}

TEST(PreflightDocument, OptionsDropIdsAndClasses)
{
    PreflightOptions options;
    options.keepIds = false;
    options.keepClasses = false;
    PreflightReport report;
    EXPECT_EQ(runPreflight(doc("<style>.c{fill:red}</style><path id=\"a\" class=\"c\" d=\"M0 0h1\"/>"), report, options),
              expected("  <path d=\"M0 0h1\" fill=\"red\"/>\n"));
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"id\" (by option)"), 1u);
    EXPECT_EQ(report.count(PreflightChange::Dropped, "attribute \"class\" (by option)"), 1u);
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

    const std::string external = "<?xml version=\"1.0\"?><!DOCTYPE svg [<!ENTITY x SYSTEM \"file:///etc/hostname\">]>"
                                 "<svg xmlns=\"http://www.w3.org/2000/svg\"><text>&x;</text></svg>";
    report.clear();
    ASSERT_TRUE(PreflightSvg(external, PreflightOptions(), out, report));
    EXPECT_EQ(body(out), "<svg xmlns=\"http://www.w3.org/2000/svg\">\n  <text/>\n</svg>\n");

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

    // Internal entities are expanded.
    const std::string internal = "<!DOCTYPE svg [<!ENTITY ns \"http://www.w3.org/2000/svg\"><!ENTITY c \"red\">]>"
                                 "<svg xmlns=\"&ns;\" viewBox=\"0 0 1 1\"><path fill=\"&c;\" d=\"M0 0h1\"/></svg>";
    report.clear();
    ASSERT_TRUE(PreflightSvg(internal, PreflightOptions(), out, report));
    EXPECT_EQ(body(out), "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1 1\">\n  <path fill=\"red\" d=\"M0 0h1\"/>\n</svg>\n");

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
    EXPECT_TRUE(loadStrictly(out).ok);
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
    EXPECT_TRUE(loadStrictly(out).ok);

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
        const Strict load = loadStrictly(out);
        EXPECT_TRUE(load.ok) << text << "\n" << out << (load.errors.empty() ? "" : load.errors.front());
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
