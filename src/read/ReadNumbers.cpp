// ReadNumbers.cpp - number and transform parsing for attribute values.
#include "read/ReadNumbers.h"

#include "model/Numbers.h"

#include <cmath>

namespace kx {
namespace svg {
namespace impl {

bool ParseSvgFloat(std::string_view text, float& out)
{
    if (text.empty()) {
        out = 0.0f;
        return true;
    }
    // strtof_l skips leading white space itself; ConvertFloat hands such texts
    // to it, so the accepted texts and values are exactly those of strtof_l.
    return ConvertFloat(text, out);
}

bool ParseNumberList(std::string_view text, float* values, size_t capacity, size_t& count,
                     std::string_view& badPiece)
{
    count = 0;
    return ForEachListPiece(text, [&](std::string_view piece) {
        float value = 0.0f;
        if (!ParseSvgFloat(piece, value)) {
            badPiece = piece;
            return false;
        }
        if (count < capacity) values[count] = value;
        ++count;
        return true;
    });
}

namespace {

// 2-D affine map a b c d e f in SVG's order: x' = a x + c y + e, y' = b x + d y + f.
struct Affine {
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

    // this x o: `o` acts first on points.
    Affine operator*(const Affine& o) const
    {
        Affine r;
        r.a = a * o.a + c * o.b;
        r.b = b * o.a + d * o.b;
        r.c = a * o.c + c * o.d;
        r.d = b * o.c + d * o.d;
        r.e = a * o.e + c * o.f + e;
        r.f = b * o.e + d * o.f + f;
        return r;
    }
};

constexpr double kDegreesToRadians = 3.14159265358979323846 / 180.0;

// Sine and cosine of an angle in degrees, exact for the multiples of 90 so
// that quarter turns give clean zeros instead of 6e-17.
void sinCosDegrees(double degrees, double& sine, double& cosine)
{
    const double turns = std::fmod(degrees, 360.0);
    if (std::fmod(turns, 90.0) == 0.0) {
        static const double kSin[4] = {0.0, 1.0, 0.0, -1.0};
        static const double kCos[4] = {1.0, 0.0, -1.0, 0.0};
        const int quarter = (int(turns / 90.0) + 4) % 4;
        sine = kSin[quarter];
        cosine = kCos[quarter];
        return;
    }
    const double radians = degrees * kDegreesToRadians;
    sine = std::sin(radians);
    cosine = std::cos(radians);
}

Affine translation(double tx, double ty)
{
    Affine m;
    m.e = tx;
    m.f = ty;
    return m;
}

bool isOperationNameChar(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string_view trimBlanks(std::string_view s)
{
    size_t b = 0, e = s.size();
    while (b < e && IsListSeparator(s[b])) ++b;
    while (e > b && IsListSeparator(s[e - 1])) --e;
    return s.substr(b, e - b);
}

// Builds the matrix of one operation from its arguments; false when the
// argument count does not fit the operation.
bool buildOperation(std::string_view name, const float* v, size_t n, Affine& m)
{
    if (name == "matrix") {
        if (n != 6) return false;
        m.a = v[0];
        m.b = v[1];
        m.c = v[2];
        m.d = v[3];
        m.e = v[4];
        m.f = v[5];
        return true;
    }
    if (name == "translate") {
        if (n != 1 && n != 2) return false;
        m = translation(v[0], n == 2 ? v[1] : 0.0);
        return true;
    }
    if (name == "scale") {
        if (n != 1 && n != 2) return false;
        m = Affine();
        m.a = v[0];
        m.d = n == 2 ? v[1] : v[0];
        return true;
    }
    if (name == "rotate") {
        if (n != 1 && n != 3) return false;
        Affine r;
        sinCosDegrees(v[0], r.b, r.a);
        r.c = -r.b;
        r.d = r.a;
        m = n == 3 ? translation(v[1], v[2]) * r * translation(-double(v[1]), -double(v[2])) : r;
        return true;
    }
    if (name == "skewX" || name == "skewY") {
        if (n != 1) return false;
        m = Affine();
        const double t = std::tan(double(v[0]) * kDegreesToRadians);
        if (name == "skewX")
            m.c = t;
        else
            m.b = t;
        return true;
    }
    return false;
}

bool isKnownOperation(std::string_view name)
{
    return name == "matrix" || name == "translate" || name == "scale" || name == "rotate" || name == "skewX" ||
           name == "skewY";
}

// Stored row by row: (a c e / b d f / 0 0 1).
Wm4::Matrix3<float> ToMatrix(const Affine& m)
{
    return Wm4::Matrix3<float>(float(m.a), float(m.c), float(m.e), float(m.b), float(m.d), float(m.f), 0.0f, 0.0f,
                               1.0f);
}

} // namespace

bool BuildTransformOperation(std::string_view name, const float* values, size_t count, Wm4::Matrix3<float>& out)
{
    Affine op;
    if (!buildOperation(name, values, count, op)) return false;
    out = ToMatrix(op);
    return true;
}

bool ParseTransformList(std::string_view text, Wm4::Matrix3<float>& out, std::string& error)
{
    Affine total;
    size_t i = 0;
    const size_t n = text.size();
    while (true) {
        while (i < n && IsListSeparator(text[i])) ++i;
        if (i == n) break;
        const size_t open = text.find('(', i);
        const size_t close = open == std::string_view::npos ? open : text.find(')', open + 1);
        if (open == std::string_view::npos || close == std::string_view::npos) {
            error = ", fail to locate '(' / ')'";
            return false;
        }
        const std::string_view name = trimBlanks(text.substr(i, open - i));
        bool wellFormedName = !name.empty();
        for (char c : name) wellFormedName = wellFormedName && isOperationNameChar(c);
        if (!wellFormedName || !isKnownOperation(name)) {
            error = ", unsupported command '";
            error.append(name);
            error += "''";
            return false;
        }
        float args[6];
        size_t count = 0;
        std::string_view bad;
        Affine op;
        if (!ParseNumberList(text.substr(open + 1, close - open - 1), args, 6, count, bad) ||
            !buildOperation(name, args, count, op)) {
            error = ", fail to parse '";
            error.append(name);
            error += "' content";
            return false;
        }
        total = total * op;
        i = close + 1;
    }
    out = ToMatrix(total);
    return true;
}

} // namespace impl
} // namespace svg
} // namespace kx
