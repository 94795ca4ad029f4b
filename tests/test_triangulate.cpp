// Tests of kx::TriangulatePoly: every fill is checked by properties computed
// independently of the triangulator (area, coverage of sample points, vertex
// origin), over generated polygons, rotated and in both orientations.
#include <kx/svg/Triangulate.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Point = Wm4::Vector2<float>;
using Rule = kx::TriangulationFillRule;
using kxtest::RegularPolygon;

using Shape = kxtest::Outline;

double cross(const Point& o, const Point& a, const Point& b) { return kxtest::Cross(o, a, b); }

struct Result {
    bool ok = false;
    std::vector<Point> points;
    std::vector<unsigned int> indices;
};

Result triangulate(const Shape& s, Rule rule = Rule::EvenOdd, bool flag = true) {
    Result r;
    r.ok = kx::TriangulatePoly(s.points, s.edges, r.points, r.indices, rule, flag);
    return r;
}

double areaOf(const Result& r) {
    double area = 0;
    for (std::size_t t = 0; t + 2 < r.indices.size(); t += 3)
        area += 0.5 * cross(r.points[r.indices[t]], r.points[r.indices[t + 1]], r.points[r.indices[t + 2]]);
    return area;
}

// Checks a successful triangulation against the input by independent means:
// every output vertex is an input vertex, and the shared cover check.
// `expectedArea` < 0 means "do not compare the area".
void checkFill(const Shape& s, const Result& r, Rule rule, double expectedArea, const std::string& what,
               int samples = 300) {
    SCOPED_TRACE(what);
    ASSERT_TRUE(r.ok);
    for (const Point& p : r.points)
        ASSERT_NE(std::find(s.points.begin(), s.points.end(), p), s.points.end()) << p.X() << "," << p.Y();
    const double area = kxtest::CheckTriangleCover(s, rule, r.points, r.indices, samples);
    if (expectedArea >= 0.0) {
        float minX = 1e30f, minY = 1e30f, maxX = -1e30f, maxY = -1e30f;
        for (const Point& p : s.points) {
            minX = std::min(minX, p.X());
            maxX = std::max(maxX, p.X());
            minY = std::min(minY, p.Y());
            maxY = std::max(maxY, p.Y());
        }
        EXPECT_NEAR(area, expectedArea, 1e-5 * std::max(1.0, double(maxX - minX) * double(maxY - minY)));
    }
}

} // namespace

namespace {

// ---------------------------------------------------------------- generators

std::vector<Point> rect(double x0, double y0, double x1, double y1) {
    return {Point(float(x0), float(y0)), Point(float(x1), float(y0)), Point(float(x1), float(y1)),
            Point(float(x0), float(y1))};
}

double shoelace(const std::vector<Point>& pts) {
    double a = 0;
    for (std::size_t i = 1; i + 1 < pts.size(); ++i) a += cross(pts[0], pts[i], pts[i + 1]);
    return 0.5 * a;
}

// A star-shaped polygon with random radii (simple by construction).
std::vector<Point> randomStar(std::mt19937& rng, int n, double rMin, double rMax) {
    std::uniform_real_distribution<double> ur(rMin, rMax);
    std::vector<Point> pts;
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n;
        const double r = ur(rng);
        pts.emplace_back(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)));
    }
    return pts;
}

// A comb: a bar along the bottom with `teeth` vertical teeth.
std::vector<Point> comb(int teeth) {
    std::vector<Point> pts;
    pts.emplace_back(0.0f, 0.0f);
    pts.emplace_back(float(2 * teeth - 1), 0.0f);
    for (int i = teeth - 1; i >= 0; --i) {
        pts.emplace_back(float(2 * i + 1), 5.0f);
        pts.emplace_back(float(2 * i), 5.0f);
        if (i > 0) {
            pts.emplace_back(float(2 * i), 1.0f);
            pts.emplace_back(float(2 * i - 1), 1.0f);
        }
    }
    return pts;
}

// A thick spiral outline: out along one arm and back along the other.
std::vector<Point> spiral(int stepsPerTurn, int turns) {
    std::vector<Point> inner, outer;
    const int n = stepsPerTurn * turns;
    for (int i = 0; i <= n; ++i) {
        const double a = 2 * M_PI * i / stepsPerTurn;
        const double r = 1.0 + a;
        inner.emplace_back(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)));
        outer.emplace_back(static_cast<float>((r + 3.0) * std::cos(a)), static_cast<float>((r + 3.0) * std::sin(a)));
    }
    std::vector<Point> pts(inner);
    for (int i = n; i >= 0; --i) pts.push_back(outer[i]);
    return pts;
}

Shape rotated(const Shape& s, double degrees) {
    const double a = degrees * M_PI / 180.0, c = std::cos(a), sn = std::sin(a);
    Shape r = s;
    for (Point& p : r.points) {
        const double x = p.X(), y = p.Y();
        p = Point(static_cast<float>(c * x - sn * y), static_cast<float>(sn * x + c * y));
    }
    // Quarter turns are exact, so vertical and horizontal edges stay exact.
    if (std::fmod(degrees, 90.0) == 0.0) {
        const int q = (int(degrees / 90.0) % 4 + 4) % 4;
        r = s;
        for (Point& p : r.points) {
            const float x = p.X(), y = p.Y();
            if (q == 1) p = Point(-y, x);
            if (q == 2) p = Point(-x, -y);
            if (q == 3) p = Point(y, -x);
        }
    }
    return r;
}

Shape reversedEdges(const Shape& s) {
    Shape r = s;
    for (std::size_t i = 0; i + 1 < r.edges.size(); i += 2) std::swap(r.edges[i], r.edges[i + 1]);
    return r;
}

// Runs the checks on the shape rotated through many angles, both ways round.
// Shapes whose outlines touch only stay touching under exact quarter turns
// (rounding may make them cross, which is then rightly refused).
void checkAllWays(const Shape& s, double area, const std::string& name, int samples = 120, bool quarterTurns = false) {
    for (int step = 0; step < 24; ++step) {
        if (quarterTurns && step % 6 != 0) continue;
        const double degrees = step * 15.0 + (step % 3 == 2 ? 0.37 : 0.0);
        for (int way = 0; way < 2; ++way) {
            const Shape t = way ? reversedEdges(rotated(s, degrees)) : rotated(s, degrees);
            const Result r = triangulate(t);
            checkFill(t, r, Rule::EvenOdd, area, name + " at " + std::to_string(degrees) + (way ? " reversed" : ""),
                      samples);
            if (::testing::Test::HasFailure()) return;
        }
    }
}

} // namespace

// ---------------------------------------------------------------- tests

TEST(TriangulatePoly, BasicShapes) {
    Shape square;
    square.addChain(rect(0, 0, 1, 1));
    Result r = triangulate(square);
    checkFill(square, r, Rule::EvenOdd, 1.0, "square");
    EXPECT_EQ(r.indices.size(), 6u);
    EXPECT_EQ(r.points.size(), 4u);

    Shape triangle;
    triangle.addChain({Point(0, 0), Point(4, 0), Point(0, 3)});
    r = triangulate(triangle);
    checkFill(triangle, r, Rule::EvenOdd, 6.0, "triangle");
    EXPECT_EQ(r.indices.size(), 3u);

    // A convex polygon with n vertices gives n - 2 triangles.
    for (int n : {5, 8, 33, 100}) {
        Shape poly;
        poly.addChain(RegularPolygon(n, 10, -5, 7));
        r = triangulate(poly);
        checkFill(poly, r, Rule::EvenOdd, shoelace(poly.points), "regular " + std::to_string(n));
        EXPECT_EQ(r.indices.size(), 3u * (n - 2));
    }
}

TEST(TriangulatePoly, EmptyAndFlatInput) {
    Shape empty;
    Result r = triangulate(empty);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());
    EXPECT_TRUE(r.points.empty());

    // Collinear points enclose nothing: success with no triangles.
    Shape flat;
    flat.addChain({Point(0, 0), Point(1, 0), Point(2, 0), Point(3, 0)});
    r = triangulate(flat);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());

    Shape vertical;
    vertical.addChain({Point(1, 0), Point(1, 5), Point(1, 2)});
    r = triangulate(vertical);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());

    // A segment drawn there and back again.
    Shape back;
    back.points = {Point(0, 0), Point(3, 1)};
    back.edges = {0, 1, 1, 0};
    r = triangulate(back);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());

    // A single point as a zero-length segment: skipped with the flag set.
    Shape dot;
    dot.points = {Point(2, 2)};
    dot.edges = {0, 0};
    r = triangulate(dot, Rule::EvenOdd, true);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());
}

TEST(TriangulatePoly, RefusesBadInput) {
    std::vector<Point> out{Point(9, 9)};
    std::vector<unsigned int> idx{7};
    const std::vector<Point> square = rect(0, 0, 1, 1);

    // Odd index count.
    EXPECT_FALSE(kx::TriangulatePoly(square, {0, 1, 1, 2, 2}, out, idx, Rule::EvenOdd, true));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(idx.empty());
    // Index out of range.
    EXPECT_FALSE(kx::TriangulatePoly(square, {0, 1, 1, 2, 2, 4}, out, idx, Rule::EvenOdd, true));
    // Non-finite coordinates.
    for (float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                      -std::numeric_limits<float>::infinity()}) {
        std::vector<Point> pts = square;
        pts[2] = Point(bad, 1.0f);
        out.assign(1, Point(0, 0));
        EXPECT_FALSE(kx::TriangulatePoly(pts, {0, 1, 1, 2, 2, 3, 3, 0}, out, idx, Rule::EvenOdd, true));
        EXPECT_TRUE(out.empty());
        pts[2] = Point(1.0f, bad);
        EXPECT_FALSE(kx::TriangulatePoly(pts, {0, 1, 1, 2, 2, 3, 3, 0}, out, idx, Rule::EvenOdd, true));
    }
    // A zero-length segment is refused without the flag.
    EXPECT_FALSE(kx::TriangulatePoly(square, {0, 1, 1, 2, 2, 2, 2, 3, 3, 0}, out, idx, Rule::EvenOdd, false));
    EXPECT_TRUE(kx::TriangulatePoly(square, {0, 1, 1, 2, 2, 2, 2, 3, 3, 0}, out, idx, Rule::EvenOdd, true));
    EXPECT_EQ(idx.size(), 6u);
}

TEST(TriangulatePoly, CrossingOutlinesAreRefused) {
    // Bow tie, rotated and both ways round: never a wrong fill.
    Shape bowtie;
    bowtie.addChain({Point(0, 0), Point(2, 2), Point(2, 0), Point(0, 2)});
    for (int step = 0; step < 24; ++step) {
        for (int way = 0; way < 2; ++way) {
            const Shape t = way ? reversedEdges(rotated(bowtie, step * 15.0)) : rotated(bowtie, step * 15.0);
            EXPECT_FALSE(triangulate(t).ok) << step;
            EXPECT_FALSE(triangulate(t, Rule::NonZero).ok) << step;
        }
    }
    // Two overlapping squares cross each other.
    Shape two;
    two.addChain(rect(0, 0, 2, 2));
    two.addChain(rect(1, 1, 3, 3));
    EXPECT_FALSE(triangulate(two).ok);
    // A star polygon {5/2} crosses itself five times.
    Shape star;
    std::vector<Point> pentagon = RegularPolygon(5, 0, 0, 10);
    star.addChain({pentagon[0], pentagon[2], pentagon[4], pentagon[1], pentagon[3]});
    EXPECT_FALSE(triangulate(star).ok);
    // A long polygon with one crossing far from the start.
    std::mt19937 rng(7);
    Shape big;
    std::vector<Point> pts = randomStar(rng, 400, 50, 60);
    std::swap(pts[200], pts[201]);
    big.addChain(pts);
    EXPECT_FALSE(triangulate(big).ok);
}

TEST(TriangulatePoly, RandomStarPolygons) {
    std::mt19937 rng(2024);
    std::uniform_int_distribution<int> count(3, 60);
    for (int i = 0; i < 1500; ++i) {
        Shape s;
        s.addChain(randomStar(rng, count(rng), 1.0, 100.0), i % 2 == 1);
        const Result r = triangulate(s);
        checkFill(s, r, Rule::EvenOdd, std::fabs(shoelace(s.points)), "star " + std::to_string(i), 60);
        EXPECT_EQ(r.indices.size(), 3 * (s.points.size() - 2)) << i;
        if (HasFailure()) return;
    }
}

TEST(TriangulatePoly, PolygonsWithHoles) {
    std::mt19937 rng(99);
    for (int i = 0; i < 300; ++i) {
        const int grid = 1 + i % 6;
        Shape s;
        s.addChain(rect(0, 0, 10 * grid, 10 * grid), rng() % 2 == 0);
        double area = 100.0 * grid * grid;
        std::uniform_real_distribution<double> off(0.5, 3.0), size(1.0, 6.0);
        for (int gx = 0; gx < grid; ++gx)
            for (int gy = 0; gy < grid; ++gy) {
                if (rng() % 4 == 0) continue;
                const double x0 = 10 * gx + off(rng), y0 = 10 * gy + off(rng);
                const double w = size(rng), h = size(rng);
                if (rng() % 2) {
                    s.addChain(rect(x0, y0, x0 + w, y0 + h), rng() % 2 == 0);
                    area -= std::fabs(shoelace(rect(x0, y0, x0 + w, y0 + h)));
                } else {
                    const std::vector<Point> hole =
                        RegularPolygon(3 + int(rng() % 9), x0 + 3, y0 + 3, 2.4, static_cast<double>(rng() % 100) * 0.1);
                    s.addChain(hole, rng() % 2 == 0);
                    area -= std::fabs(shoelace(hole));
                }
            }
        const Result r = triangulate(s);
        checkFill(s, r, Rule::EvenOdd, area, "holes " + std::to_string(i), 80);
        if (i % 30 == 0) checkAllWays(s, area, "holes " + std::to_string(i), 30);
        if (HasFailure()) return;
    }
    // Islands inside holes inside the outline: even-odd alternates.
    Shape nested;
    nested.addChain(rect(0, 0, 20, 20));
    nested.addChain(rect(2, 2, 18, 18), true);
    nested.addChain(rect(4, 4, 16, 16));
    nested.addChain(rect(6, 6, 14, 14));
    checkAllWays(nested, 400 - 256 + 144 - 64, "nested squares");
}

TEST(TriangulatePoly, CombsSpiralsAndCollinearRuns) {
    Shape c;
    c.addChain(comb(12));
    checkAllWays(c, 23.0 + 12 * 4.0, "comb");

    Shape sp;
    const std::vector<Point> spiralPts = spiral(24, 3);
    sp.addChain(spiralPts);
    checkAllWays(sp, std::fabs(shoelace(spiralPts)), "spiral", 60);

    // A square with many points along every side (collinear runs).
    std::vector<Point> run;
    for (int i = 0; i < 10; ++i) run.emplace_back(float(i), 0.0f);
    for (int i = 0; i < 10; ++i) run.emplace_back(10.0f, float(i));
    for (int i = 10; i > 0; --i) run.emplace_back(float(i), 10.0f);
    for (int i = 10; i > 0; --i) run.emplace_back(0.0f, float(i));
    Shape collinear;
    collinear.addChain(run);
    checkAllWays(collinear, 100.0, "collinear runs");

    // An L shape, a staircase and a U: equal coordinates everywhere.
    Shape l;
    l.addChain({Point(0, 0), Point(4, 0), Point(4, 1), Point(1, 1), Point(1, 4), Point(0, 4)});
    checkAllWays(l, 7.0, "L");
    std::vector<Point> stairs{Point(0, 0)};
    for (int i = 0; i < 8; ++i) {
        stairs.emplace_back(float(i + 1), float(i));
        stairs.emplace_back(float(i + 1), float(i + 1));
    }
    stairs.emplace_back(0.0f, 8.0f);
    Shape st;
    st.addChain(stairs);
    checkAllWays(st, std::fabs(shoelace(stairs)), "stairs");
    Shape u;
    u.addChain({Point(0, 0), Point(3, 0), Point(3, 3), Point(2, 3), Point(2, 1), Point(1, 1), Point(1, 3),
                Point(0, 3)});
    checkAllWays(u, 7.0, "U");
}

TEST(TriangulatePoly, DuplicatedAndSharedPoints) {
    // Consecutive duplicates (same coordinates, different indices).
    Shape dup;
    dup.addChain({Point(0, 0), Point(0, 0), Point(2, 0), Point(2, 0), Point(2, 2), Point(0, 2), Point(0, 2)});
    checkAllWays(dup, 4.0, "duplicates");

    // The last point repeats the first (a closed sub-path with an explicit end point).
    Shape closedTwice;
    closedTwice.addChain({Point(0, 0), Point(3, 0), Point(3, 3), Point(0, 0)});
    checkAllWays(closedTwice, 4.5, "explicit close");

    // Two squares touching at one corner.
    Shape corner;
    corner.addChain(rect(0, 0, 1, 1));
    corner.addChain(rect(1, 1, 2, 2));
    checkAllWays(corner, 2.0, "corner touch", 120, true);

    // Two triangles sharing a vertex index.
    Shape shared;
    shared.points = {Point(0, 0), Point(2, 1), Point(0, 2), Point(4, 0), Point(4, 2)};
    shared.edges = {0, 1, 1, 2, 2, 0, 1, 3, 3, 4, 4, 1};
    checkAllWays(shared, 2.0 + 2.0, "shared vertex", 120, true);

    // A hole touching its outline at a vertex.
    Shape touching;
    touching.addChain({Point(0, 0), Point(6, 0), Point(6, 6), Point(0, 6), Point(0, 3)});
    touching.addChain({Point(0, 3), Point(3, 2), Point(3, 4)});
    checkAllWays(touching, 36.0 - 3.0, "hole touching at a vertex", 120, true);

    // A hole whose corner lies on the middle of an outline edge.
    Shape tee;
    tee.addChain(rect(0, 0, 6, 6));
    tee.addChain({Point(3, 0), Point(4, 2), Point(2, 2)});
    checkAllWays(tee, 36.0 - 2.0, "hole corner on an outline edge", 120, true);

    // An inner square sharing part of an edge with the outline.
    Shape notch;
    notch.addChain(rect(0, 0, 6, 6));
    notch.addChain(rect(2, 0, 4, 2));
    checkAllWays(notch, 36.0 - 4.0, "hole along an outline edge", 120, true);

    // The same outline given twice cancels out under even-odd.
    Shape twice;
    twice.addChain(rect(0, 0, 1, 1));
    twice.addChain(rect(0, 0, 1, 1));
    Result r = triangulate(twice);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.indices.empty());
}

TEST(TriangulatePoly, OpenChainsAreClosed) {
    // Three sides of a square: filled as if closed by the fourth.
    Shape open;
    open.points = rect(0, 0, 2, 2);
    open.edges = {0, 1, 1, 2, 2, 3};
    Result r = triangulate(open);
    ASSERT_TRUE(r.ok);
    EXPECT_DOUBLE_EQ(areaOf(r), 4.0);

    // An open chain next to a closed one.
    Shape mixed;
    mixed.addChain(rect(5, 5, 6, 6));
    const unsigned int base = static_cast<unsigned int>(mixed.points.size());
    for (const Point& p : {Point(0, 0), Point(3, 0), Point(0, 3)}) mixed.points.push_back(p);
    for (unsigned int i : {0u, 1u, 1u, 2u}) mixed.edges.push_back(base + i);
    r = triangulate(mixed);
    ASSERT_TRUE(r.ok);
    EXPECT_DOUBLE_EQ(areaOf(r), 1.0 + 4.5);

    // A chain whose end misses its start by a hair (rounded relative path
    // data): its last side crosses the first one right next to the start.
    // It is closed on its start vertex instead of by a hair-thin extra side.
    Shape nearly;
    nearly.points = {Point(0, 0), Point(10, 0), Point(10, 10), Point(0, 10), Point(0.0001f, -0.001f)};
    nearly.edges = {0, 1, 1, 2, 2, 3, 3, 4};
    r = triangulate(nearly);
    ASSERT_TRUE(r.ok);
    EXPECT_DOUBLE_EQ(areaOf(r), 100.0);
    // Ends farther apart than a thousandth of the extent keep their closing side,
    // and here it crosses the first side: refused.
    nearly.points[4] = Point(0.5f, -0.5f);
    EXPECT_FALSE(triangulate(nearly).ok);
}

TEST(TriangulatePoly, NonZeroRule) {
    // Two nested squares in the same direction: non-zero fills the inner one too.
    Shape same;
    same.addChain(rect(0, 0, 10, 10));
    same.addChain(rect(2, 2, 8, 8));
    checkFill(same, triangulate(same, Rule::NonZero), Rule::NonZero, 100.0, "same direction");
    checkFill(same, triangulate(same, Rule::EvenOdd), Rule::EvenOdd, 64.0, "same direction even-odd");
    // Opposite directions: a hole under both rules.
    Shape opposite;
    opposite.addChain(rect(0, 0, 10, 10));
    opposite.addChain(rect(2, 2, 8, 8), true);
    checkFill(opposite, triangulate(opposite, Rule::NonZero), Rule::NonZero, 64.0, "opposite direction");
    // The same square twice adds up to winding 2: still filled.
    Shape twice;
    twice.addChain(rect(0, 0, 1, 1));
    twice.addChain(rect(0, 0, 1, 1));
    checkFill(twice, triangulate(twice, Rule::NonZero), Rule::NonZero, 1.0, "twice");
    // Random nested stars, random directions, both rules.
    std::mt19937 rng(5);
    for (int i = 0; i < 200; ++i) {
        Shape s;
        for (int level = 0; level < 4; ++level) {
            std::vector<Point> star = randomStar(rng, 5 + int(rng() % 20), 10.0 * (4 - level) - 4.0, 10.0 * (4 - level));
            s.addChain(star, rng() % 2 == 0);
        }
        for (Rule rule : {Rule::NonZero, Rule::EvenOdd}) {
            checkFill(s, triangulate(s, rule), rule, -1.0, "nested stars " + std::to_string(i), 60);
            if (HasFailure()) return;
        }
    }
}

TEST(TriangulatePoly, IsReproducible) {
    std::mt19937 rng(3);
    Shape s;
    s.addChain(randomStar(rng, 200, 10, 20));
    s.addChain(RegularPolygon(12, 0, 0, 4));
    const Result a = triangulate(s), b = triangulate(s);
    ASSERT_TRUE(a.ok);
    EXPECT_EQ(a.indices, b.indices);
    ASSERT_EQ(a.points.size(), b.points.size());
    for (std::size_t i = 0; i < a.points.size(); ++i) EXPECT_TRUE(a.points[i] == b.points[i]);
}

TEST(TriangulatePoly, LargeInputs) {
    // A disc with 400 square holes and a 60,000-vertex star: checked by area only
    // (sampling is quadratic) plus a light sample.
    Shape disc;
    disc.addChain(RegularPolygon(256, 0, 0, 1000));
    double area = std::fabs(shoelace(disc.points));
    for (int i = 0; i < 20; ++i)
        for (int j = 0; j < 20; ++j) {
            const double x = -500 + i * 50, y = -500 + j * 50;
            disc.addChain(rect(x, y, x + 20, y + 20), (i + j) % 2 == 0);
            area -= 400;
        }
    Result r = triangulate(disc);
    checkFill(disc, r, Rule::EvenOdd, area, "disc with holes", 20);

    // 60,000 vertices: the map's arrays pass 4 MiB and come from the
    // huge-page blocks, grown and freed through them.
    std::mt19937 rng(11);
    Shape star;
    star.addChain(randomStar(rng, 60000, 100, 200));
    r = triangulate(star);
    ASSERT_TRUE(r.ok);
    EXPECT_NEAR(areaOf(r), std::fabs(shoelace(star.points)), 1e-6 * areaOf(r));
    EXPECT_EQ(r.indices.size(), 3u * (60000 - 2));
}

TEST(TriangulatePoly, DegenerateSoupIsExactOrRefused) {
    // Random chains on a small integer grid: full of equal coordinates,
    // collinear overlaps, vertices on segments and crossings. Whatever the
    // outcome, a successful fill must be the right one.
    std::mt19937 rng(31337);
    int accepted = 0;
    for (int i = 0; i < 3000; ++i) {
        Shape s;
        const int chains = 1 + int(rng() % 3);
        const int grid = 2 + int(rng() % 5);
        for (int c = 0; c < chains; ++c) {
            std::vector<Point> chain;
            const int n = 3 + int(rng() % 5);
            for (int k = 0; k < n; ++k) chain.emplace_back(float(rng() % grid), float(rng() % grid));
            s.addChain(chain, rng() % 2 == 0);
        }
        const Rule rule = (i % 3 == 0) ? Rule::NonZero : Rule::EvenOdd;
        const Result r = triangulate(s, rule);
        if (!r.ok) {
            EXPECT_TRUE(r.points.empty());
            EXPECT_TRUE(r.indices.empty());
            continue;
        }
        ++accepted;
        checkFill(s, r, rule, -1.0, "soup " + std::to_string(i), 40);
        if (HasFailure()) return;
    }
    // Most of these cross themselves; still, a good share must be filled.
    EXPECT_GT(accepted, 300);
    std::printf("soup: %d of 3000 filled\n", accepted);
}

TEST(TriangulatePoly, TilesSharingEdges) {
    // A 6 x 6 grid of unit squares, each its own chain: inner edges come twice
    // and cancel out, under both rules, leaving one 6 x 6 square.
    Shape grid;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) grid.addChain(rect(i, j, i + 1, j + 1));
    checkAllWays(grid, 36.0, "grid of tiles", 120, true);
    checkFill(grid, triangulate(grid, Rule::NonZero), Rule::NonZero, 36.0, "grid non-zero");

    // Tiles of different sizes: edges overlap only in part and corners lie on
    // other tiles' edges.
    Shape mixed;
    mixed.addChain(rect(0, 0, 2, 2));
    mixed.addChain(rect(2, 0, 3, 1));
    mixed.addChain(rect(2, 1, 3, 2));
    mixed.addChain(rect(0, 2, 3, 3));
    checkAllWays(mixed, 9.0, "mixed tiles", 120, true);

    // Forty holes, each with a corner on the outline's bottom edge.
    Shape teeth;
    teeth.addChain(rect(0, 0, 82, 10));
    for (int i = 0; i < 40; ++i) teeth.addChain({Point(float(2 * i + 2), 0), Point(float(2 * i + 3), 2), Point(float(2 * i + 1), 2)});
    checkAllWays(teeth, 820.0 - 40 * 2.0, "holes on an edge", 120, true);
}

TEST(TriangulatePoly, ScaleAndOffsetDoNotMatter) {
    std::mt19937 rng(8);
    const std::vector<Point> base = randomStar(rng, 40, 30, 100);
    for (double scale : {1e-30, 1e-6, 1.0, 1e6, 1e30}) {
        for (double offset : {0.0, 1e5}) {
            Shape s;
            std::vector<Point> pts;
            for (const Point& p : base)
                pts.emplace_back(static_cast<float>(p.X() * scale + offset * scale),
                                 static_cast<float>(p.Y() * scale - offset * scale));
            s.addChain(pts);
            s.addChain(RegularPolygon(7, offset * scale, -offset * scale, 10 * scale), true);
            const Result r = triangulate(s);
            ASSERT_TRUE(r.ok) << scale << " " << offset;
            const double area = areaOf(r);
            const double expected = std::fabs(shoelace(pts)) - std::fabs(shoelace(s.points.size() > 40 ?
                std::vector<Point>(s.points.begin() + 40, s.points.end()) : std::vector<Point>()));
            EXPECT_NEAR(area / (scale * scale), expected / (scale * scale), 1e-3 * expected / (scale * scale))
                << scale << " " << offset;
        }
    }
}
