// Wm4Vector2.h - two-component vector in the Wild Magic 4 style.
#ifndef WM4_VECTOR2_H
#define WM4_VECTOR2_H

#include <Wm4/Wm4Math.h>

namespace Wm4 {

/// A 2-D vector or point. Comparison is exact (component by component).
template <class Real>
class Vector2 {
public:
    Vector2() : m_tuple{Real(0), Real(0)} {}
    Vector2(Real x, Real y) : m_tuple{x, y} {}

    Real X() const { return m_tuple[0]; }
    Real& X() { return m_tuple[0]; }
    Real Y() const { return m_tuple[1]; }
    Real& Y() { return m_tuple[1]; }

    Real operator[](int i) const { return m_tuple[i]; }
    Real& operator[](int i) { return m_tuple[i]; }
    operator const Real*() const { return m_tuple; }
    operator Real*() { return m_tuple; }

    bool operator==(const Vector2& v) const { return m_tuple[0] == v.m_tuple[0] && m_tuple[1] == v.m_tuple[1]; }
    bool operator!=(const Vector2& v) const { return !(*this == v); }

    Vector2 operator+(const Vector2& v) const { return Vector2(m_tuple[0] + v.m_tuple[0], m_tuple[1] + v.m_tuple[1]); }
    Vector2 operator-(const Vector2& v) const { return Vector2(m_tuple[0] - v.m_tuple[0], m_tuple[1] - v.m_tuple[1]); }
    Vector2 operator*(Real s) const { return Vector2(s * m_tuple[0], s * m_tuple[1]); }
    Vector2 operator/(Real s) const { return Vector2(m_tuple[0] / s, m_tuple[1] / s); }
    Vector2 operator-() const { return Vector2(-m_tuple[0], -m_tuple[1]); }

    Vector2& operator+=(const Vector2& v) { m_tuple[0] += v.m_tuple[0]; m_tuple[1] += v.m_tuple[1]; return *this; }
    Vector2& operator-=(const Vector2& v) { m_tuple[0] -= v.m_tuple[0]; m_tuple[1] -= v.m_tuple[1]; return *this; }
    Vector2& operator*=(Real s) { m_tuple[0] *= s; m_tuple[1] *= s; return *this; }

    Real Length() const { return Math<Real>::Sqrt(SquaredLength()); }
    Real SquaredLength() const { return m_tuple[0] * m_tuple[0] + m_tuple[1] * m_tuple[1]; }
    Real Dot(const Vector2& v) const { return m_tuple[0] * v.m_tuple[0] + m_tuple[1] * v.m_tuple[1]; }

    /// Scales to unit length and returns the old length; a zero vector stays zero.
    Real Normalize()
    {
        Real length = Length();
        if (length > Real(0)) {
            m_tuple[0] /= length;
            m_tuple[1] /= length;
        } else {
            m_tuple[0] = Real(0);
            m_tuple[1] = Real(0);
            length = Real(0);
        }
        return length;
    }

    static const Vector2 ZERO;

private:
    Real m_tuple[2];
};

template <class Real>
const Vector2<Real> Vector2<Real>::ZERO(Real(0), Real(0));

template <class Real>
inline Vector2<Real> operator*(Real s, const Vector2<Real>& v) { return v * s; }

typedef Vector2<float> Vector2f;
typedef Vector2<double> Vector2d;

} // namespace Wm4

#endif
