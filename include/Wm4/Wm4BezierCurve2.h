// Wm4BezierCurve2.h - planar Bezier curve of any degree in the Wild Magic 4 style.
#ifndef WM4_BEZIERCURVE2_H
#define WM4_BEZIERCURVE2_H

#include <Wm4/Wm4Vector2.h>

namespace Wm4 {

/// A Bezier curve of degree n over n + 1 control points. The curve takes
/// ownership of the control-point array, which must come from `new[]`.
template <class Real>
class BezierCurve2 {
public:
    BezierCurve2(int degree, Vector2<Real>* controlPoints) : m_degree(degree), m_ctrlPoint(controlPoints) {}
    ~BezierCurve2() { delete[] m_ctrlPoint; }

    BezierCurve2(const BezierCurve2&) = delete;
    BezierCurve2& operator=(const BezierCurve2&) = delete;

    int GetDegree() const { return m_degree; }
    const Vector2<Real>* GetControlPoints() const { return m_ctrlPoint; }

    /// The curve point at parameter t in [0, 1], by the Bernstein form.
    Vector2<Real> GetPosition(Real t) const
    {
        // Horner-like evaluation: sum of C(n,i) (1-t)^(n-i) t^i P_i.
        Real oneMinusT = Real(1) - t;
        Real powT = t;
        Vector2<Real> result = m_ctrlPoint[0] * oneMinusT;
        Real choose = Real(1);
        for (int i = 1; i < m_degree; ++i) {
            choose *= Real(m_degree - i + 1) / Real(i);
            result = (result + m_ctrlPoint[i] * (choose * powT)) * oneMinusT;
            powT *= t;
        }
        result = result + m_ctrlPoint[m_degree] * powT;
        return result;
    }

private:
    int m_degree;
    Vector2<Real>* m_ctrlPoint;
};

typedef BezierCurve2<float> BezierCurve2f;
typedef BezierCurve2<double> BezierCurve2d;

} // namespace Wm4

#endif
