// kxStringUtils.h - number formatting and text checks in the classic locale.
#ifndef KX_SYSTEM_KXSTRINGUTILS_H
#define KX_SYSTEM_KXSTRINGUTILS_H

#include <kx/system/Export.h>

#include <clocale>
#include <cstdint>
#include <locale.h>
#include <locale>
#include <string>

/// String helpers that never depend on the user's locale.
class KXSYSTEM_API kxStringUtils {
public:
    /// Decimal digits, with a leading "-" when negative.
    static std::string fromInt64(int64_t value);
    /// Decimal digits.
    static std::string fromUInt64(uint64_t value);
    /// The shortest decimal text (at most `maxDigits` significant digits) that reads back
    /// as the same float, in the classic locale and never with an exponent.
    /// `mode` 2 is the only mode the library uses.
    static std::string fromFloatImpl(float value, int maxDigits, int mode);
    /// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or values above U+10FFFF).
    static bool IsUtf8String(const std::string& text);

    /// The C library's "C" locale, for `strtof_l` and friends. Made once at
    /// start-up and never freed or replaced; callers only pass it on.
    static const locale_t msCLocale;
    /// The C++ classic locale, for streams.
    static const std::locale msCplusLocale;
};

#endif
