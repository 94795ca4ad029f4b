// Number exactness: the path-data scanner must give exactly strtof_l's float
// for every number of the corpus, and the writer's number text must be exactly
// what a classic-locale string stream writes, over millions of values and
// every rounding tie we can build.
#include <kx/svg/Options.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/WriterHelpers.h>

#include "TestSupport.h"
#include "path/PathNumber.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale.h>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace kx::svg;

namespace {

// Every "d" attribute text of a file, with tab, carriage return and line feed
// turned into spaces as XML attribute-value normalisation does (a plain scan,
// no XML parser; texts holding character references are left to the parser's
// own tests, as the scanner rejects the '&').
std::vector<std::string> PathDataTexts(const std::string& content)
{
    std::vector<std::string> out;
    for (std::size_t at = content.find("d="); at != std::string::npos; at = content.find("d=", at + 2)) {
        if (at == 0 || at + 2 >= content.size()) continue;
        const char before = content[at - 1];
        if (before != ' ' && before != '\n' && before != '\t' && before != '\r') continue;
        const char quote = content[at + 2];
        if (quote != '"' && quote != '\'') continue;
        const std::size_t start = at + 3;
        const std::size_t end = content.find(quote, start);
        if (end == std::string::npos) break;
        std::string text = content.substr(start, end - start);
        for (char& c : text)
            if (c == '\t' || c == '\r' || c == '\n') c = ' ';
        out.push_back(std::move(text));
    }
    return out;
}

// Length of the number at `p` in path-data syntax (sign, digits, fraction,
// exponent), 0 when there is none.
std::size_t NumberLength(const char* p, const char* end)
{
    const char* s = p;
    if (s < end && (*s == '+' || *s == '-')) ++s;
    const char* digits = s;
    while (s < end && *s >= '0' && *s <= '9') ++s;
    bool any = s > digits;
    if (s < end && *s == '.') {
        const char* fraction = ++s;
        while (s < end && *s >= '0' && *s <= '9') ++s;
        any = any || s > fraction;
    }
    if (!any) return 0;
    if (s < end && (*s == 'e' || *s == 'E')) {
        const char* e = s + 1;
        if (e < end && (*e == '+' || *e == '-')) ++e;
        const char* exponentDigits = e;
        while (e < end && *e >= '0' && *e <= '9') ++e;
        if (e > exponentDigits) s = e;
    }
    return static_cast<std::size_t>(s - p);
}

uint32_t Bits(float value)
{
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// The writer's reference: a classic-locale stream in fixed notation at the
// precision (6 when negative), trailing fraction zeros and a bare point
// dropped, "-0" written as "0".
std::string StreamText(std::ostringstream& stream, float value, int precision)
{
    stream.str(std::string());
    stream << std::setprecision(precision < 0 ? 6 : precision) << static_cast<double>(value);
    std::string text = stream.str();
    if (text.find('.') != std::string::npos) {
        while (text.back() == '0') text.pop_back();
        if (text.back() == '.') text.pop_back();
    }
    if (text == "-0") text = "0";
    return text;
}

} // namespace

TEST(NumberExactness, EveryCorpusPathNumberIsStrtofExact)
{
    KXTEST_REQUIRE_CORPUS(corpus);
    locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    ASSERT_NE(cLocale, locale_t(0));

    std::size_t converts = 0, compared = 0, pathsChecked = 0, pathsRejected = 0, mismatches = 0;
    std::vector<float> scanned;
    std::string token;
    for (const std::string& file : kxtest::listSvgFiles(corpus)) {
        if (file.find("/large/") != std::string::npos) continue; // benchmark input only
        std::string content;
        if (!kxtest::readFile(file, content)) continue;
        for (const std::string& d : PathDataTexts(content)) {
            scanned.clear();
            bool valid = false;
            try {
                PathVisitorStrToTokens scanner(d, [&](char, std::vector<float>&& numbers) {
                    scanned.insert(scanned.end(), numbers.begin(), numbers.end());
                });
                valid = scanner.visit();
            } catch (...) {
                valid = false;
            }
            // Texts the grammar rejects (commas between groups, compact arc
            // flags...) still have their numbers checked through the
            // conversion the scanner uses.
            if (valid) ++pathsChecked;
            else ++pathsRejected;
            // The numbers of the text in order, each through strtof_l.
            std::size_t index = 0;
            const char* p = d.data();
            const char* end = p + d.size();
            while (p < end) {
                const std::size_t n = NumberLength(p, end);
                if (n == 0) {
                    ++p;
                    continue;
                }
                token.assign(p, n);
                p += n;
                const float expected = strtof_l(token.c_str(), nullptr, cLocale);
                float converted = 0.0f;
                const bool taken = kx::svg::impl::ConvertPathNumber(token.data(), token.data() + n, converted);
                ++converts;
                if ((!taken || Bits(converted) != Bits(expected)) && ++mismatches <= 10)
                    ADD_FAILURE() << file << ": \"" << token << "\" converted as " << std::hexfloat << converted
                                  << (taken ? "" : " (refused)") << ", strtof_l gives " << expected;
                if (!valid) continue;
                if (index >= scanned.size()) {
                    ++index;
                    continue;
                }
                const float actual = scanned[index++];
                ++compared;
                if (Bits(actual) != Bits(expected) && ++mismatches <= 10)
                    ADD_FAILURE() << file << ": \"" << token << "\" scanned as " << std::hexfloat << actual
                                  << ", strtof_l gives " << expected;
            }
            if (valid && index != scanned.size() && ++mismatches <= 10)
                ADD_FAILURE() << file << ": " << index << " numbers in the text, " << scanned.size()
                              << " scanned: " << d.substr(0, 200);
        }
    }
    freelocale(cLocale);
    EXPECT_EQ(mismatches, 0u);
    // The corpus holds millions of path numbers; far fewer means the scan
    // above went wrong, not that the numbers were right.
    EXPECT_GT(converts, 2000000u);
    EXPECT_GT(compared, 1000000u) << pathsChecked << " paths scanned, " << pathsRejected << " rejected by the grammar";
}

TEST(NumberExactness, WriterMatchesTheStreamOnMillionsOfValues)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::fixed;
    SaveOptions options;
    std::size_t checked = 0, mismatches = 0;
    auto check = [&](float value, int precision) {
        options.floatPrecision = precision;
        const std::string actual = Helpers::floatToSvgNumber(value, options);
        const std::string expected = StreamText(stream, value, precision);
        ++checked;
        if (actual != expected && ++mismatches <= 10)
            ADD_FAILURE() << "value " << std::hexfloat << value << " precision " << precision << ": got " << actual
                          << ", the stream gives " << expected;
    };
    auto checkWithNeighbours = [&](float value, int precision) {
        check(value, precision);
        check(std::nextafter(value, std::numeric_limits<float>::infinity()), precision);
        check(std::nextafter(value, -std::numeric_limits<float>::infinity()), precision);
        check(-value, precision);
    };

    std::mt19937 random(20261122);
    // Drawing coordinates: values from 1e-7 to 1e7 in magnitude, both signs,
    // at the default precision.
    std::uniform_real_distribution<double> exponent(-7.0, 7.0);
    for (int i = 0; i < 900000; ++i) {
        const double magnitude = std::pow(10.0, exponent(random));
        check(static_cast<float>(random() % 2 ? magnitude : -magnitude), -1);
    }
    // Any bit pattern (NaN, infinities, denormals and huge values included).
    for (int i = 0; i < 100000; ++i) {
        const uint32_t bits = static_cast<uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof value);
        check(value, -1);
    }
    // Exact decimal ties: with p decimals, the odd multiples of 2^-(p+1) end
    // in a 5 just past the last written digit (1/128 = 0.0078125 at 6).
    // Every one of them up to 2^24 / 2^(p+1) is a float; test a spread of
    // them, each with its two neighbours and its negation.
    for (int p = 0; p <= 6; ++p) {
        const double unit = std::ldexp(1.0, -(p + 1));
        std::uniform_int_distribution<uint32_t> odd(0, (1u << 23) - 1);
        for (int i = 0; i < 25000; ++i) {
            const double m = 2.0 * double(odd(random)) + 1.0;
            checkWithNeighbours(static_cast<float>(m * unit), p);
            if (p == 6) checkWithNeighbours(static_cast<float>(m * unit), -1);
        }
        // The first ties, where the digit before the 5 is small.
        for (int m = 1; m < 2000; m += 2) checkWithNeighbours(static_cast<float>(m * unit), p == 6 ? -1 : p);
    }
    // Decimal ties that are not floats: the nearest float lies on one side,
    // and the text must follow that side.
    for (int p = 1; p <= 6; ++p) {
        std::uniform_int_distribution<int> digits(0, 99999999);
        for (int i = 0; i < 10000; ++i) {
            const double tie = (double(digits(random)) + 0.5) / std::pow(10.0, p);
            checkWithNeighbours(static_cast<float>(tie), p == 6 ? -1 : p);
        }
    }
    EXPECT_EQ(mismatches, 0u);
    EXPECT_GE(checked, 2000000u);
}
