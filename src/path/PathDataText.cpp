// PathDataText.cpp - path data to text and back, with faults as positions.
#include <kx/svg/PathParser.h>
#include <kx/svg/Simple.h>

#include "path/PathCommands.h"
#include "write/PathDataWriter.h"

#include <kx/system/kxStringUtils.h>

#include <utf8.h>

#include <cstring>

namespace kx {
namespace svg {

namespace {

// The position the reader's message ends with: "... at position 12" or
// "Unsupported command in path @12 : ...". Returns false when there is none.
bool PositionInMessage(const std::string& message, std::size_t& position)
{
    std::size_t at = message.rfind(" at position ");
    if (at != std::string::npos) {
        at += std::strlen(" at position ");
    } else {
        at = message.find(" @");
        if (at == std::string::npos) return false;
        at += 2;
    }
    std::size_t value = 0;
    std::size_t digits = 0;
    for (; at < message.size() && message[at] >= '0' && message[at] <= '9'; ++at, ++digits)
        value = value * 10 + static_cast<std::size_t>(message[at] - '0');
    if (digits == 0) return false;
    position = value;
    return true;
}

// Byte offset of the command letter number `index` (from 0) in `text`.
// Numbers never hold a command letter, so letters and commands match one to one.
std::size_t CommandLetterPosition(std::string_view text, std::size_t index)
{
    for (std::size_t i = 0; i < text.size(); ++i)
        if (impl::IsPathCommandLetter(text[i]) && index-- == 0) return i;
    return text.size();
}

} // namespace

std::string PathDataText(const Path::Commands& commands, const SaveOptions& options)
{
    std::string text;
    impl::BuildPathData(commands, options, text);
    return text;
}

PathDataResult ParsePathData(std::string_view text)
{
    PathDataResult result;
    const auto invalid = utf8::find_invalid(text.begin(), text.end());
    if (invalid != text.end()) {
        result.errorPosition = static_cast<std::size_t>(invalid - text.begin());
        result.errorMessage = "Malformed UTF-8 at position " + kxStringUtils::fromUInt64(result.errorPosition);
        return result;
    }
    // The scanner hands over each command letter with its numbers; the
    // reader's conversion turns them into commands.
    PathVisitorStrToCommands converter(text.data(), text.data(), result.commands);
    std::size_t tokens = 0;
    PathVisitorStrToTokens scanner(std::string(text), [&](char letter, std::vector<float>&& numbers) {
        ++tokens;
        converter.visitorCallback(letter, std::move(numbers));
    });
    result.ok = scanner.visit();
    if (result.ok) return result;
    result.errorMessage = scanner.getErrorString();
    if (!PositionInMessage(result.errorMessage, result.errorPosition)) {
        // A command letter with no numbers after it ("M 0 0 L") fails
        // without a message: it is the letter after the last command read.
        result.errorPosition = CommandLetterPosition(text, tokens);
        const char letter = result.errorPosition < text.size() ? text[result.errorPosition] : '?';
        result.errorMessage = std::string("Expected numbers after ") + letter + " at position " +
                              kxStringUtils::fromUInt64(result.errorPosition);
    }
    return result;
}

} // namespace svg
} // namespace kx
