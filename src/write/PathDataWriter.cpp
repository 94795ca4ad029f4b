// PathDataWriter.cpp - the "d" text of a path.
#include "write/PathDataWriter.h"

#include "path/PathCommands.h"
#include "write/NumberFormat.h"

#include <cstdint>

namespace kx {
namespace svg {
namespace impl {

namespace {

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
        if (static_cast<std::size_t>(type) >= kPathCommandCount) continue; // not a command the model knows
        const PathCommandInfo& info = kPathCommands[type];
        if (!LetterIsImplicit(type, previous)) {
            if (spaced && !out.empty()) out += ' ';
            out += info.letter;
        }
        previous = type;

        // The kinds repeat over the whole argument vector.
        const char* pattern = info.argumentKinds;
        const std::size_t patternLength = info.argumentCount;
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
