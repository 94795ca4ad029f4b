// Numbers.cpp - exact number conversions in the classic locale.
#include "model/Numbers.h"

#include <kx/system/kxStringUtils.h>

#include <fast_float/fast_float.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

namespace kx {
namespace svg {
namespace impl {

namespace {

// Numbers are short; longer ones (thousands of digits are legal) take a heap copy.
constexpr size_t kStackNumberLength = 64;

// Calls `convert(text, &stop)` on a NUL-terminated copy of [first, last):
// strtof_l reads up to a NUL, and past the given characters it could take more
// ("0x1"), so it must see exactly the given text. True when every character
// was used.
template <class T, class Convert>
bool convertCopy(const char* first, const char* last, T& value, Convert convert)
{
    const size_t length = static_cast<size_t>(last - first);
    if (length == 0) return false;
    char stackCopy[kStackNumberLength + 1];
    std::string heapCopy;
    const char* text = nullptr;
    if (length <= kStackNumberLength) {
        std::memcpy(stackCopy, first, length);
        stackCopy[length] = '\0';
        text = stackCopy;
    } else {
        heapCopy.assign(first, length);
        text = heapCopy.c_str();
    }
    char* stop = nullptr;
    const T converted = convert(text, &stop);
    if (stop != text + length) return false;
    value = converted;
    return true;
}

} // namespace

locale_t ClassicLocale() { return kxStringUtils::msCLocale; }

bool ConvertFloatStrtof(const char* first, const char* last, float& value)
{
    return convertCopy(first, last, value,
                       [](const char* text, char** stop) { return strtof_l(text, stop, ClassicLocale()); });
}

bool ConvertFloat(const char* first, const char* last, float& value)
{
    if (first == last) return false;
    // fast_float gives the correctly rounded float (infinity on overflow, zero
    // or a denormal on underflow), as strtof_l does. It takes a subset of the
    // forms strtof_l takes (no leading "+" or white space), so a text it takes
    // whole is taken whole by strtof_l with the same value; every other text is
    // decided by strtof_l itself.
    float converted = 0.0f;
    const fast_float::from_chars_result result = fast_float::from_chars(first, last, converted);
    if (result.ec == std::errc() && result.ptr == last) {
        value = converted;
        return true;
    }
    return ConvertFloatStrtof(first, last, value);
}

bool ConvertDouble(const char* first, const char* last, double& value)
{
    if (first == last) return false;
    double converted = 0.0;
    const fast_float::from_chars_result result = fast_float::from_chars(first, last, converted);
    if (result.ec == std::errc() && result.ptr == last) {
        value = converted;
        return true;
    }
    return convertCopy(first, last, value,
                       [](const char* text, char** stop) { return strtod_l(text, stop, ClassicLocale()); });
}

bool ScanNumber(std::string_view text, size_t& pos, std::string_view& token, double& value)
{
    const size_t n = text.size();
    size_t i = pos;
    if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
    size_t digits = 0;
    while (i < n && IsAsciiDigit(text[i])) ++i, ++digits;
    if (i < n && text[i] == '.') {
        ++i;
        while (i < n && IsAsciiDigit(text[i])) ++i, ++digits;
    }
    if (digits == 0) return false;
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        size_t j = i + 1;
        if (j < n && (text[j] == '+' || text[j] == '-')) ++j;
        if (j < n && IsAsciiDigit(text[j])) {
            while (j < n && IsAsciiDigit(text[j])) ++j;
            i = j;
        }
    }
    const std::string_view candidate = text.substr(pos, i - pos);
    double converted = 0.0;
    if (!ConvertDouble(candidate, converted)) return false;
    token = candidate;
    value = converted;
    pos = i;
    return true;
}

} // namespace impl
} // namespace svg
} // namespace kx
