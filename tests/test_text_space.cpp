// Tests of the two xml:space modes applied to raw text content.
#include <kx/svg/TextSpace.h>

#include <gtest/gtest.h>

using kx::svg::ApplySvgXMLSpaceDefault;
using kx::svg::ApplySvgXMLSpacePreserve;

TEST(TextSpacePreserve, ReplacesEachBreakAndTabByOneSpace)
{
    EXPECT_EQ(ApplySvgXMLSpacePreserve("a\r\n\tb"), "a   b");
    EXPECT_EQ(ApplySvgXMLSpacePreserve(""), "");
    EXPECT_EQ(ApplySvgXMLSpacePreserve("  x  "), "  x  ");
    EXPECT_EQ(ApplySvgXMLSpacePreserve("\n\n"), "  ");
    // Other control bytes are not white space here.
    EXPECT_EQ(ApplySvgXMLSpacePreserve("a\vb\fc"), "a\vb\fc");
    const std::string utf8 = "\xC3\xA9t\xC3\xA9\n\xE2\x82\xAC";
    const std::string out = ApplySvgXMLSpacePreserve(utf8);
    EXPECT_EQ(out.size(), utf8.size());
    EXPECT_EQ(out, "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC");
}

TEST(TextSpaceDefault, CollapsesAndTrims)
{
    EXPECT_EQ(ApplySvgXMLSpaceDefault(""), "");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("  a  b  "), "a b");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("\t\tx"), "x");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a \t b"), "a b");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("word"), "word");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a\tb"), "a b");
}

TEST(TextSpaceDefault, LineBreakQuirks)
{
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a\nb"), "ab");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a\r\nb"), "ab");
    // Blanks on both sides of a break are two runs.
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a \n b"), "a  b");
    // Blanks before a final break leave one trailing space.
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a \n"), "a ");
    // A first word ended by a break still counts as the start.
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a\n b"), "ab");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("a b\n c"), "a b c");
    // Leading blanks end the start state, so the indentation of the next line counts.
    EXPECT_EQ(ApplySvgXMLSpaceDefault("\n  Hello\n  world\n"), "Hello world");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("  \n  x"), "x");
}

TEST(TextSpaceDefault, OnlyBlanksAndBreaksGiveEmpty)
{
    EXPECT_EQ(ApplySvgXMLSpaceDefault(" "), "");
    EXPECT_EQ(ApplySvgXMLSpaceDefault(" \t\r\n \n\t "), "");
    EXPECT_EQ(ApplySvgXMLSpaceDefault("\n\r\n"), "");
}

TEST(TextSpaceDefault, KeepsUtf8Bytes)
{
    EXPECT_EQ(ApplySvgXMLSpaceDefault("  \xC3\xA9t\xC3\xA9   \xE2\x82\xAC  "), "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC");
    // Bytes 0x80 and above are never blanks, and a NUL byte is an ordinary one.
    EXPECT_EQ(ApplySvgXMLSpaceDefault(std::string("a\0 b", 4)), std::string("a\0 b", 4));
    EXPECT_EQ(ApplySvgXMLSpaceDefault("\xA0x\xA0"), "\xA0x\xA0");
}
