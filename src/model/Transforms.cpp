// Transforms.cpp - matrices of the "transform" operations, their product,
// inverse and action on points.
#include <kx/svg/Simple.h>

#include "path/PathGeometry.h"
#include "read/ReadNumbers.h"

#include <cmath>
#include <initializer_list>

namespace kx {
namespace svg {

namespace {

// The reader's own construction, so that a matrix made here equals the one
// read from the same operation in a "transform" attribute.
Wm4::Matrix3<float> Operation(std::string_view name, std::initializer_list<float> values)
{
    Wm4::Matrix3<float> m = Wm4::Matrix3<float>::IDENTITY;
    impl::BuildTransformOperation(name, values.begin(), values.size(), m);
    return m;
}

} // namespace

Wm4::Matrix3<float> TranslateMatrix(float tx, float ty) { return Operation("translate", {tx, ty}); }
Wm4::Matrix3<float> ScaleMatrix(float sx, float sy) { return Operation("scale", {sx, sy}); }
Wm4::Matrix3<float> RotateMatrix(float degrees) { return Operation("rotate", {degrees}); }
Wm4::Matrix3<float> RotateMatrix(float degrees, float cx, float cy) { return Operation("rotate", {degrees, cx, cy}); }
Wm4::Matrix3<float> SkewXMatrix(float degrees) { return Operation("skewX", {degrees}); }
Wm4::Matrix3<float> SkewYMatrix(float degrees) { return Operation("skewY", {degrees}); }

Wm4::Matrix3<float> Multiply(const Wm4::Matrix3<float>& first, const Wm4::Matrix3<float>& second)
{
    return first * second;
}

bool Invert(const Wm4::Matrix3<float>& matrix, Wm4::Matrix3<float>& inverse)
{
    // Affine: (a c e / b d f / 0 0 1), inverted in double and rounded once.
    const double a = matrix(0, 0), c = matrix(0, 1), e = matrix(0, 2);
    const double b = matrix(1, 0), d = matrix(1, 1), f = matrix(1, 2);
    const double det = a * d - b * c;
    if (det == 0.0 || !std::isfinite(det)) return false;
    const double ia = d / det, ic = -c / det, ib = -b / det, id = a / det;
    const double ie = -(ia * e + ic * f), iff = -(ib * e + id * f);
    const Wm4::Matrix3<float> result(float(ia), float(ic), float(ie), float(ib), float(id), float(iff), 0.0f, 0.0f,
                                     1.0f);
    for (int row = 0; row < 2; ++row)
        for (int col = 0; col < 3; ++col)
            if (!std::isfinite(result(row, col))) return false;
    inverse = result;
    return true;
}

Wm4::Vector2<float> Apply(const Wm4::Matrix3<float>& matrix, const Wm4::Vector2<float>& point)
{
    return impl::TransformPoint(matrix, point);
}

} // namespace svg
} // namespace kx
