// Wm4Vector4.h - four-component tuple in the Wild Magic 4 style.
#ifndef WM4_VECTOR4_H
#define WM4_VECTOR4_H

namespace Wm4 {

/// Four components of any arithmetic type (used with `unsigned char` for RGBA bytes and with `float`).
template <class T>
class Vector4 {
public:
    Vector4() : m_tuple{T(0), T(0), T(0), T(0)} {}
    Vector4(T x, T y, T z, T w) : m_tuple{x, y, z, w} {}

    T X() const { return m_tuple[0]; }
    T& X() { return m_tuple[0]; }
    T Y() const { return m_tuple[1]; }
    T& Y() { return m_tuple[1]; }
    T Z() const { return m_tuple[2]; }
    T& Z() { return m_tuple[2]; }
    T W() const { return m_tuple[3]; }
    T& W() { return m_tuple[3]; }

    T operator[](int i) const { return m_tuple[i]; }
    T& operator[](int i) { return m_tuple[i]; }

    bool operator==(const Vector4& v) const
    {
        return m_tuple[0] == v.m_tuple[0] && m_tuple[1] == v.m_tuple[1] && m_tuple[2] == v.m_tuple[2] &&
               m_tuple[3] == v.m_tuple[3];
    }
    bool operator!=(const Vector4& v) const { return !(*this == v); }

private:
    T m_tuple[4];
};

} // namespace Wm4

#endif
