// TextSpace.cpp - the two xml:space modes of text content.
#include <kx/svg/TextSpace.h>

namespace kx {
namespace svg {

namespace {

inline bool isLineBreak(char c) { return c == '\n' || c == '\r'; }
inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

} // namespace

std::string ApplySvgXMLSpacePreserve(const std::string& text)
{
    std::string result(text);
    for (char& c : result) {
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    }
    return result;
}

std::string ApplySvgXMLSpaceDefault(const std::string& text)
{
    std::string result;
    result.reserve(text.size());
    const size_t n = text.size();
    bool atStart = true;
    size_t i = 0;
    while (i < n) {
        const char c = text[i];
        if (isLineBreak(c)) { // dropped; it only ends the run before it
            ++i;
            continue;
        }
        const bool blank = isBlank(c);
        size_t j = i + 1;
        while (j < n && !isLineBreak(text[j]) && isBlank(text[j]) == blank) ++j;

        const bool endsInput = j == n;
        const bool endsAtBreak = !endsInput && isLineBreak(text[j]);
        if (!blank) {
            result.append(text, i, j - i);
            // A word ended by a line break leaves the start state as it is, so
            // the blanks that open the next line are still leading ones.
            if (!endsInput && !endsAtBreak) atStart = false;
        } else if (endsAtBreak) {
            if (!atStart) result.push_back(' ');
        } else if (!endsInput) {
            if (atStart)
                atStart = false;
            else
                result.push_back(' ');
        }
        // A blank run at the very end is dropped.
        i = j;
    }
    return result;
}

} // namespace svg
} // namespace kx
