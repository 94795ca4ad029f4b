// test_path_parser.cpp - path data to commands: grammar, messages, positions, numbers.
#include <kx/svg/PathParser.h>
#include <kx/system/kxStringUtils.h>

#include "path/PathNumber.h"

#include "TestSupport.h"

#include <gtest/gtest.h>
#include <utf8.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <list>
#include <sstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

using kx::svg::ConvertPathStringToCommands;
using kx::svg::Path;
using CT = kx::svg::Path::CommandType;

namespace {

struct ParseResult {
    bool ok;
    std::string error;
    std::list<Path::Command> commands;
};

ParseResult Parse(const std::string& text)
{
    ParseResult r;
    r.error = "<unset>";
    r.ok = ConvertPathStringToCommands(text, r.commands, &r.error);
    return r;
}

// The error message of a text that must fail.
std::string ErrorOf(const std::string& text)
{
    ParseResult r = Parse(text);
    EXPECT_FALSE(r.ok) << "accepted: " << text;
    return r.error;
}

Path::Command Cmd(CT type, std::vector<float> args) { return Path::Command(type, std::move(args)); }

std::vector<Path::Command> Vec(const std::list<Path::Command>& commands)
{
    return std::vector<Path::Command>(commands.begin(), commands.end());
}

std::string Describe(const std::list<Path::Command>& commands)
{
    std::string s;
    for (const auto& c : commands) {
        s += "MmLlAaHhVvCcSsZ"[static_cast<int>(c.type)];
        for (float f : c.arguments) {
            char buf[32];
            std::snprintf(buf, sizeof buf, " %.9g", f);
            s += buf;
        }
        s += ';';
    }
    return s;
}

uint32_t Bits(float f)
{
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

} // namespace

TEST(PathParser, EmptyAndWhiteSpaceOnlyTextsAreValid)
{
    for (const char* text : {"", " ", "   ", "\n", " \n \n "}) {
        ParseResult r = Parse(text);
        EXPECT_TRUE(r.ok) << '"' << text << '"';
        EXPECT_TRUE(r.commands.empty());
        EXPECT_EQ(r.error, "<unset>") << "the error is only written on failure";
    }
}

// Each line of path/cases.txt is a path text; path/cases.out pins the
// commands the parser makes of it and, when it fails, the message with its position.
TEST(PathParser, GoldenCases)
{
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/path/";
    std::string input;
    ASSERT_TRUE(kxtest::readFile(dir + "cases.txt", input));
    std::string actual;
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::string text;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char next = i + 1 < line.size() ? line[i + 1] : '\0';
            if (line[i] != '\\' || std::strchr("trn\\", next) == nullptr || next == '\0') {
                text += line[i];
                continue;
            }
            text += next == 't' ? '\t' : next == 'r' ? '\r' : next == 'n' ? '\n' : '\\';
            ++i;
        }
        const ParseResult r = Parse(text);
        std::string error; // with the same escapes as the input
        for (char c : r.error) error += c == '\r' ? "\\r" : c == '\n' ? "\\n" : c == '\t' ? "\\t" : std::string(1, c);
        actual += line + "\n  " + Describe(r.commands) + (r.ok ? "" : "\n  error: " + error) + "\n";
    }
    kxtest::ExpectGolden(actual, dir + "cases.out");
}

TEST(PathParser, FlagsAndSignedZeroAreStoredAsFloats)
{
    ParseResult arc = Parse("M 0 0 A 5 5 0 1 0 10 10");
    ASSERT_TRUE(arc.ok);
    EXPECT_EQ(Vec(arc.commands)[1], Cmd(CT::EllipticalArcAbs, {5, 5, 0, 1.0f, 0.0f, 10, 10}));
    ParseResult negativeZero = Parse("M-0 0");
    ASSERT_TRUE(negativeZero.ok);
    EXPECT_TRUE(std::signbit(negativeZero.commands.front().arguments[0]));
}

TEST(PathParser, FailuresKeepTheCommandsAlreadyMadeAndAppendToTheList)
{
    std::list<Path::Command> commands;
    commands.emplace_back(CT::ClosePath, std::vector<float>());
    std::string error;
    EXPECT_FALSE(ConvertPathStringToCommands("M 1 2 L 3 4 Q", commands, &error));
    EXPECT_EQ(error, "Unsupported command in path @12 : Q");
    EXPECT_EQ(Describe(commands), "Z;M 1 2;L 3 4;");
    // The error pointer may be null.
    EXPECT_FALSE(ConvertPathStringToCommands("Q", commands, nullptr));
    EXPECT_TRUE(ConvertPathStringToCommands("M 5 6", commands, nullptr));
    EXPECT_EQ(Describe(commands), "Z;M 1 2;L 3 4;M 5 6;");
}

TEST(PathParser, RestOfTextStopsAtTheFirstNulByte)
{
    EXPECT_EQ(ErrorOf(std::string("M 0 0 \0abc", 10)), "Unsupported command in path @6 : ");
    EXPECT_EQ(ErrorOf(std::string("M 0 0 #x\0yz", 11)), "Unsupported command in path @6 : #x");
}

TEST(PathParser, Utf8)
{
    // Non-ASCII characters end numbers and are never commands.
    EXPECT_EQ(ErrorOf("M 0 0 \xc3\xa9 1"), "Unsupported command in path @6 : \xc3\xa9 1");
    EXPECT_EQ(ErrorOf("M 0\xc3\xa9" "0"), "Expected MoveTo sequence at position 3");
    EXPECT_EQ(ErrorOf("M 0 0 \xe2\x80\x83L 1 1"), "Unsupported command in path @6 : \xe2\x80\x83L 1 1");
    // Malformed sequences reached by the scanner throw the utf8 library's exceptions.
    std::list<Path::Command> commands;
    EXPECT_THROW(ConvertPathStringToCommands("M 0 0 \xff", commands, nullptr), utf8::invalid_utf8);
    EXPECT_THROW(ConvertPathStringToCommands("M 0 0 \x80 1", commands, nullptr), utf8::invalid_utf8);
    EXPECT_THROW(ConvertPathStringToCommands("M 0\xc3", commands, nullptr), utf8::not_enough_room);
    EXPECT_THROW(ConvertPathStringToCommands("M 0 0 \xed\xa0\x80", commands, nullptr), utf8::invalid_code_point);
    EXPECT_THROW(ConvertPathStringToCommands("M 0 0 \xf4\x90\x80\x80", commands, nullptr),
                 utf8::invalid_code_point);
    EXPECT_THROW(ConvertPathStringToCommands("\xc0\xaf", commands, nullptr), utf8::invalid_utf8);
}

TEST(PathParser, TokensCarryEveryGroupOfACommandAtOnce)
{
    std::vector<std::pair<char, std::vector<float>>> tokens;
    kx::svg::PathVisitorStrToTokens visitor("M 1 2 3 4 l 5 6 7 8 z A 1 1 0 0 0 2 2 3 3 0 1 1 4 4",
                                            [&tokens](char letter, std::vector<float>&& numbers) {
                                                tokens.emplace_back(letter, std::move(numbers));
                                            });
    EXPECT_TRUE(visitor.visit());
    EXPECT_EQ(visitor.getErrorString(), "");
    ASSERT_EQ(tokens.size(), 4u);
    EXPECT_EQ(tokens[0], std::make_pair('M', std::vector<float>{1, 2, 3, 4}));
    EXPECT_EQ(tokens[1], std::make_pair('l', std::vector<float>{5, 6, 7, 8}));
    EXPECT_EQ(tokens[2], std::make_pair('z', std::vector<float>{}));
    EXPECT_EQ(tokens[3], std::make_pair('A', std::vector<float>{1, 1, 0, 0, 0, 2, 2, 3, 3, 0, 1, 1, 4, 4}));

    // The visitor keeps its own copy of the text.
    std::string text = "M 1 1";
    kx::svg::PathVisitorStrToTokens copy(text, [](char, std::vector<float>&&) {});
    text = "garbage";
    EXPECT_TRUE(copy.visit());

    // In place: only [first, last) is read (the number "10" is cut to "1"),
    // and error positions count from first.
    const std::string buffer = "xxM 1 10";
    std::vector<float> numbers;
    kx::svg::PathVisitorStrToTokens inPlace(buffer.data() + 2, buffer.data() + 7,
                                            [&numbers](char, std::vector<float>&& n) { numbers = n; });
    EXPECT_TRUE(inPlace.visit());
    EXPECT_EQ(numbers, (std::vector<float>{1, 1}));
    const std::string broken = "xxM 1 2 L 3 ,";
    kx::svg::PathVisitorStrToTokens failing(broken.data() + 2, broken.data() + broken.size(),
                                            [](char, std::vector<float>&&) {});
    EXPECT_FALSE(failing.visit());
    EXPECT_EQ(failing.getErrorString(), "Unmatched coordinate sequence after L at position 11");
}

// ---------------------------------------------------------------- number conversion

TEST(PathNumber, SpecialFormsAgreeWithStrtof)
{
    struct Case {
        const char* text;
        bool accepted;
    };
    const Case cases[] = {
        {"1", true},    {"1e", false},   {"1e+", false},   {"1e-", false},   {".", false},      {"-", false},
        {"+", false},   {"e5", false},   {"1e5.5", false}, {"1.", true},     {".5", true},      {"-.5", true},
        {"+1", true},   {"+.5", true},   {"-0", true},     {"1e39", true},   {"-1e39", true},   {"1e-50", true},
        {"1e-45", true}, {"1e-38", true}, {"00012", true},  {"1e+5", true},   {"1E5", true},     {"1e5e", false},
        {"1ee5", false}, {"-e5", false},  {"--1", false},   {"1e--5", false}, {"1e+-5", false},  {"-.", false},
        {".e1", false},  {"0e0", true},   {"3.4028235e38", true}, {"3.4028236e38", true},
        {"1e99999999999999999999", true}, {"0e99999999999999999999", true}, {"1e-99999999999999999999", true},
    };
    for (const Case& c : cases) {
        const char* end = c.text + std::strlen(c.text);
        float fast = -123.0f, reference = -123.0f;
        const bool fastOk = kx::svg::impl::ConvertPathNumber(c.text, end, fast);
        const bool refOk = kx::svg::impl::ConvertPathNumberStrtof(c.text, end, reference);
        EXPECT_EQ(refOk, c.accepted) << c.text;
        EXPECT_EQ(fastOk, refOk) << c.text;
        if (fastOk && refOk) {
            EXPECT_EQ(Bits(fast), Bits(reference)) << c.text;
        }
    }
    float v = 0.0f;
    ASSERT_TRUE(kx::svg::impl::ConvertPathNumber("1e39", "1e39" + 4, v));
    EXPECT_TRUE(std::isinf(v));
    // The taken characters only: the next character is not looked at.
    const char* hex = "0x1";
    ASSERT_TRUE(kx::svg::impl::ConvertPathNumber(hex, hex + 1, v));
    EXPECT_EQ(v, 0.0f);
    // Very long texts (beyond any fixed buffer) still convert exactly.
    std::string longText = "0." + std::string(200, '0') + "1e201";
    ASSERT_TRUE(kx::svg::impl::ConvertPathNumber(longText.data(), longText.data() + longText.size(), v));
    EXPECT_EQ(v, 1.0f);
    std::string longDigits(300, '9');
    ASSERT_TRUE(kx::svg::impl::ConvertPathNumber(longDigits.data(), longDigits.data() + longDigits.size(), v));
    EXPECT_TRUE(std::isinf(v));
}

TEST(PathNumber, FastPathMatchesStrtofOnGeneratedTexts)
{
    std::mt19937 rng(20260222);
    auto check = [](const std::string& text) {
        float fast = 0.0f, reference = 0.0f;
        const char* b = text.data();
        const char* e = b + text.size();
        const bool fastOk = kx::svg::impl::ConvertPathNumber(b, e, fast);
        const bool refOk = kx::svg::impl::ConvertPathNumberStrtof(b, e, reference);
        ASSERT_EQ(fastOk, refOk) << text;
        if (fastOk) {
            ASSERT_EQ(Bits(fast), Bits(reference)) << text;
        }
    };
    // Random strings over exactly the characters the scanner can take.
    const char alphabet[] = "0123456789eE+-.";
    std::uniform_int_distribution<int> length(1, 10);
    std::uniform_int_distribution<int> pick(0, 14);
    for (int i = 0; i < 100000; ++i) {
        std::string text;
        const int n = length(rng);
        for (int k = 0; k < n; ++k) text += alphabet[pick(rng)];
        check(text);
        if (HasFatalFailure()) return;
    }
    // Printed floats of every magnitude, including denormals, halfway cases and overflow.
    std::uniform_int_distribution<uint32_t> bits(0, 0xffffffffu);
    const char* formats[] = {"%.9g", "%.17g", "%.6e", "%.3f", "%.30e", "%.8g"};
    char buf[128];
    for (int i = 0; i < 60000; ++i) {
        uint32_t u = bits(rng);
        float f;
        std::memcpy(&f, &u, sizeof f);
        if (std::isnan(f) || std::isinf(f)) continue;
        std::snprintf(buf, sizeof buf, formats[i % 6], static_cast<double>(f));
        check(buf);
        // Halfway between two neighbouring floats: the rounding case.
        const double next = std::nextafter(static_cast<double>(f), static_cast<double>(INFINITY));
        std::snprintf(buf, sizeof buf, "%.25e", (static_cast<double>(f) + static_cast<double>(std::nextafterf(f, INFINITY))) / 2.0);
        check(buf);
        std::snprintf(buf, sizeof buf, "%.20e", next);
        check(buf);
        if (HasFatalFailure()) return;
    }
    for (int exponent = -60; exponent <= 60; ++exponent) {
        for (const char* mantissa : {"1", "9.99999", "3.4028235", "1.17549435", "1.4012984", "0.7006492", "5"}) {
            std::snprintf(buf, sizeof buf, "%se%d", mantissa, exponent);
            check(buf);
            std::snprintf(buf, sizeof buf, "-%se%+d", mantissa, exponent);
            check(buf);
        }
    }
}


// ---------------------------------------------------------------- generated texts

TEST(PathParserGenerated, WrittenCommandsParseBackExactly)
{
    // Random command lists written with every accepted separator form must
    // come back as exactly the commands written.
    std::mt19937 rng(5);
    const std::string letters = "MmLlAaHhVvCcSsZz";
    const unsigned counts[] = {2, 2, 2, 2, 7, 7, 1, 1, 1, 1, 6, 6, 4, 4, 0, 0};
    const CT types[] = {CT::MoveToAbs, CT::MoveToRel, CT::LineToAbs, CT::LineToRel, CT::EllipticalArcAbs,
                        CT::EllipticalArcRel, CT::HLineToAbs, CT::HLineToRel, CT::VLineToAbs, CT::VLineToRel,
                        CT::CubicBezierAbs, CT::CubicBezierRel, CT::SmoothCubicBezierAbs, CT::SmoothCubicBezierRel,
                        CT::ClosePath, CT::ClosePath};
    std::uniform_int_distribution<int> pickLetter(0, 15);
    std::uniform_int_distribution<int> pickGroups(1, 3);
    std::uniform_int_distribution<int> pickCommands(1, 12);
    std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
    std::uniform_int_distribution<int> coin(0, 3);
    const char* formats[] = {"%g", "%.3f", "%.2e", "%.9g"};
    const char* separators[] = {" ", ",", " , ", "\n", "  "};
    const char* gaps[] = {" ", "\n", "", "  \n "};

    for (int round = 0; round < 3000; ++round) {
        std::string text = coin(rng) == 0 ? " " : "";
        std::list<Path::Command> expected;
        const int commandCount = pickCommands(rng);
        for (int c = 0; c < commandCount; ++c) {
            int li = c == 0 ? coin(rng) % 2 : pickLetter(rng);
            const char letter = letters[li];
            text += letter;
            text += gaps[coin(rng)];
            const unsigned n = counts[li];
            if (n == 0) {
                expected.emplace_back(CT::ClosePath, std::vector<float>());
                text += ' ';
                continue;
            }
            const int groups = pickGroups(rng);
            for (int g = 0; g < groups; ++g) {
                if (g > 0) text += coin(rng) % 2 ? " " : "\n";
                std::vector<float> numbers;
                for (unsigned k = 0; k < n; ++k) {
                    const bool flag = n == 7 && (k == 3 || k == 4);
                    char buf[64];
                    if (flag) {
                        const int f = coin(rng) % 2;
                        std::snprintf(buf, sizeof buf, "%d", f);
                    } else {
                        std::snprintf(buf, sizeof buf, formats[coin(rng)], static_cast<double>(value(rng)));
                    }
                    if (k > 0) {
                        // No separator at all is allowed before a sign.
                        const bool bare = buf[0] == '-' && coin(rng) == 0;
                        if (!bare) text += separators[std::uniform_int_distribution<int>(0, 4)(rng)];
                    }
                    text += buf;
                    numbers.push_back(std::strtof(buf, nullptr));
                }
                CT type = types[li];
                if (g > 0 && letter == 'M') type = CT::LineToAbs;
                if (g > 0 && letter == 'm') type = CT::LineToRel;
                expected.emplace_back(type, std::move(numbers));
            }
            text += gaps[coin(rng)];
            // Two groups of different commands must not merge: a space keeps them apart.
            text += ' ';
        }
        std::list<Path::Command> commands;
        std::string error;
        ASSERT_TRUE(ConvertPathStringToCommands(text, commands, &error)) << text << "\n" << error;
        ASSERT_EQ(Describe(commands), Describe(expected)) << text;
    }
}
