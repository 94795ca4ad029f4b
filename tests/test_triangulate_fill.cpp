// Tests of kx::TriangulateFill and kx::ComputeFillBoundary on outlines that
// cross, touch and overlap: every fill is checked against an independent
// area computation and against the fill rule at sample points, and every
// boundary against the same region.
#include "../fuzz/FuzzTargets.h"
#include "TestSupport.h"

#include <kx/svg/Triangulate.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Point = Wm4::Vector2<float>;
using Rule = kx::TriangulationFillRule;
using kxtest::RegularPolygon;

using Outline = kxtest::Outline;
using kxtest::Cross;

using kxtest::WindingAt;

bool inside(int winding, Rule rule) {
    return rule == Rule::EvenOdd ? (winding & 1) != 0 : winding != 0;
}

// Fills and bounds the outline under `rule` and checks both by independent
// means: the triangles by the shared cover check and the scan-line area, the
// rings by their area and by a winding of exactly one inside, none outside.
void checkFill(const Outline& o, Rule rule, const std::string& what, int samples = 60) {
    SCOPED_TRACE(what + (rule == Rule::EvenOdd ? " even-odd" : " non-zero"));
    kx::FillOptions options;
    options.rule = rule;
    std::vector<Point> tp;
    std::vector<unsigned int> ti;
    std::string reason;
    ASSERT_TRUE(kx::TriangulateFill(o.points, o.edges, tp, ti, options, &reason)) << reason;
    std::vector<kx::FillRing> rings;
    ASSERT_TRUE(kx::ComputeFillBoundary(o.points, o.edges, rings, options, &reason)) << reason;

    float minX = std::numeric_limits<float>::max(), maxX = -minX, minY = minX, maxY = -minX;
    for (const Point& p : o.points) {
        minX = std::min(minX, p.X());
        maxX = std::max(maxX, p.X());
        minY = std::min(minY, p.Y());
        maxY = std::max(maxY, p.Y());
    }
    const double extent = std::max(double(maxX - minX), double(maxY - minY));
    const double expected = kxfuzz::coveredArea(o.points, o.edges, rule);
    EXPECT_NEAR(kxtest::CheckTriangleCover(o, rule, tp, ti, samples), expected, 1e-5 * extent * extent);
    if (::testing::Test::HasFailure()) return;

    Outline boundary;
    double ringArea = 0.0;
    for (const kx::FillRing& ring : rings) {
        ASSERT_GE(ring.size(), 3u);
        boundary.addChain(ring);
        for (std::size_t i = 0; i < ring.size(); ++i) ringArea += 0.5 * Cross(Point(0, 0), ring[i], ring[(i + 1) % ring.size()]);
    }
    EXPECT_NEAR(ringArea, expected, 1e-5 * extent * extent);
    std::mt19937 rng(97);
    std::uniform_real_distribution<double> ux(minX, maxX), uy(minY, maxY);
    for (int s = 0; s < samples; ++s) {
        const double px = ux(rng), py = uy(rng);
        bool near = false;
        const bool in = inside(WindingAt(o.points, o.edges, px, py, 1e-4 * extent, near), rule);
        const int ringWinding = WindingAt(boundary.points, boundary.edges, px, py, 1e-4 * extent, near);
        if (near) continue;
        ASSERT_EQ(ringWinding, in ? 1 : 0) << "ring winding at " << px << "," << py;
    }
}

// The star polygon {n/k}: every k-th point of a regular n-gon.
Outline star(int n, int k, double phase) {
    const std::vector<Point> ring = RegularPolygon(n, 0, 0, 100, phase);
    std::vector<Point> pts;
    int i = 0;
    do {
        pts.push_back(ring[i]);
        i = (i + k) % n;
    } while (i != 0);
    Outline o;
    o.addChain(pts);
    return o;
}

} // namespace

TEST(TriangulateFill, StarsBowTiesAndRings) {
    for (Rule rule : {Rule::EvenOdd, Rule::NonZero}) {
        for (int n = 5; n <= 31; n += 2)
            for (int k = 2; 2 * k < n; ++k) checkFill(star(n, k, 0.1 * k), rule, "star " + std::to_string(n) + "/" + std::to_string(k));
        // Thousands of nearly parallel chords: rounded crossing points must
        // not keep making new crossings with their neighbours.
        checkFill(star(1501, 7, 0.0), rule, "star 1501/7", 20);
        Outline bowTie;
        bowTie.addChain({Point(0, 0), Point(4, 4), Point(4, 0), Point(0, 4)});
        checkFill(bowTie, rule, "bow-tie");
        // Rings overlapping in both directions, and a ring inside a ring.
        for (int reversed = 0; reversed < 2; ++reversed) {
            Outline rings;
            rings.addChain(RegularPolygon(40, 0, 0, 10));
            rings.addChain(RegularPolygon(40, 7, 1, 10), reversed != 0);
            rings.addChain(RegularPolygon(40, 3, 8, 6, 0.2), reversed != 0);
            rings.addChain(RegularPolygon(17, 0, 0, 3));
            checkFill(rings, rule, "rings " + std::to_string(reversed));
        }
    }
}

TEST(TriangulateFill, DegenerateContacts) {
    for (Rule rule : {Rule::EvenOdd, Rule::NonZero}) {
        // Collinear overlaps: rectangles sharing part of an edge, running both ways.
        Outline overlap;
        overlap.addChain({Point(0, 0), Point(4, 0), Point(4, 2), Point(0, 2)});
        overlap.addChain({Point(2, 2), Point(6, 2), Point(6, 5), Point(2, 5)}, true);
        overlap.addChain({Point(1, 0), Point(3, 0), Point(3, -1), Point(1, -1)});
        checkFill(overlap, rule, "collinear overlaps");
        // A segment through another outline's vertex, and a vertex on a segment.
        Outline through;
        through.addChain({Point(0, 0), Point(6, 0), Point(3, 6)});
        through.addChain({Point(3, 0), Point(5, -2), Point(5, 3), Point(1, 3)});
        checkFill(through, rule, "segment through a vertex");
        // Many segments through one point: diameters of a circle joined at alternate ends.
        Outline fan;
        const std::vector<Point> half = RegularPolygon(64, 0, 0, 50, 0.01);
        std::vector<Point> pts;
        for (int i = 0; i < 32; ++i) {
            pts.push_back(half[i]);
            pts.push_back(Point(-half[i].X(), -half[i].Y()));
        }
        fan.addChain(pts);
        checkFill(fan, rule, "diameters through one point");
        // Near-coincident vertices: a square and its copy one float step away, rotated slightly.
        Outline near;
        near.addChain({Point(0, 0), Point(1, 0), Point(1, 1), Point(0, 1)});
        near.addChain({Point(std::nextafter(0.0f, 1.0f), 0), Point(1, std::nextafter(0.0f, 1.0f)),
                    Point(std::nextafter(1.0f, 2.0f), 1), Point(0, std::nextafter(1.0f, 2.0f))});
        checkFill(near, rule, "near-coincident squares");
    }
    // Two sub-paths drawn from one point, each ending a hair away from it:
    // the shared start has even degree, yet both chains are closed.
    Outline loose;
    loose.points = {Point(0, 0), Point(4, 0), Point(4, 4), Point(0, 3.9999f), Point(-4, 0), Point(-4, -4),
                    Point(0.0001f, 0)};
    loose.edges = {0, 1, 1, 2, 2, 3, 0, 4, 4, 5, 5, 6};
    std::vector<Point> tp;
    std::vector<unsigned int> ti;
    ASSERT_TRUE(kx::TriangulateFill(loose.points, loose.edges, tp, ti));
    double area = 0.0;
    for (std::size_t t = 0; t < ti.size(); t += 3) area += 0.5 * Cross(tp[ti[t]], tp[ti[t + 1]], tp[ti[t + 2]]);
    EXPECT_NEAR(area, 16.0 + 8.0, 1e-3); // a square and a triangle
}

TEST(TriangulateFill, RandomOutlinesRotated) {
    std::mt19937 rng(4242);
    for (int round = 0; round < 1200; ++round) {
        std::uniform_int_distribution<int> count(3, 14), coordinate(-20, 20);
        Outline o;
        const int chains = 1 + round % 3;
        for (int c = 0; c < chains; ++c) {
            std::vector<Point> pts;
            const int n = count(rng);
            for (int i = 0; i < n; ++i) pts.emplace_back(float(coordinate(rng)), float(coordinate(rng)));
            o.addChain(pts);
        }
        // Every fourth case is turned by an angle that makes the coordinates inexact.
        if (round % 4 == 3) {
            const double a = 0.1 + round * 0.37, cs = std::cos(a), sn = std::sin(a);
            for (Point& p : o.points)
                p = Point(static_cast<float>(cs * p.X() - sn * p.Y()), static_cast<float>(sn * p.X() + cs * p.Y()));
        }
        checkFill(o, round % 2 ? Rule::NonZero : Rule::EvenOdd, "random " + std::to_string(round), 30);
        if (::testing::Test::HasFailure()) return;
    }
}

TEST(TriangulateFill, PlainOutlinesMatchTriangulatePolyAndBadInputSaysWhy) {
    Outline square;
    square.addChain({Point(0, 0), Point(2, 0), Point(2, 2), Point(0, 2)});
    square.addChain({Point(0.5f, 0.5f), Point(1, 0.5f), Point(1, 1)});
    std::vector<Point> p1, p2;
    std::vector<unsigned int> i1, i2;
    ASSERT_TRUE(kx::TriangulatePoly(square.points, square.edges, p1, i1, Rule::NonZero, true));
    kx::FillOptions options;
    options.rule = Rule::NonZero;
    ASSERT_TRUE(kx::TriangulateFill(square.points, square.edges, p2, i2, options));
    EXPECT_EQ(p1, p2);
    EXPECT_EQ(i1, i2);

    // Segments that cross exactly at a vertex of another chain: where the
    // plain fill takes them, the crossing pre-check must leave them to it.
    std::vector<Outline> meetings(3);
    meetings[0].addChain({Point(0, 0), Point(4, 4), Point(4, 0), Point(0, 4)});
    meetings[0].addChain({Point(2, 2), Point(6, 1), Point(6, 3)});
    meetings[1].addChain({Point(0, 0), Point(4, 4), Point(4, 5), Point(-1, 5)});
    meetings[1].addChain({Point(4, 0), Point(0, 4), Point(-1, -1)});
    meetings[1].addChain({Point(2, 2), Point(3, -3), Point(5, -3)});
    meetings[2].addChain({Point(0, 0), Point(8, 0), Point(8, 8), Point(0, 8)});
    meetings[2].addChain({Point(2, 2), Point(6, 6), Point(6, 2), Point(2, 6)}, true);
    meetings[2].addChain({Point(4, 4), Point(5, 3), Point(5, 5)});
    size_t plain = 0;
    for (const Outline& o : meetings)
        for (Rule rule : {Rule::EvenOdd, Rule::NonZero}) {
            if (!kx::TriangulatePoly(o.points, o.edges, p1, i1, rule, true)) continue;
            options.rule = rule;
            ASSERT_TRUE(kx::TriangulateFill(o.points, o.edges, p2, i2, options));
            EXPECT_EQ(p1, p2);
            EXPECT_EQ(i1, i2);
            ++plain;
        }
    EXPECT_GT(plain, 0u);

    Outline bowTie;
    bowTie.addChain({Point(0, 0), Point(4, 4), Point(4, 0), Point(0, 4)});
    std::string reason;
    options.resolveCrossings = false;
    EXPECT_FALSE(kx::TriangulateFill(bowTie.points, bowTie.edges, p2, i2, options, &reason));
    EXPECT_EQ(reason, "The outline crosses itself or overlaps itself.");
    EXPECT_TRUE(p2.empty() && i2.empty());

    options.resolveCrossings = true;
    Outline bad = bowTie;
    bad.points[2] = Point(std::nanf(""), 0);
    EXPECT_FALSE(kx::TriangulateFill(bad.points, bad.edges, p2, i2, options, &reason));
    EXPECT_EQ(reason, "Point 2 has a coordinate that is not a finite number.");
    bad.points[2] = Point(std::numeric_limits<float>::infinity(), 0);
    std::vector<kx::FillRing> rings(1);
    EXPECT_FALSE(kx::ComputeFillBoundary(bad.points, bad.edges, rings, options, &reason));
    EXPECT_TRUE(rings.empty());
    bad = bowTie;
    bad.edges.push_back(9);
    bad.edges.push_back(0);
    EXPECT_FALSE(kx::TriangulateFill(bad.points, bad.edges, p2, i2, options, &reason));
    EXPECT_EQ(reason, "Segment 4 uses point 9, but there are only 4 points.");
    bad.edges.pop_back();
    EXPECT_FALSE(kx::TriangulateFill(bad.points, bad.edges, p2, i2, options, &reason));
    EXPECT_EQ(reason, "The segment list has an odd number of indices (9).");
}

// Large and hostile inputs finish: a long zig-zag crossing a bar a hundred
// thousand times fills; mutually crossing long chords either fill or are
// refused with a reason; huge coordinates fill.
TEST(TriangulateFill, LargeAndHostileInputsFinish) {
    Outline zigzag;
    std::vector<Point> pts;
    const int teeth = 50000;
    for (int i = 0; i <= 2 * teeth; ++i) pts.emplace_back(float(i), (i % 2) ? 10.0f : -10.0f);
    pts.emplace_back(float(2 * teeth), -20.0f);
    pts.emplace_back(0.0f, -20.0f);
    zigzag.addChain(pts);
    zigzag.addChain({Point(-1, -1), Point(2 * teeth + 1, -1), Point(2 * teeth + 1, 1), Point(-1, 1)});
    std::vector<Point> tp;
    std::vector<unsigned int> ti;
    std::string reason;
    ASSERT_TRUE(kx::TriangulateFill(zigzag.points, zigzag.edges, tp, ti, kx::FillOptions(), &reason)) << reason;
    double area = 0.0;
    for (std::size_t t = 0; t < ti.size(); t += 3) area += 0.5 * Cross(tp[ti[t]], tp[ti[t + 1]], tp[ti[t + 2]]);
    // Under the zig-zag 20 per unit of length, the bar 2 per unit, and the
    // bar loses 1 per unit to each tooth it crosses, twice under even-odd.
    EXPECT_NEAR(area, 40.0 * teeth + 4.0, 1e-6 * area);

    std::mt19937 rng(7);
    std::uniform_real_distribution<float> angle(0.0f, 6.2831853f);
    Outline chords;
    std::vector<Point> ends;
    for (int i = 0; i < 500; ++i) {
        const float a = angle(rng);
        ends.emplace_back(1000.0f * std::cos(a), 1000.0f * std::sin(a));
    }
    chords.addChain(ends);
    if (kx::TriangulateFill(chords.points, chords.edges, tp, ti, kx::FillOptions(), &reason)) {
        area = 0.0;
        for (std::size_t t = 0; t < ti.size(); t += 3) area += 0.5 * Cross(tp[ti[t]], tp[ti[t + 1]], tp[ti[t + 2]]);
        EXPECT_NEAR(area, kxfuzz::coveredArea(chords.points, chords.edges, Rule::EvenOdd), 1.0);
    } else {
        EXPECT_FALSE(reason.empty());
    }

    Outline huge = star(7, 3, 0.0);
    for (Point& p : huge.points) p = p * 3e36f;
    ASSERT_TRUE(kx::TriangulateFill(huge.points, huge.edges, tp, ti, kx::FillOptions(), &reason)) << reason;
    EXPECT_FALSE(ti.empty());
}
