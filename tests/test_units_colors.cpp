// test_units_colors.cpp - units, rendering properties, cascade and colour parsing.
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Units.h>

#include "TestSupport.h"
#include "model/NamedColors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>
#include <string>

using namespace kx::svg;

namespace {

std::string Rgba(const std::string& text)
{
    Wm4::Vector4<unsigned char> c;
    if (!ParseSvgColor(text, c)) return "fail";
    return std::to_string(c[0]) + "," + std::to_string(c[1]) + "," + std::to_string(c[2]) + "," +
           std::to_string(c[3]);
}

std::string Parse(const std::string& text)
{
    UnitValue v(-7.0f, Unit::In);
    if (!UnitValue::parseVal(text, v)) return "fail";
    std::string out = std::to_string(v.value);
    out += "/" + std::to_string(static_cast<int>(v.unit));
    return out;
}

} // namespace

// Golden cases: tests/data/values/colors.txt and units.txt hold one value a
// line; colors.out and units.out give each quoted, then what it parses to
// (red, green, blue, alpha or value/unit), or "fail".
TEST(ValuesGolden, ColoursAndUnits)
{
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/values/";
    const std::pair<const char*, std::string (*)(const std::string&)> areas[] = {{"colors", Rgba}, {"units", Parse}};
    for (const auto& [name, parse] : areas) {
        std::string input, out;
        ASSERT_TRUE(kxtest::readFile(dir + name + ".txt", input)) << name;
        std::istringstream lines(input);
        for (std::string line; std::getline(lines, line);) out += "'" + line + "' " + parse(line) + "\n";
        kxtest::ExpectGolden(out, dir + name + ".out");
    }
    // Line breaks and NUL bytes: a NUL ends the text early, so nothing follows it.
    EXPECT_EQ(Parse(" -4\t\n"), "-4.000000/0");
    EXPECT_EQ(Parse(std::string("1\0px", 4)), "fail");
    EXPECT_EQ(Rgba(std::string("red\0", 4)), "fail");

    // A failed parse leaves the output untouched.
    UnitValue out(5.0f, Unit::Cm);
    EXPECT_FALSE(UnitValue::parseVal("abc", out));
    EXPECT_EQ(out, UnitValue(5.0f, Unit::Cm));
}

TEST(UnitValueTest, UnitSuffixes)
{
    const char* expected[] = {"", "%", "em", "px", "pt", "cm", "mm", "in", ""};
    for (int i = 0; i <= 8; ++i) {
        std::string text = "junk";
        EXPECT_TRUE(UnitToString(static_cast<Unit>(i), text, false));
        EXPECT_EQ(text, expected[i]) << i;
    }
    std::string text = "4";
    EXPECT_TRUE(UnitToString(Unit::Px, text, true));
    EXPECT_EQ(text, "4px");
    text = "4";
    EXPECT_FALSE(UnitToString(static_cast<Unit>(9), text, true));
    EXPECT_EQ(text, "4");
    EXPECT_FALSE(UnitToString(static_cast<Unit>(255), text, false));
    EXPECT_EQ(text, "");
}

TEST(ColorTest, NamedColourTable)
{
    // The table: 148 distinct names in sorted order, every one found.
    const impl::NamedColor* table = impl::NamedColorsBegin();
    ASSERT_EQ(impl::NamedColorsCount(), 148u);
    for (std::size_t i = 0; i < impl::NamedColorsCount(); ++i) {
        if (i > 0) {
            EXPECT_LT(std::strcmp(table[i - 1].name, table[i].name), 0) << table[i].name;
        }
        EXPECT_EQ(impl::FindNamedColor(table[i].name), &table[i]);
    }
}

TEST(RenderingPropertiesTest, PaintTestsAndColours)
{
    RenderingProperties p;
    EXPECT_TRUE(p.hasFill());
    EXPECT_FALSE(p.hasStroke());
    EXPECT_EQ(p.parseFillColor(), Wm4::ColorRGBA(0, 0, 0, 1));
    EXPECT_EQ(p.parseStrokeColor(), Wm4::ColorRGBA(0, 0, 0, 1));

    p.fill = "none";
    p.fillOpacity = 1.0f;
    EXPECT_FALSE(p.hasFill());
    EXPECT_EQ(p.parseFillColor(), Wm4::ColorRGBA(0, 0, 0, 0));

    RenderingProperties s;
    s.stroke = "red";
    EXPECT_TRUE(s.hasStroke());
    s.strokeOpacity = 0.5f;
    s.opacity = 0.0f;
    EXPECT_FALSE(s.hasStroke());
    s.opacity = 0.5f;
    EXPECT_TRUE(s.hasStroke());
    EXPECT_EQ(s.parseStrokeColor(), Wm4::ColorRGBA(1, 0, 0, 0.25f));
    s.stroke = "none";
    EXPECT_FALSE(s.hasStroke());

    RenderingProperties f;
    f.fillOpacity = 0.0f;
    EXPECT_FALSE(f.hasFill());
    f.fillOpacity = -1.0f;
    EXPECT_FALSE(f.hasFill());
    EXPECT_EQ(f.parseFillColor(), Wm4::ColorRGBA(0, 0, 0, 0)); // alpha clamped to 0

    EXPECT_EQ(RenderingProperties::ParseColor(std::string("#ff0000"), 2.0f), Wm4::ColorRGBA(1, 0, 0, 1));
    EXPECT_EQ(RenderingProperties::ParseColor(std::string("#ff000080"), 1.0f),
              Wm4::ColorRGBA(1, 0, 0, static_cast<float>(128 / 255.0)));
    EXPECT_EQ(RenderingProperties::ParseColor(std::string("#336699"), 1.0f),
              Wm4::ColorRGBA(static_cast<float>(0x33 / 255.0), static_cast<float>(0x66 / 255.0),
                             static_cast<float>(0x99 / 255.0), 1.0f));
    EXPECT_EQ(RenderingProperties::ParseColor(std::string("bogus"), 1.0f), Wm4::ColorRGBA(0, 0, 0, 0));
    EXPECT_EQ(RenderingProperties::ParseColor(std::nullopt, 0.25f), Wm4::ColorRGBA(0, 0, 0, 0.25f));
    EXPECT_EQ(RenderingProperties::ParseColor(std::nullopt, 7.0f), Wm4::ColorRGBA(0, 0, 0, 1));
    EXPECT_EQ(RenderingProperties::ParseColor(std::nullopt, std::nanf("")), Wm4::ColorRGBA(0, 0, 0, 0));
}

TEST(RenderingPropertiesTest, CascadeFillsOnlyGapsAndNeverVectorEffect)
{
    RenderingProperties parent;
    parent.opacity = 0.2f;
    parent.strokeWidth = 3.0f;
    parent.strokeOpacity = 0.4f;
    parent.stroke = "blue";
    parent.strokeLinecap = LineCap::Round;
    parent.strokeLinejoin = LineJoin::Bevel;
    parent.strokeDasharray = std::vector<UnitValue>{UnitValue(1, Unit::Px)};
    parent.className = "c";
    parent.fill = "red";
    parent.fillOpacity = 0.6f;
    parent.vectorEffect = NonScalingStroke;

    RenderingProperties empty;
    empty.cascadeParent(parent);
    RenderingProperties expected = parent;
    expected.vectorEffect.reset();
    EXPECT_EQ(empty, expected);

    RenderingProperties child;
    child.opacity = 0.5f;
    child.fill = "none";
    child.strokeDasharray = std::vector<UnitValue>{};
    child.cascadeParent(parent);
    EXPECT_EQ(*child.opacity, 0.5f);
    EXPECT_EQ(*child.fill, "none");
    EXPECT_TRUE(child.strokeDasharray->empty());
    EXPECT_EQ(*child.className, "c");
    EXPECT_EQ(*child.strokeWidth, 3.0f);
    EXPECT_FALSE(child.vectorEffect.has_value());

    // Absent in the parent stays absent.
    RenderingProperties bare;
    bare.cascadeParent(RenderingProperties());
    EXPECT_EQ(bare, RenderingProperties());
    EXPECT_NE(child, bare);
}
