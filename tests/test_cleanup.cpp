// Tests of kx::CleanupContour: tolerances relative to the bounding box,
// merging of short segments, removal of straight-through vertices, closing.
#include <kx/svg/Triangulate.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

namespace {

using Point = Wm4::Vector2<float>;
using Indices = std::vector<unsigned int>;

struct Contour {
    std::vector<Point> points;
    Indices indices;
};

// Runs the clean-up and checks that the points came back untouched.
Indices cleaned(Contour c) {
    const std::vector<Point> before = c.points;
    kx::CleanupContour(c.points, c.indices);
    EXPECT_EQ(c.points.size(), before.size());
    for (std::size_t i = 0; i < before.size() && i < c.points.size(); ++i) {
        EXPECT_EQ(std::memcmp(&c.points[i], &before[i], sizeof(Point)), 0) << "point " << i;
    }
    return c.indices;
}

} // namespace

TEST(CleanupContour, StraightThroughVerticesAreRemoved) {
    // Vertex 1 sits on the straight line from 0 to 2.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(5, 0), Point(10, 0), Point(10, 10)}, {0, 1, 1, 2, 2, 3, 3, 0}}),
              (Indices{0, 2, 2, 3, 3, 0}));
    // The predecessor is read after earlier replacements: a whole run collapses.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(2, 0), Point(3, 0), Point(3, 3)},
                       {0, 1, 1, 2, 2, 3, 3, 4, 4, 0}}),
              (Indices{0, 3, 3, 4, 4, 0}));
    // A vertical run, and a run that turns back on itself (cross product zero too).
    EXPECT_EQ(cleaned({{Point(0, 0), Point(4, 0), Point(4, 2), Point(4, 4), Point(0, 4)},
                       {0, 1, 1, 2, 2, 3, 3, 4, 4, 0}}),
              (Indices{0, 1, 1, 3, 3, 4, 4, 0}));
    // A joint is only straight when the previous kept pair ends where this one starts.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(2, 0), Point(3, 0), Point(3, 3)}, {0, 1, 2, 3, 3, 4}}),
              (Indices{0, 1, 2, 3, 3, 4}));
    // A real corner is kept.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(2, 0), Point(2, 2)}, {0, 1, 1, 2, 2, 0}}), (Indices{0, 1, 1, 2, 2, 0}));
}

TEST(CleanupContour, ShortSegmentsAreMergedRelativeToTheBox) {
    // In a 10 x 10 box, points 3 and 4 are 0.005 and 0.002 apart: under a
    // thousandth of the box on both axes, so the pair goes and 4 becomes 3.
    const Contour big{{Point(0, 0), Point(10, 0), Point(10, 10), Point(5, 10), Point(4.995f, 9.998f), Point(0, 7)},
                      {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 0}};
    EXPECT_EQ(cleaned(big), (Indices{0, 1, 1, 2, 2, 3, 3, 5, 5, 0}));
    // The same separation in a 1 x 1 box is large enough to keep.
    const Contour small{{Point(0, 0), Point(1, 0), Point(1, 1), Point(0.5f, 1), Point(0.495f, 0.998f), Point(0, 0.7f)},
                        {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 0}};
    EXPECT_EQ(cleaned(small), (Indices{0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 0}));
    // Every later use of the merged index is redirected, including a second sub-path.
    const Contour reuse{{Point(0, 0), Point(10, 0), Point(10.001f, 0.001f), Point(10, 10), Point(0, 10)},
                        {0, 1, 1, 2, 2, 3, 3, 0, 2, 4, 4, 0}};
    EXPECT_EQ(cleaned(reuse), (Indices{0, 1, 1, 3, 3, 0, 1, 4, 4, 0}));
    // A zero-length pair (same index twice) disappears.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(3, 0), Point(3, 3)}, {0, 1, 1, 1, 1, 2, 2, 0}}), (Indices{0, 1, 1, 2, 2, 0}));
}

TEST(CleanupContour, NearlyClosedContoursAreClosed) {
    // The last point is within a thousandth of the first: the last index becomes the first.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(10, 0), Point(10, 10), Point(0.001f, 0.0005f)}, {0, 1, 1, 2, 2, 3}}),
              (Indices{0, 1, 1, 2, 2, 0}));
    // Farther apart it stays open.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(10, 0), Point(10, 10), Point(0.5f, 0.5f)}, {0, 1, 1, 2, 2, 3}}),
              (Indices{0, 1, 1, 2, 2, 3}));
}

TEST(CleanupContour, DegenerateInputIsLeftAlone) {
    // Zero extent on one axis: no normalisation is possible, nothing changes.
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(2, 0)}, {0, 1, 1, 2, 2, 0}}), (Indices{0, 1, 1, 2, 2, 0}));
    EXPECT_EQ(cleaned({{Point(3, 0), Point(3, 1), Point(3, 2)}, {0, 1, 1, 2}}), (Indices{0, 1, 1, 2}));
    EXPECT_EQ(cleaned({{Point(1, 1), Point(1, 1)}, {0, 1}}), (Indices{0, 1}));
    // Non-finite coordinates or extent.
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(1, 1), Point(nan, 0.5f)}, {0, 1, 1, 2, 2, 3, 3, 0}}),
              (Indices{0, 1, 1, 2, 2, 3, 3, 0}));
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(inf, 1)}, {0, 1, 1, 2, 2, 0}}), (Indices{0, 1, 1, 2, 2, 0}));
    EXPECT_EQ(cleaned({{Point(-3e38f, 0), Point(3e38f, 0), Point(0, 1)}, {0, 1, 1, 2, 2, 0}}),
              (Indices{0, 1, 1, 2, 2, 0}));
    // Empty lists, an odd count, one point, an index out of range.
    EXPECT_EQ(cleaned({{}, {}}), Indices{});
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 1)}, {}}), Indices{});
    EXPECT_EQ(cleaned({{}, {0, 1}}), (Indices{0, 1}));
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(1, 1)}, {0, 1, 1}}), (Indices{0, 1, 1}));
    EXPECT_EQ(cleaned({{Point(0, 0)}, {0, 0}}), (Indices{0, 0}));
    EXPECT_EQ(cleaned({{Point(0, 0), Point(1, 0), Point(1, 1)}, {0, 1, 1, 9}}), (Indices{0, 1, 1, 9}));
}

TEST(CleanupContour, LongRunsStayLinear) {
    // 200,000 points along the sides of a square collapse to its four corners;
    // a clean-up that rewrote the whole list per merge would not finish.
    const int perSide = 50000;
    Contour c;
    for (int i = 0; i < perSide; ++i) c.points.emplace_back(float(i), 0.0f);
    for (int i = 0; i < perSide; ++i) c.points.emplace_back(float(perSide), float(i));
    for (int i = perSide; i > 0; --i) c.points.emplace_back(float(i), float(perSide));
    for (int i = perSide; i > 0; --i) c.points.emplace_back(0.0f, float(i));
    const unsigned int n = static_cast<unsigned int>(c.points.size());
    for (unsigned int i = 0; i < n; ++i) {
        c.indices.push_back(i);
        c.indices.push_back((i + 1) % n);
    }
    // Neighbouring points are 1/50000 of the box apart, so each pair is short:
    // runs of them merge onto their first point until a pair is long enough.
    const Indices out = cleaned(c);
    ASSERT_EQ(out.size() % 2, 0u);
    EXPECT_LT(out.size(), 64u);
    std::vector<Point> pts = c.points;
    Indices idx = out;
    std::vector<Point> triPts;
    Indices tri;
    ASSERT_TRUE(kx::TriangulatePoly(pts, idx, triPts, tri, kx::TriangulationFillRule::EvenOdd, true));
    double area = 0;
    for (std::size_t t = 0; t < tri.size(); t += 3) {
        const Point& a = triPts[tri[t]];
        const Point& b = triPts[tri[t + 1]];
        const Point& d = triPts[tri[t + 2]];
        area += 0.5 * ((double(b.X()) - a.X()) * (double(d.Y()) - a.Y()) - (double(b.Y()) - a.Y()) * (double(d.X()) - a.X()));
    }
    EXPECT_NEAR(area, double(perSide) * perSide, 1e-3 * perSide * perSide);
}
