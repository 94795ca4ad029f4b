// StrokeMesh.cpp - the stroke of an outline as triangles.
//
// The stroke is the union of one rectangle per segment, a join wedge at every
// corner (on the outer side; the rectangles already cover the inner side), a
// cap at every open end and a dot for a sub-path of zero length. Dashes cut
// the sub-paths into open pieces first, each capped. Pieces overlap, which is
// harmless for opaque paint; UnionTriangles removes the overlap when asked.
#include "segment/StrokeMesh.h"

#include <kx/svg/Triangulate.h>
#include <kx/system/kxLog.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kx {
namespace svg {
namespace impl {

namespace {

using Vec2 = Wm4::Vector2<float>;

constexpr float kPi = 3.14159265f;
// A dash pattern that would cut a primitive into more pieces than this is
// drawn solid: the mesh must stay linear in the size of the input.
constexpr double kMaxDashes = 1u << 20;
// Round pieces per full turn never go past this, whatever the tolerance.
constexpr float kMaxPiecesPerTurn = 4096.0f;

inline float Cross(const Vec2& a, const Vec2& b) { return a.X() * b.Y() - a.Y() * b.X(); }
inline float Dot(const Vec2& a, const Vec2& b) { return a.X() * b.X() + a.Y() * b.Y(); }
inline Vec2 Perp(const Vec2& d) { return Vec2(-d.Y(), d.X()); }
inline bool Finite(const Vec2& p) { return std::isfinite(p.X()) && std::isfinite(p.Y()); }

// Unit vector from a to b; (1, 0) when they coincide.
Vec2 Direction(const Vec2& a, const Vec2& b)
{
    const float dx = b.X() - a.X(), dy = b.Y() - a.Y();
    float len = std::sqrt(dx * dx + dy * dy);
    if (!(len > 0.0f) || !std::isfinite(len)) len = std::hypot(dx, dy); // the squares under- or overflowed
    if (!(len > 0.0f) || !std::isfinite(len)) return Vec2(1.0f, 0.0f);
    return Vec2(dx / len, dy / len);
}

// User units per unit of a dash length; 0 for units that need a context we do not have.
float UnitScale(Unit unit, float percentLength)
{
    switch (unit) {
    case Unit::None:
    case Unit::Px:
    case Unit::UnitEnd: return 1.0f;
    case Unit::Pt: return 96.0f / 72.0f;
    case Unit::In: return 96.0f;
    case Unit::Cm: return 96.0f / 2.54f;
    case Unit::Mm: return 96.0f / 25.4f;
    case Unit::Em: return 16.0f; // the initial font size
    case Unit::Percent: return percentLength / 100.0f;
    }
    return 0.0f;
}

// Emits the triangles of one stroke into the output vectors.
class MeshBuilder {
public:
    MeshBuilder(const StrokeStyle& style, std::vector<Vec2>& points, std::vector<unsigned int>& indices)
        : m_style(style), m_hw(0.5f * style.width), m_points(points), m_indices(indices)
    {
        // The chord of an arc of angle a on radius r lies r (1 - cos(a / 2)) inside it.
        const float tol = style.tolerance > 0.0f ? style.tolerance : 0.05f;
        const float c = 1.0f - tol / m_hw;
        m_step = c <= 0.0f ? kPi : 2.0f * std::acos(c);
        m_step = std::max(m_step, 2.0f * kPi / kMaxPiecesPerTurn);
        m_miterCos2 = 1.0f / (style.miterLimit * style.miterLimit);
    }

    // An open piece: segments, joins between them, caps at both ends. A
    // piece of one point is a dot along `direction`.
    void open(const Vec2* pts, std::size_t count, const Vec2& direction)
    {
        if (count == 1) {
            dot(pts[0], direction);
            return;
        }
        Vec2 prev;
        for (std::size_t i = 0; i + 1 < count; ++i) {
            const Vec2 d = Direction(pts[i], pts[i + 1]);
            segment(pts[i], pts[i + 1], d);
            if (i > 0) join(pts[i], prev, d);
            else cap(pts[0], Vec2(-d.X(), -d.Y()));
            prev = d;
        }
        cap(pts[count - 1], prev);
    }

    // A closed ring of `count` distinct points (the closing segment implied).
    void closed(const Vec2* pts, std::size_t count)
    {
        Vec2 first, prev;
        for (std::size_t i = 0; i < count; ++i) {
            const Vec2& a = pts[i];
            const Vec2& b = pts[i + 1 == count ? 0 : i + 1];
            const Vec2 d = Direction(a, b);
            segment(a, b, d);
            if (i > 0) join(a, prev, d);
            else first = d;
            prev = d;
        }
        join(pts[0], prev, first);
    }

    // A sub-path of zero length: a disc or a square along `direction`.
    void dot(const Vec2& p, const Vec2& direction)
    {
        if (m_style.cap == LineCap::Round) {
            fan(p, Vec2(m_hw, 0.0f), 2.0f * kPi);
        } else if (m_style.cap == LineCap::Square) {
            const Vec2 u(direction.X() * m_hw, direction.Y() * m_hw), n = Perp(u);
            quad(p - u + n, p + u + n, p + u - n, p - u - n);
        }
    }

private:
    unsigned int add(const Vec2& p)
    {
        m_points.push_back(p);
        return static_cast<unsigned int>(m_points.size() - 1);
    }

    // Every triangle counter-clockwise (in a y-up frame), so that a renderer
    // filling the whole mesh by the non-zero rule covers the union once.
    void triangle(unsigned int a, unsigned int b, unsigned int c)
    {
        if (Cross(m_points[b] - m_points[a], m_points[c] - m_points[a]) < 0.0f) std::swap(b, c);
        m_indices.push_back(a);
        m_indices.push_back(b);
        m_indices.push_back(c);
    }

    void quad(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d)
    {
        const unsigned int i = add(a), j = add(b), k = add(c), l = add(d);
        triangle(i, j, k);
        triangle(i, k, l);
    }

    void segment(const Vec2& a, const Vec2& b, const Vec2& d)
    {
        const Vec2 n(-d.Y() * m_hw, d.X() * m_hw);
        quad(a + n, b + n, b - n, a - n);
    }

    // Triangles from `center` over the arc that starts at center + `from` and
    // turns by `angle` (counter-clockwise when positive in a y-up frame).
    void fan(const Vec2& center, const Vec2& from, float angle)
    {
        const float pieces = std::ceil(std::fabs(angle) / m_step);
        const unsigned int n = pieces < 1.0f ? 1u : static_cast<unsigned int>(pieces);
        const unsigned int c = add(center);
        unsigned int last = add(center + from);
        for (unsigned int k = 1; k <= n; ++k) {
            const float t = angle * static_cast<float>(k) / static_cast<float>(n);
            float s = 0.0f, co = 0.0f;
            ::sincosf(t, &s, &co);
            const unsigned int next = add(center + Vec2(from.X() * co - from.Y() * s, from.X() * s + from.Y() * co));
            triangle(c, last, next);
            last = next;
        }
    }

    // The cap at end `p` of a piece whose outward direction is `u`.
    void cap(const Vec2& p, const Vec2& u)
    {
        const Vec2 n(-u.Y() * m_hw, u.X() * m_hw);
        if (m_style.cap == LineCap::Square) {
            const Vec2 out(u.X() * m_hw, u.Y() * m_hw);
            quad(p + n, p + n + out, p - n + out, p - n);
        } else if (m_style.cap == LineCap::Round) {
            // From p + n through p + hw u to p - n: clockwise in a y-up frame.
            fan(p, n, -kPi);
        }
    }

    // The join at `p` from direction `d0` into direction `d1`, on the outer side.
    void join(const Vec2& p, const Vec2& d0, const Vec2& d1)
    {
        const float cross = Cross(d0, d1), dot = Dot(d0, d1);
        if (cross == 0.0f && dot > 0.0f) return; // straight on
        const float sign = cross > 0.0f ? -1.0f : 1.0f;
        const Vec2 o0(-d0.Y() * m_hw * sign, d0.X() * m_hw * sign);
        const Vec2 o1(-d1.Y() * m_hw * sign, d1.X() * m_hw * sign);
        const float cosA = std::min(1.0f, std::max(-1.0f, dot)); // angle between o0 and o1
        switch (m_style.join) {
        case LineJoin::Round: {
            const float angle = std::acos(cosA);
            fan(p, o0, Cross(o0, d0) > 0.0f ? angle : -angle);
            return;
        }
        case LineJoin::Bevel: bevel(p, o0, o1); return;
        case LineJoin::Miter:
        case LineJoin::MiterClip:
        case LineJoin::Arcs: break;
        }
        // Miter length over width is 1 / cos(a / 2), cos^2(a / 2) = (1 + cos a) / 2.
        const float half2 = 0.5f * (1.0f + cosA);
        if (half2 >= m_miterCos2 && half2 > 0.0f) {
            const float k = 1.0f / (1.0f + cosA);
            const Vec2 tip = p + Vec2((o0.X() + o1.X()) * k, (o0.Y() + o1.Y()) * k);
            const unsigned int c = add(p), a = add(p + o0), m = add(tip), b = add(p + o1);
            triangle(c, a, m);
            triangle(c, m, b);
            return;
        }
        if (m_style.join == LineJoin::Miter) {
            bevel(p, o0, o1);
            return;
        }
        // Clipped miter: cut at miterLimit * width / 2 from p along the outer bisector.
        Vec2 b(o0.X() + o1.X(), o0.Y() + o1.Y());
        const float blen = std::sqrt(Dot(b, b));
        b = blen > 1e-6f * m_hw ? Vec2(b.X() / blen, b.Y() / blen) : d0;
        const float clip = m_style.miterLimit * m_hw;
        const float t0 = (clip - Dot(o0, b)) / std::max(Dot(d0, b), 1e-6f);
        const float t1 = (clip - Dot(o1, b)) / std::max(-Dot(d1, b), 1e-6f);
        const unsigned int c = add(p), a = add(p + o0), e0 = add(p + o0 + Vec2(d0.X() * t0, d0.Y() * t0));
        const unsigned int e1 = add(p + o1 - Vec2(d1.X() * t1, d1.Y() * t1)), bb = add(p + o1);
        triangle(c, a, e0);
        triangle(c, e0, e1);
        triangle(c, e1, bb);
    }

    void bevel(const Vec2& p, const Vec2& o0, const Vec2& o1)
    {
        const unsigned int c = add(p), a = add(p + o0), b = add(p + o1);
        triangle(c, a, b);
    }

    const StrokeStyle& m_style;
    float m_hw;
    float m_step = kPi;
    float m_miterCos2 = 0.0f;
    std::vector<Vec2>& m_points;
    std::vector<unsigned int>& m_indices;
};

// Cuts one sub-path (`pts`, with the closing point repeated when closed) into
// dashes and strokes each. On a closed sub-path a dash running over the start
// continues into the first one, joined.
void StrokeDashed(MeshBuilder& builder, const std::vector<Vec2>& pts, bool closed, const std::vector<float>& dashes,
                  std::vector<Vec2>& piece, std::vector<Vec2>& firstPiece)
{
    piece.clear();
    firstPiece.clear();
    std::size_t k = 0;
    // Distances in double: no overflow on far-apart floats, no drift over long paths.
    double remaining = dashes[0];
    bool on = true, first = true, firstDone = false;
    Vec2 dir(1.0f, 0.0f), firstDir(1.0f, 0.0f);
    piece.push_back(pts[0]);
    const auto emit = [&]() {
        // A cut that lands on a vertex repeats it: keep one.
        piece.erase(std::unique(piece.begin(), piece.end()), piece.end());
        if (closed && first) {
            firstPiece.swap(piece);
            firstDir = dir;
            firstDone = true;
        } else {
            builder.open(piece.data(), piece.size(), dir);
        }
        piece.clear();
    };
    for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
        const Vec2& a = pts[i];
        const Vec2& b = pts[i + 1];
        const double dx = static_cast<double>(b.X()) - a.X(), dy = static_cast<double>(b.Y()) - a.Y();
        const double len = std::sqrt(dx * dx + dy * dy);
        dir = Direction(a, b);
        double pos = 0.0;
        // A dash that ends on a vertex ends there, except at the end of a ring,
        // where it runs on into the first dash.
        const bool ringEnd = closed && i + 2 == pts.size();
        while (len - pos > remaining || (len - pos == remaining && !ringEnd)) {
            pos += remaining;
            piece.push_back(Vec2(static_cast<float>(a.X() + dx * (pos / len)),
                                 static_cast<float>(a.Y() + dy * (pos / len))));
            if (on) emit(); // else the cut starts the next dash
            first = false;
            on = !on;
            k = (k + 1) % dashes.size();
            remaining = dashes[k];
        }
        remaining -= len - pos;
        if (on) piece.push_back(b);
    }
    if (on && firstDone) {
        // The last dash runs over the start of the closed ring into the first.
        piece.insert(piece.end(), firstPiece.begin() + 1, firstPiece.end());
        builder.open(piece.data(), piece.size(), dir);
        return;
    }
    if (on && !piece.empty()) {
        if (closed && first) builder.closed(pts.data(), pts.size() - 1); // never switched off
        else builder.open(piece.data(), piece.size(), dir);
    }
    if (firstDone) builder.open(firstPiece.data(), firstPiece.size(), firstDir);
}

} // namespace

StrokeStyle StrokeStyleFromProperties(const RenderingProperties& props, float percentLength, float tolerance)
{
    StrokeStyle style;
    style.width = props.strokeWidth ? *props.strokeWidth : 1.0f;
    style.cap = props.strokeLinecap ? *props.strokeLinecap : LineCap::Butt;
    style.join = props.strokeLinejoin ? *props.strokeLinejoin : LineJoin::Miter;
    style.tolerance = tolerance;
    if (props.strokeDasharray && !props.strokeDasharray->empty()) {
        const std::vector<UnitValue>& array = *props.strokeDasharray;
        const std::size_t count = array.size() % 2 == 1 ? 2 * array.size() : array.size();
        style.dashes.reserve(count);
        double sum = 0.0;
        bool valid = true;
        for (std::size_t i = 0; i < count; ++i) {
            const UnitValue& v = array[i % array.size()];
            const float scale = UnitScale(v.unit, percentLength);
            const float length = v.value * scale;
            if (!(length >= 0.0f) || !std::isfinite(length) || scale <= 0.0f) valid = false;
            style.dashes.push_back(length);
            sum += static_cast<double>(length);
        }
        if (!valid || !(sum > 0.0) || !std::isfinite(sum)) style.dashes.clear();
    }
    return style;
}

void AppendStrokeMesh(const std::vector<Vec2>& points, const std::vector<unsigned int>& lineIndices,
                      const std::vector<unsigned int>* closedEnds, const StrokeStyle& style,
                      std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices)
{
    if (!(style.width > 0.0f) || !std::isfinite(style.width)) return;
    MeshBuilder builder(style, outPoints, outIndices);
    std::vector<Vec2> chain, piece, firstPiece;
    const std::size_t pairCount = lineIndices.size() / 2;
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < pairCount; ++i) {
        if (i + 1 < pairCount && lineIndices[2 * i + 2] == lineIndices[2 * i + 1]) continue;
        const std::size_t begin = runStart, end = i + 1;
        runStart = i + 1;
        // The run's points with zero-length and broken segments dropped.
        chain.clear();
        double length = 0.0;
        for (std::size_t s = begin; s < end; ++s) {
            const unsigned int ia = lineIndices[2 * s], ib = lineIndices[2 * s + 1];
            if (ia >= points.size() || ib >= points.size()) continue;
            const Vec2& a = points[ia];
            const Vec2& b = points[ib];
            if (!Finite(a) || !Finite(b)) continue;
            if (chain.empty() || chain.back() != a) {
                if (!chain.empty()) {
                    // A gap left by a skipped segment ends the piece here.
                    builder.open(chain.data(), chain.size(), Vec2(1.0f, 0.0f));
                    chain.clear();
                }
                chain.push_back(a);
            }
            if (b != chain.back()) {
                length += std::hypot(static_cast<double>(b.X() - a.X()), static_cast<double>(b.Y() - a.Y()));
                chain.push_back(b);
            }
        }
        if (chain.empty()) continue;
        if (chain.size() == 1) {
            builder.dot(chain[0], Vec2(1.0f, 0.0f));
            continue;
        }
        const unsigned int firstIndex = lineIndices[2 * begin], lastIndex = lineIndices[2 * end - 1];
        const bool closeListed =
            closedEnds != nullptr && std::binary_search(closedEnds->begin(), closedEnds->end(), lastIndex);
        const bool closed =
            chain.size() > 2 && chain.front() == chain.back() && (firstIndex == lastIndex || closeListed);
        if (!style.dashes.empty()) {
            double period = 0.0;
            for (float d : style.dashes) period += static_cast<double>(d);
            if (length / period * static_cast<double>(style.dashes.size()) <= kMaxDashes) {
                StrokeDashed(builder, chain, closed, style.dashes, piece, firstPiece);
                continue;
            }
        }
        if (closed) builder.closed(chain.data(), chain.size() - 1);
        else builder.open(chain.data(), chain.size(), Vec2(1.0f, 0.0f));
    }
}

bool UnionTriangles(std::vector<Vec2>& points, std::vector<unsigned int>& indices)
{
    std::vector<unsigned int> edges;
    edges.reserve(2 * indices.size());
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        unsigned int a = indices[t], b = indices[t + 1], c = indices[t + 2];
        const float area = Cross(points[b] - points[a], points[c] - points[a]);
        if (area == 0.0f || !std::isfinite(area)) continue;
        if (area < 0.0f) std::swap(b, c);
        edges.insert(edges.end(), {a, b, b, c, c, a});
    }
    // An edge that two triangles of one piece share runs both ways and adds
    // nothing to any winding number: dropping such pairs leaves the pieces'
    // outlines only, which is far less for the fill to resolve.
    struct Keyed {
        uint64_t key;
        std::size_t at;
        bool forward;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(edges.size() / 2);
    for (std::size_t e = 0; e + 1 < edges.size(); e += 2) {
        const unsigned int u = edges[e], v = edges[e + 1];
        keyed.push_back({(static_cast<uint64_t>(std::min(u, v)) << 32) | std::max(u, v), e, u < v});
    }
    std::sort(keyed.begin(), keyed.end(), [](const Keyed& x, const Keyed& y) {
        return x.key != y.key ? x.key < y.key : x.forward < y.forward;
    });
    std::vector<unsigned int> kept;
    kept.reserve(edges.size());
    for (std::size_t i = 0; i < keyed.size();) {
        std::size_t j = i, forward = 0;
        while (j < keyed.size() && keyed[j].key == keyed[i].key) forward += keyed[j++].forward ? 1 : 0;
        const std::size_t backward = (j - i) - forward;
        // Keep the surplus of one direction over the other.
        std::size_t surplus = forward > backward ? forward - backward : backward - forward;
        for (std::size_t k = i; k < j && surplus > 0; ++k) {
            if (keyed[k].forward != (forward > backward)) continue;
            kept.push_back(edges[keyed[k].at]);
            kept.push_back(edges[keyed[k].at + 1]);
            --surplus;
        }
        i = j;
    }
    edges.swap(kept);
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    FillOptions fill;
    fill.rule = TriangulationFillRule::NonZero;
    if (!TriangulateFill(points, edges, outPoints, outIndices, fill)) return false;
    for (std::size_t t = 0; t + 2 < outIndices.size(); t += 3) {
        const Vec2& a = outPoints[outIndices[t]];
        if (Cross(outPoints[outIndices[t + 1]] - a, outPoints[outIndices[t + 2]] - a) < 0.0f)
            std::swap(outIndices[t + 1], outIndices[t + 2]);
    }
    points.swap(outPoints);
    indices.swap(outIndices);
    return true;
}

void AttachStrokeMesh(const std::vector<Vec2>& points, const std::vector<unsigned int>& lineIndices,
                      const std::vector<unsigned int>* closedEnds, const Wm4::Matrix3<float>* transform,
                      const RenderingProperties* props,
                      const SegmentationOptions& options, SegmentedPrimitive& primitive)
{
    if (!options.strokeMeshes || props == nullptr || !props->hasStroke()) return;
    const bool nonScaling = props->vectorEffect && (*props->vectorEffect & NonScalingStroke) != 0;
    // The round pieces' tolerance is given in document units: in item units it
    // shrinks by the largest stretch of the transform.
    float stretch = 1.0f;
    if (transform != nullptr && !nonScaling) {
        const double a = (*transform)(0, 0), b = (*transform)(0, 1), c = (*transform)(1, 0), d = (*transform)(1, 1);
        const double s = a * a + b * b + c * c + d * d, det = a * d - b * c;
        stretch = static_cast<float>(std::sqrt(0.5 * (s + std::sqrt(std::max(0.0, s * s - 4.0 * det * det)))));
    }
    StrokeStyle style = StrokeStyleFromProperties(*props, options.strokePercentLength,
                                                  stretch > 0.0f ? options.strokeTolerance / stretch
                                                                 : options.strokeTolerance);
    std::vector<Vec2>& out = primitive.strokePoints;
    const auto map = [&](std::vector<Vec2>& pts) {
        const Wm4::Matrix3<float>& m = *transform;
        for (Vec2& p : pts)
            p = Vec2(m(0, 0) * p.X() + m(0, 1) * p.Y() + m(0, 2), m(1, 0) * p.X() + m(1, 1) * p.Y() + m(1, 2));
    };
    const auto keepCounterClockwise = [&]() {
        const Wm4::Matrix3<float>& m = *transform;
        if (m(0, 0) * m(1, 1) - m(0, 1) * m(1, 0) >= 0.0f) return;
        std::vector<unsigned int>& idx = primitive.strokeIndices;
        for (std::size_t t = 0; t + 2 < idx.size(); t += 3) std::swap(idx[t + 1], idx[t + 2]);
    };
    if (nonScaling && transform != nullptr) {
        std::vector<Vec2> mapped(points);
        map(mapped);
        AppendStrokeMesh(mapped, lineIndices, closedEnds, style, out, primitive.strokeIndices);
    } else {
        AppendStrokeMesh(points, lineIndices, closedEnds, style, out, primitive.strokeIndices);
        if (transform != nullptr) {
            map(out);
            keepCounterClockwise();
        }
    }
    if (options.strokeNonOverlapping && !primitive.strokeIndices.empty() &&
        !UnionTriangles(primitive.strokePoints, primitive.strokeIndices))
        kxLog::write(2, "svg", "Stroke pieces could not be merged. The stroke may darken where they overlap.");
}

} // namespace impl
} // namespace svg
} // namespace kx
