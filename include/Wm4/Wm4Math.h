// Wm4Math.h - scalar constants and functions in the Wild Magic 4 style.
#ifndef WM4_MATH_H
#define WM4_MATH_H

#include <cmath>

#define WM4_PI 3.14159265358979323846

namespace Wm4 {

/// Scalar helpers for `float` and `double`, named as in Wild Magic 4.
template <class Real>
class Math {
public:
    static constexpr Real PI = Real(WM4_PI);
    static constexpr Real TWO_PI = Real(2.0 * WM4_PI);
    static constexpr Real HALF_PI = Real(0.5 * WM4_PI);

    static Real Sin(Real v) { return std::sin(v); }
    static Real Cos(Real v) { return std::cos(v); }
    static Real Sqrt(Real v) { return std::sqrt(v); }
    static Real FAbs(Real v) { return std::fabs(v); }

    /// Arc cosine with the argument clamped to [-1, 1], so rounding noise never yields NaN.
    static Real ACos(Real v)
    {
        if (v <= Real(-1)) return PI;
        if (v >= Real(1)) return Real(0);
        return std::acos(v);
    }
};

} // namespace Wm4

#endif
