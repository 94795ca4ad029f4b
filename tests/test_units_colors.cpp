// test_units_colors.cpp - units, rendering properties, cascade and colour parsing.
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Units.h>

#include "model/NamedColors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
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

TEST(UnitValueTest, ParsesNumbersWithTheirUnits)
{
    EXPECT_EQ(Parse("12.5px"), "12.500000/3");
    EXPECT_EQ(Parse("12.5 px "), "12.500000/3");
    EXPECT_EQ(Parse("50%"), "50.000000/1");
    EXPECT_EQ(Parse("3"), "3.000000/0");
    EXPECT_EQ(Parse("%"), "0.000000/1");
    EXPECT_EQ(Parse(""), "0.000000/0");
    EXPECT_EQ(Parse("   "), "0.000000/0");
    EXPECT_EQ(Parse("1e2mm"), "100.000000/6");
    EXPECT_EQ(Parse("2em"), "2.000000/2");
    EXPECT_EQ(Parse("2pt"), "2.000000/4");
    EXPECT_EQ(Parse("2cm"), "2.000000/5");
    EXPECT_EQ(Parse("2in"), "2.000000/7");
    EXPECT_EQ(Parse(" -4\t\n"), "-4.000000/0");
    EXPECT_EQ(Parse("0x10"), "16.000000/0");
    EXPECT_EQ(Parse("7"), "7.000000/0");
    // Not units: "ex", "pc", capitals; rubbish; an embedded NUL stops the number early.
    EXPECT_EQ(Parse("10ex"), "fail");
    EXPECT_EQ(Parse("10pc"), "fail");
    EXPECT_EQ(Parse("10PX"), "fail");
    EXPECT_EQ(Parse("px"), "0.000000/3"); // the empty rest reads as 0, as with "%"
    EXPECT_EQ(Parse("1 2"), "fail");
    EXPECT_EQ(Parse(std::string("1\0px", 4)), "fail");
    EXPECT_EQ(Parse("12px%"), "fail");

    // A failed parse leaves the output untouched.
    UnitValue out(5.0f, Unit::Cm);
    EXPECT_FALSE(UnitValue::parseVal("abc", out));
    EXPECT_EQ(out, UnitValue(5.0f, Unit::Cm));

    UnitValue inf;
    ASSERT_TRUE(UnitValue::parseVal("inf", inf));
    EXPECT_TRUE(std::isinf(inf.value));
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

TEST(ColorTest, HexadecimalForms)
{
    EXPECT_EQ(Rgba("#ff8000"), "255,128,0,255");
    EXPECT_EQ(Rgba("#FF800080"), "255,128,0,128");
    EXPECT_EQ(Rgba("#f80"), "255,136,0,255");
    EXPECT_EQ(Rgba("#f80c"), "255,136,0,204");
    // Bad digits are not rejected: the conversion stops at the first one.
    EXPECT_EQ(Rgba("#zz0000"), "0,0,0,255");
    EXPECT_EQ(Rgba("#1z0000"), "1,0,0,255");
    EXPECT_EQ(Rgba("#ggg"), "0,0,0,255");
    // Other lengths are not hexadecimal colours.
    EXPECT_EQ(Rgba("#ff00"), "255,255,0,0");
    EXPECT_EQ(Rgba("#ff000"), "fail");
    EXPECT_EQ(Rgba("#"), "fail");
    EXPECT_EQ(Rgba("#12345678"), "18,52,86,120");
    EXPECT_EQ(Rgba("#1234567890"), "fail");
}

TEST(ColorTest, FunctionalForms)
{
    EXPECT_EQ(Rgba("rgb(100%, 0%, 50%)"), "254,0,127,255");
    EXPECT_EQ(Rgba("rgb(-50%,200%,0%)"), "129,253,0,255");
    EXPECT_EQ(Rgba("rgb(256,0,0)"), "fail");
    EXPECT_EQ(Rgba("rgb(255,0,0)"), "255,0,0,255");
    EXPECT_EQ(Rgba("rgb(0x10,010,1)"), "16,8,1,255");
    EXPECT_EQ(Rgba("rgb( 1 0 , 2 ,3 )"), "10,2,3,255");
    EXPECT_EQ(Rgba("rgba(1,2,3,4)"), "1,2,3,4");
    EXPECT_EQ(Rgba("rgba(1,2,3,50%)"), "1,2,3,127");
    EXPECT_EQ(Rgba("rgba(0,0,0,0.5)"), "fail");
    EXPECT_EQ(Rgba("rgb(1,2)"), "fail");
    EXPECT_EQ(Rgba("rgb(1,2,3,4)"), "fail");
    EXPECT_EQ(Rgba("rgba(1,2,3)"), "fail");
    EXPECT_EQ(Rgba("rgb(1,2,3"), "fail");
    EXPECT_EQ(Rgba("rgb()"), "fail");
    EXPECT_EQ(Rgba("rgb(a,b,c)"), "fail");
    EXPECT_EQ(Rgba("rgb(1.5,2,3)"), "fail");
    EXPECT_EQ(Rgba("rgb(nan%,0,0)"), "fail");
    EXPECT_EQ(Rgba("rgb(inf%,0,0)"), "fail");
    EXPECT_EQ(Rgba("rgb(1e30%,0,0)"), "0,0,0,255");
    EXPECT_EQ(Rgba("rgb(x%,0,0)"), "fail");
    EXPECT_EQ(Rgba("RGB(1,2,3)"), "fail");
}

TEST(ColorTest, NamedColours)
{
    EXPECT_EQ(Rgba("darkslategray"), "47,79,79,255");
    EXPECT_EQ(Rgba("darkslategrey"), "47,79,79,255");
    EXPECT_EQ(Rgba("rebeccapurple"), "102,51,153,255");
    EXPECT_EQ(Rgba("gray"), "128,128,128,255");
    EXPECT_EQ(Rgba("grey"), "128,128,128,255");
    EXPECT_EQ(Rgba("green"), "0,128,0,255");
    EXPECT_EQ(Rgba("lime"), "0,255,0,255");
    EXPECT_EQ(Rgba("aliceblue"), "240,248,255,255");
    EXPECT_EQ(Rgba("yellowgreen"), "154,205,50,255");
    EXPECT_EQ(Rgba("lightgoldenrodyellow"), "250,250,210,255");
    EXPECT_EQ(Rgba("red"), "255,0,0,255");
    EXPECT_EQ(Rgba("RED"), "fail");
    EXPECT_EQ(Rgba("Red"), "fail");
    EXPECT_EQ(Rgba("none"), "fail");
    EXPECT_EQ(Rgba("transparent"), "fail");
    EXPECT_EQ(Rgba("currentColor"), "fail");
    EXPECT_EQ(Rgba(""), "fail");
    EXPECT_EQ(Rgba(std::string("red\0", 4)), "fail");

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
