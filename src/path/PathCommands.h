// PathCommands.h - the path-data commands: letter and numbers of each.
// The reader, the writer and the text tools all take these from here.
#ifndef KX_SVG_SRC_PATH_PATHCOMMANDS_H
#define KX_SVG_SRC_PATH_PATHCOMMANDS_H

#include <kx/svg/Items.h>

#include <cstddef>

namespace kx {
namespace svg {
namespace impl {

/// What one `Path::CommandType` looks like in path data.
struct PathCommandInfo {
    char letter;               ///< the letter the writer uses ('Z' for close-path)
    unsigned argumentCount;    ///< numbers in one group of arguments (0 for close-path)
    const char* argumentKinds; ///< one character per number: 'f' a number, 'b' an arc flag
};

/// Rows in `Path::CommandType` order: a command's value indexes its row.
constexpr std::size_t kPathCommandCount = 15;
inline constexpr PathCommandInfo kPathCommands[kPathCommandCount] = {
    {'M', 2, "ff"},      {'m', 2, "ff"},      // move-to
    {'L', 2, "ff"},      {'l', 2, "ff"},      // line-to
    {'A', 7, "fffbbff"}, {'a', 7, "fffbbff"}, // elliptical arc: rx ry rotation large-arc sweep x y
    {'H', 1, "f"},       {'h', 1, "f"},       // horizontal line-to
    {'V', 1, "f"},       {'v', 1, "f"},       // vertical line-to
    {'C', 6, "ffffff"},  {'c', 6, "ffffff"},  // cubic Bezier
    {'S', 4, "ffff"},    {'s', 4, "ffff"},    // smooth cubic Bezier
    {'Z', 0, ""},                             // close-path
};

/// The row of `type`.
constexpr const PathCommandInfo& PathCommandOf(Path::CommandType type)
{
    return kPathCommands[static_cast<std::size_t>(type)];
}

/// The command a path-data letter starts ('z' as well as 'Z' closes the
/// path); false when the letter starts none.
constexpr bool PathCommandFromLetter(char letter, Path::CommandType& type)
{
    if (letter == 'z') letter = 'Z';
    for (std::size_t i = 0; i < kPathCommandCount; ++i) {
        if (kPathCommands[i].letter == letter) {
            type = static_cast<Path::CommandType>(i);
            return true;
        }
    }
    return false;
}

/// Whether `letter` starts a path-data command.
constexpr bool IsPathCommandLetter(char letter)
{
    Path::CommandType type = Path::CommandType::ClosePath;
    return PathCommandFromLetter(letter, type);
}

} // namespace impl
} // namespace svg
} // namespace kx

#endif
