// PathParser.cpp - the path-data scanner and its conversion to commands.
#include <kx/svg/PathParser.h>

#include "PathCommands.h"
#include "PathNumber.h"
#include "PathText.h"

#include <utf8.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

namespace kx {
namespace svg {

// ---------------------------------------------------------------- scanner

namespace {

// Letter sets of the command rules, built on first use so that parsing works
// even from another library's static initialisation.
const std::string& LettersMove()
{
    static const std::string letters = "Mm";
    return letters;
}
const std::string& LettersLine()
{
    static const std::string letters = "Ll";
    return letters;
}
const std::string& LettersHV()
{
    static const std::string letters = "HhVv";
    return letters;
}
const std::string& LettersCubic()
{
    static const std::string letters = "Cc";
    return letters;
}
const std::string& LettersSmooth()
{
    static const std::string letters = "Ss";
    return letters;
}

// Numbers in one group of each rule's commands.
constexpr unsigned kMoveNumbers = impl::PathCommandOf(Path::CommandType::MoveToAbs).argumentCount;
constexpr unsigned kLineNumbers = impl::PathCommandOf(Path::CommandType::LineToAbs).argumentCount;
constexpr unsigned kHVNumbers = impl::PathCommandOf(Path::CommandType::HLineToAbs).argumentCount;
constexpr unsigned kCubicNumbers = impl::PathCommandOf(Path::CommandType::CubicBezierAbs).argumentCount;
constexpr unsigned kSmoothNumbers = impl::PathCommandOf(Path::CommandType::SmoothCubicBezierAbs).argumentCount;

inline bool IsDigit(uint32_t c) { return c >= '0' && c <= '9'; }
inline bool IsWhiteSpace(uint32_t c) { return c == ' ' || c == '\n'; }

} // namespace

PathVisitorStrToTokens::PathVisitorStrToTokens(const std::string& text, const TokenCallback& callback)
    : m_text(text), m_begin(m_text.data()), m_end(m_text.data() + m_text.size()), m_callback(callback),
      m_cursor(m_begin)
{
}

PathVisitorStrToTokens::PathVisitorStrToTokens(const char* first, const char* last, const TokenCallback& callback)
    : m_begin(first), m_end(last), m_callback(callback), m_cursor(first)
{
}

PathVisitorStrToTokens::~PathVisitorStrToTokens() = default;

namespace {

// Throws on a malformed or cut-off sequence; the caller of visit() sees it.
__attribute__((noinline)) uint32_t DecodeNonAscii(const char* cursor, const char* end)
{
    return utf8::peek_next(cursor, end);
}

// The rules below are free functions of the text's end (and start), so that
// they inline into each other; the member rules of the same names call them.

// The code point at `cursor` (< end); throws on malformed UTF-8.
inline uint32_t Peek(const char* cursor, const char* end)
{
    const unsigned char byte = static_cast<unsigned char>(*cursor);
    if (byte < 0x80) return byte;
    return DecodeNonAscii(cursor, end);
}

inline void SkipWhiteSpace(const char*& cursor, const char* end)
{
    while (cursor != end && IsWhiteSpace(Peek(cursor, end))) ++cursor;
}

} // namespace

inline uint32_t PathVisitorStrToTokens::peek(Cursor cursor) const
{
    return Peek(cursor, m_end);
}

std::string PathVisitorStrToTokens::positionText(Cursor cursor) const
{
    char digits[24];
    const std::to_chars_result r =
        std::to_chars(digits, digits + sizeof(digits), static_cast<unsigned long long>(cursor - m_begin));
    return std::string(digits, r.ptr);
}

bool PathVisitorStrToTokens::visit()
{
    if (consumeSvgPath(m_cursor) == Error) return false;
    if (m_cursor == m_end) return true;
    if (!m_error.empty()) return false;
    m_error = "Unrecognized sequence at position " + positionText(m_cursor);
    return false;
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeAnyWhiteSpace(Cursor& cursor)
{
    SkipWhiteSpace(cursor, m_end);
    return Matched;
}

namespace {

using Result = PathVisitorStrToTokens::Result;
constexpr Result NoMatch = PathVisitorStrToTokens::NoMatch;
constexpr Result Error = PathVisitorStrToTokens::Error;
constexpr Result Matched = PathVisitorStrToTokens::Matched;

// Powers of ten that are exact in single precision (5^10 < 2^24).
constexpr float kExactPowersOfTen[] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f, 1e9f, 1e10f};

// One number (see consumeCoordinate()).
inline Result ScanCoordinate(const char*& cursor, const char* end, float& value)
{
    if (cursor == end) return NoMatch;
    const char* const start = cursor;

    // Fast path for the common form [-]digits[.digits] (no exponent): the
    // scan below ends at the same place, and when the digits make an integer
    // m below 2^24 with at most ten of them after the point, m and 10^k are
    // exact floats, so the one correctly rounded division m / 10^k is the
    // correctly rounded value of the text, which is what strtof_l gives.
    {
        const char* c = start;
        const bool negative = *c == '-';
        if (negative) ++c;
        uint64_t mantissa = 0;
        int digits = 0;
        int fraction = 0;
        bool point = false;
        while (c != end) {
            const unsigned char byte = static_cast<unsigned char>(*c);
            if (byte >= '0' && byte <= '9') {
                if (digits < 19) mantissa = mantissa * 10 + (byte - '0');
                ++digits;
                if (point) ++fraction;
            } else if (byte == '.' && !point) {
                point = true;
            } else {
                break;
            }
            ++c;
        }
        const bool handOver =
            digits == 0 || (c != end && (*c == 'e' || *c == 'E' || static_cast<unsigned char>(*c) >= 0x80));
        if (!handOver) {
            cursor = c;
            if (digits <= 19 && mantissa <= (uint64_t(1) << 24) && fraction <= 10) {
                const float magnitude = static_cast<float>(mantissa) / kExactPowersOfTen[fraction];
                value = negative ? -magnitude : magnitude;
                return Matched;
            }
            return impl::ConvertPathNumber(start, cursor, value) ? Matched : Error;
        }
    }

    bool first = true;
    bool afterExponent = false;
    bool pointTaken = false;
    while (cursor != end) {
        const uint32_t c = Peek(cursor, end);
        if (IsDigit(c)) {
            afterExponent = false;
        } else if (c == 'e' || c == 'E') {
            afterExponent = true;
        } else if (c == '+' || c == '-') {
            if (!first && !afterExponent) break;
            afterExponent = false;
        } else if (c == '.') {
            // A second point starts the next number: "1.5.5" is 1.5 and .5.
            if (pointTaken) break;
            pointTaken = true;
            afterExponent = false;
        } else {
            break;
        }
        ++cursor;
        first = false;
    }
    if (cursor == start) return NoMatch;
    return impl::ConvertPathNumber(start, cursor, value) ? Matched : Error;
}

// The separator between two numbers or flags (see consumeSeparator()).
inline Result ScanSeparator(const char*& cursor, const char* begin, const char* end)
{
    if (cursor == end) return Error;
    // Only ASCII bytes end a number or a flag, so the byte before the cursor
    // is the whole previous character.
    const bool digitBefore = cursor != begin && IsDigit(static_cast<unsigned char>(cursor[-1]));
    const bool digitAfter = IsDigit(Peek(cursor, end));
    const char* const start = cursor;
    bool commaTaken = false;
    while (cursor != end) {
        const uint32_t c = Peek(cursor, end);
        if (IsWhiteSpace(c)) {
            ++cursor;
        } else if (c == ',' && !commaTaken) {
            commaTaken = true;
            ++cursor;
        } else {
            break;
        }
    }
    // An empty separator is fine ("10-20"), except between two digits: that is
    // how touching arc flags ("11") are refused.
    if (cursor == start && digitBefore && digitAfter) return Error;
    return Matched;
}

// An arc flag: "0" or "1".
inline Result ScanFlag(const char*& cursor, const char* end, bool& flag)
{
    if (cursor == end) return NoMatch;
    const uint32_t c = Peek(cursor, end);
    if (c != '0' && c != '1') return NoMatch;
    flag = c == '1';
    ++cursor;
    return Matched;
}

// One group of `n` numbers appended to `out`; on failure `out` is restored.
inline Result ScanGroup(const char*& cursor, const char* begin, const char* end, std::vector<float>& out, unsigned n)
{
    const size_t mark = out.size();
    float value = 0.0f;
    const Result firstResult = ScanCoordinate(cursor, end, value);
    if (firstResult != Matched) {
        out.resize(mark);
        return firstResult;
    }
    out.push_back(value);
    for (unsigned i = 1; i < n; ++i) {
        if (ScanSeparator(cursor, begin, end) != Matched || ScanCoordinate(cursor, end, value) != Matched) {
            out.resize(mark);
            return Error;
        }
        out.push_back(value);
    }
    return Matched;
}

} // namespace

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeCoordinate(Cursor& cursor, float& value)
{
    return ScanCoordinate(cursor, m_end, value);
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeFlag(Cursor& cursor, bool& flag)
{
    return ScanFlag(cursor, m_end, flag);
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeSeparator(Cursor& cursor)
{
    return ScanSeparator(cursor, m_begin, m_end);
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeCoordinateSequence(Cursor& cursor,
                                                                                 std::vector<float>& out, unsigned n)
{
    return ScanGroup(cursor, m_begin, m_end, out, n);
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeCommandWithFloatSequence(Cursor& cursor,
                                                                                       const std::string& letters,
                                                                                       unsigned n)
{
    if (cursor == m_end) return NoMatch;
    const uint32_t c = peek(cursor);
    if (c == 0 || c >= 0x80) return NoMatch;
    const char letter = static_cast<char>(c);
    bool listed = false;
    for (char l : letters) listed = listed || l == letter;
    if (!listed) return NoMatch;
    ++cursor;
    SkipWhiteSpace(cursor, m_end);

    // One buffer for every command of the text: the callback may take its
    // storage (it then grows again), or copy the numbers and leave it here.
    std::vector<float>& numbers = m_numbers;
    numbers.clear();
    numbers.reserve(8 * static_cast<size_t>(n));
    for (;;) {
        const Result group = ScanGroup(cursor, m_begin, m_end, numbers, n);
        if (group == Matched) {
            SkipWhiteSpace(cursor, m_end);
            continue;
        }
        if (group == Error) {
            m_error = std::string("Unmatched coordinate sequence after ") + letter + " at position " +
                      positionText(cursor);
            return Error;
        }
        break;
    }
    // A letter without a single group fails without a message ("M 0 0 L").
    if (numbers.empty()) return Error;
    m_callback(letter, std::move(numbers));
    return Matched;
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeEllipticalArcSequence(Cursor& cursor)
{
    if (cursor == m_end) return NoMatch;
    const uint32_t c = peek(cursor);
    if (c != 'A' && c != 'a') return NoMatch;
    const char letter = static_cast<char>(c);
    ++cursor;
    SkipWhiteSpace(cursor, m_end);

    std::vector<float>& numbers = m_numbers;
    numbers.clear();
    numbers.reserve(8 * 7);
    Cursor committed = cursor;
    for (;;) {
        Cursor t = committed;
        float rx = 0.0f, ry = 0.0f, rotation = 0.0f, x = 0.0f, y = 0.0f;
        bool largeArc = false, sweep = false;
        const char* const b = m_begin;
        const char* const e = m_end;
        const bool whole = ScanCoordinate(t, e, rx) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanCoordinate(t, e, ry) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanCoordinate(t, e, rotation) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanFlag(t, e, largeArc) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanFlag(t, e, sweep) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanCoordinate(t, e, x) == Matched && ScanSeparator(t, b, e) == Matched &&
                           ScanCoordinate(t, e, y) == Matched;
        if (!whole) break;
        numbers.push_back(rx);
        numbers.push_back(ry);
        numbers.push_back(rotation);
        numbers.push_back(largeArc ? 1.0f : 0.0f);
        numbers.push_back(sweep ? 1.0f : 0.0f);
        numbers.push_back(x);
        numbers.push_back(y);
        committed = t;
        SkipWhiteSpace(committed, m_end);
    }
    // A broken later arc is dropped; what is left of the text fails in the
    // drawto loop as an unsupported command.
    cursor = committed;
    if (numbers.empty()) {
        m_error = "Expected instructions following elliptical-arc at position " + positionText(cursor);
        return Error;
    }
    m_callback(letter, std::move(numbers));
    return Matched;
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeClosePath(Cursor& cursor)
{
    if (cursor == m_end) return NoMatch;
    const uint32_t c = peek(cursor);
    if (c != 'Z' && c != 'z') return NoMatch;
    ++cursor;
    m_callback(static_cast<char>(c), std::vector<float>());
    return Matched;
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeDrawToCommand(Cursor& cursor)
{
    SkipWhiteSpace(cursor, m_end);
    if (cursor == m_end) return NoMatch;
    // The letter picks the one rule that can take it (each of the others
    // would give NoMatch without consuming anything).
    const uint32_t c = peek(cursor);
    switch (c) {
    case 'L':
    case 'l':
        return consumeCommandWithFloatSequence(cursor, LettersLine(), kLineNumbers);
    case 'H':
    case 'h':
    case 'V':
    case 'v':
        return consumeCommandWithFloatSequence(cursor, LettersHV(), kHVNumbers);
    case 'C':
    case 'c':
        return consumeCommandWithFloatSequence(cursor, LettersCubic(), kCubicNumbers);
    case 'S':
    case 's':
        return consumeCommandWithFloatSequence(cursor, LettersSmooth(), kSmoothNumbers);
    case 'Z':
    case 'z':
        return consumeClosePath(cursor);
    case 'A':
    case 'a':
        return consumeEllipticalArcSequence(cursor);
    case 'M':
    case 'm':
        return NoMatch;
    default:
        break;
    }
    // The rest of the text runs up to its end or its first NUL byte.
    const size_t restLength = ::strnlen(cursor, static_cast<size_t>(m_end - cursor));
    m_error += "Unsupported command in path @" + positionText(cursor) + " : ";
    m_error.append(cursor, restLength);
    return Error;
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeMoveToDrawToCommandGroup(Cursor& cursor, bool first)
{
    if (cursor == m_end) return NoMatch;
    const Result move = consumeCommandWithFloatSequence(cursor, LettersMove(), kMoveNumbers);
    if (move == Error || (move == NoMatch && first)) {
        m_error = "Expected MoveTo sequence at position " + positionText(cursor);
        return Error;
    }
    consumeAnyWhiteSpace(cursor);
    for (;;) {
        const Cursor attempt = cursor;
        const Result r = consumeDrawToCommand(cursor);
        if (r == Error) return Error;
        if (r == NoMatch) {
            cursor = attempt;
            return Matched;
        }
    }
}

PathVisitorStrToTokens::Result PathVisitorStrToTokens::consumeSvgPath(Cursor& cursor)
{
    consumeAnyWhiteSpace(cursor);
    bool first = true;
    for (;;) {
        const Cursor groupStart = cursor;
        const Result r = consumeMoveToDrawToCommandGroup(cursor, first);
        first = false;
        if (r == Error) return Error;
        // A group that takes nothing cannot make progress: the drawto loop only
        // stops at a move-to or at the end, so this is merely a guard.
        if (r == NoMatch || cursor == groupStart) {
            consumeAnyWhiteSpace(cursor);
            return Matched;
        }
        consumeAnyWhiteSpace(cursor);
    }
}

// ---------------------------------------------------------------- commands

PathVisitorStrToCommands::PathVisitorStrToCommands(const std::string& text, std::list<Path::Command>& commands)
    : PathVisitorStrToTokens(text,
                             [this](char letter, std::vector<float>&& numbers) {
                                 visitorCallback(letter, std::move(numbers));
                             }),
      m_commands(&commands)
{
}

PathVisitorStrToCommands::PathVisitorStrToCommands(const char* first, const char* last,
                                                   std::list<Path::Command>& commands)
    : PathVisitorStrToTokens(first, last,
                             [this](char letter, std::vector<float>&& numbers) {
                                 visitorCallback(letter, std::move(numbers));
                             }),
      m_commands(&commands)
{
}

PathVisitorStrToCommands::~PathVisitorStrToCommands() = default;

void PathVisitorStrToCommands::visitorCallback(char letter, std::vector<float>&& numbers)
{
    Path::CommandType commandType = Path::CommandType::ClosePath;
    if (!impl::PathCommandFromLetter(letter, commandType)) return;
    const unsigned count = impl::PathCommandOf(commandType).argumentCount;
    if (count == 0) {
        if (numbers.empty()) m_commands->emplace_back(commandType, std::vector<float>());
        return;
    }
    // One command per group, each with a vector of its own exact size (the
    // scanner keeps its buffer for the next command, so a command costs two
    // small allocations). Groups after the first of a move-to are line-tos of
    // the same kind (absolute or relative).
    const size_t groups = numbers.size() / count;
    for (size_t g = 0; g < groups; ++g) {
        Path::CommandType type = commandType;
        if (g > 0 && letter == 'M') type = Path::CommandType::LineToAbs;
        if (g > 0 && letter == 'm') type = Path::CommandType::LineToRel;
        const auto from = numbers.begin() + static_cast<std::ptrdiff_t>(g * count);
        m_commands->emplace_back(type, std::vector<float>(from, from + count));
    }
}

namespace impl {

bool ConvertPathTextToCommands(std::string_view text, std::list<Path::Command>& commands, std::string* error)
{
    PathVisitorStrToCommands visitor(text.data(), text.data() + text.size(), commands);
    if (visitor.visit()) return true;
    if (error) *error = visitor.getErrorString();
    return false;
}

} // namespace impl

bool ConvertPathStringToCommands(const std::string& text, std::list<Path::Command>& commands, std::string* error)
{
    PathVisitorStrToCommands visitor(text, commands);
    if (visitor.visit()) return true;
    if (error) *error = visitor.getErrorString();
    return false;
}

} // namespace svg
} // namespace kx
