// Wm4Matrix3.h - 3x3 matrix in the Wild Magic 4 style (row-major storage).
#ifndef WM4_MATRIX3_H
#define WM4_MATRIX3_H

namespace Wm4 {

/// A row-major 3x3 matrix. As a 2-D affine transform it maps (x, y) to
/// (m(0,0) x + m(0,1) y + m(0,2), m(1,0) x + m(1,1) y + m(1,2)).
template <class Real>
class Matrix3 {
public:
    /// The zero matrix.
    Matrix3() : m_entry{} {}
    /// Nine entries in row order.
    Matrix3(Real m00, Real m01, Real m02, Real m10, Real m11, Real m12, Real m20, Real m21, Real m22)
        : m_entry{m00, m01, m02, m10, m11, m12, m20, m21, m22}
    {
    }

    Real operator()(int row, int col) const { return m_entry[3 * row + col]; }
    Real& operator()(int row, int col) { return m_entry[3 * row + col]; }
    const Real* operator[](int row) const { return &m_entry[3 * row]; }
    Real* operator[](int row) { return &m_entry[3 * row]; }
    operator const Real*() const { return m_entry; }

    bool operator==(const Matrix3& m) const
    {
        for (int i = 0; i < 9; ++i)
            if (m_entry[i] != m.m_entry[i]) return false;
        return true;
    }
    bool operator!=(const Matrix3& m) const { return !(*this == m); }

    /// Matrix product this x m.
    Matrix3 operator*(const Matrix3& m) const
    {
        Matrix3 r;
        for (int row = 0; row < 3; ++row) {
            for (int col = 0; col < 3; ++col) {
                r.m_entry[3 * row + col] = m_entry[3 * row + 0] * m.m_entry[0 + col] +
                                           m_entry[3 * row + 1] * m.m_entry[3 + col] +
                                           m_entry[3 * row + 2] * m.m_entry[6 + col];
            }
        }
        return r;
    }

    static const Matrix3 ZERO;
    static const Matrix3 IDENTITY;

private:
    Real m_entry[9];
};

template <class Real>
const Matrix3<Real> Matrix3<Real>::ZERO(Real(0), Real(0), Real(0), Real(0), Real(0), Real(0), Real(0), Real(0),
                                        Real(0));
template <class Real>
const Matrix3<Real> Matrix3<Real>::IDENTITY(Real(1), Real(0), Real(0), Real(0), Real(1), Real(0), Real(0), Real(0),
                                            Real(1));

typedef Matrix3<float> Matrix3f;
typedef Matrix3<double> Matrix3d;

} // namespace Wm4

#endif
