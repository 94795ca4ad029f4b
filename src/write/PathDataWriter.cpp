// PathDataWriter.cpp - the "d" text of a path.
#include "write/PathDataWriter.h"

#include "write/NumberFormat.h"

#include <cstdint>

namespace kx {
namespace svg {
namespace impl {

namespace {

// A command's value indexes its letter here.
const char kCommandLetters[] = "MmLlAaHhVvCcSsZ";
constexpr int kCommandCount = 15;

// Per command type: which arguments are numbers ('f') and which are arc flags
// ('b'). The pattern repeats over the whole argument vector.
const char* const kArgumentPatterns[kCommandCount] = {
    "ff", "ff", "ff", "ff",             // M m L l
    "fffbbff", "fffbbff",               // A a
    "f", "f", "f", "f",                 // H h V v
    "ffffff", "ffffff", "ffff", "ffff", // C c S s
    ""                                  // Z
};

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Whether a command repeats the previous one implicitly, so its letter is left out.
bool LetterIsImplicit(int type, int previous)
{
    using T = Path::CommandType;
    if (previous < 0) return false;
    if (type == static_cast<int>(T::LineToAbs))
        return previous == static_cast<int>(T::MoveToAbs) || previous == static_cast<int>(T::LineToAbs);
    if (type == static_cast<int>(T::LineToRel))
        return previous == static_cast<int>(T::MoveToRel) || previous == static_cast<int>(T::LineToRel);
    if (type >= static_cast<int>(T::EllipticalArcAbs) && type <= static_cast<int>(T::SmoothCubicBezierRel))
        return type == previous;
    return false;
}

} // namespace

void BuildPathData(const Path::Commands& commands, const SaveOptions& options, std::string& out)
{
    out.clear();
    std::size_t argumentCount = 0;
    for (const Path::Command& command : commands) argumentCount += command.arguments.size() + 1;
    out.reserve(argumentCount * 8);

    const bool spaced = options.formatOutput;
    int previous = -1;
    for (const Path::Command& command : commands) {
        const int type = static_cast<int>(static_cast<uint8_t>(command.type));
        if (type >= kCommandCount) continue; // not a command the model knows
        if (!LetterIsImplicit(type, previous)) {
            if (spaced && !out.empty()) out += ' ';
            out += kCommandLetters[type];
        }
        previous = type;

        const char* pattern = kArgumentPatterns[type];
        const std::size_t patternLength = std::char_traits<char>::length(pattern);
        if (patternLength == 0) continue;
        std::size_t slot = 0;
        char number[kNumberBufferSize];
        for (float value : command.arguments) {
            std::size_t length = 1;
            if (pattern[slot] == 'b')
                number[0] = value == 0.0f ? '0' : '1';
            else
                length = FormatSvgNumber(number, value, options.floatPrecision);
            if (++slot == patternLength) slot = 0;
            // Compact output separates two numbers only where their digits would merge.
            if (!out.empty() && (spaced || (IsDigit(out.back()) && IsDigit(number[0])))) out += ' ';
            out.append(number, length);
        }
    }
}

} // namespace impl
} // namespace svg
} // namespace kx
