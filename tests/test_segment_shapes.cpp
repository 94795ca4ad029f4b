// Shape segmentation: lines, rectangles, circles, arcs and paths, checked
// against analytic geometry (points on their curves, fill areas).
#include <kx/svg/Segmentation.h>

#include <kx/svg/PathParser.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kx::svg;
using kx::svg::SegmentationUtils::SegmentEllipticalArc;
using Vec2 = Wm4::Vector2<float>;
using Mat3 = Wm4::Matrix3<float>;

const double kPi = 3.14159265358979323846;

RenderingProperties NoFill()
{
    RenderingProperties props;
    props.fill = "none";
    return props;
}

using kxtest::FillArea;

// Area of a regular n-gon inscribed in a circle of radius r.
double PolygonArea(double r, int n) { return 0.5 * n * r * r * std::sin(2 * kPi / n); }

std::shared_ptr<SegmentedPrimitive> SegmentPathText(const std::string& d, const Mat3* transform = nullptr,
                                                    const RenderingProperties* props = nullptr,
                                                    bool* fillFailed = nullptr)
{
    Path path;
    std::string error;
    EXPECT_TRUE(ConvertPathStringToCommands(d, path.editCommands(), &error)) << d << ": " << error;
    return SegmentPath(path, 32, -0.999f, transform, props, nullptr, fillFailed);
}

std::vector<unsigned int> Pairs(std::initializer_list<unsigned int> v) { return v; }

// Lines and rectangles: tests/data/segment/shapes.svg.

TEST(SegmentCircle, PointsOnTheCircleAndAreaConverges)
{
    const Circle circle(Vec2(3, -2), 5);
    const RenderingProperties noFill = NoFill();
    std::shared_ptr<SegmentedPrimitive> outline = SegmentCircle(circle, 32, 0.1f, nullptr, &noFill, nullptr);
    ASSERT_EQ(outline->points.size(), 32u);
    EXPECT_EQ(outline->points[0], Vec2(8, -2));
    for (std::size_t i = 0; i < 32; ++i) {
        const Vec2& p = outline->points[i];
        EXPECT_NEAR(std::hypot(p.X() - 3.0, p.Y() + 2.0), 5.0, 1e-5) << i;
        // Counter-clockwise at even angles: the i-th point is at 2 pi i / 32.
        const double angle = std::atan2(p.Y() + 2.0, p.X() - 3.0);
        const double expected = 2 * kPi * static_cast<double>(i) / 32.0;
        EXPECT_NEAR(std::remainder(angle - expected, 2 * kPi), 0.0, 1e-6) << i;
    }
    ASSERT_EQ(outline->lineIndices.size(), 64u);
    for (unsigned int i = 0; i < 32; ++i) {
        EXPECT_EQ(outline->lineIndices[2 * i], i);
        EXPECT_EQ(outline->lineIndices[2 * i + 1], (i + 1) % 32);
    }

    // The fill of an n-gon approaches pi r^2 as n grows; the tolerance
    // argument changes nothing.
    double previousGap = 1e9;
    for (int n : {8, 32, 128, 512}) {
        bool failed = true;
        std::shared_ptr<SegmentedPrimitive> filled = SegmentCircle(circle, n, 1000.0f, nullptr, nullptr, &failed);
        EXPECT_FALSE(failed) << n;
        const double area = FillArea(*filled);
        EXPECT_NEAR(area, PolygonArea(5, n), 1e-4 * PolygonArea(5, n)) << n;
        const double gap = std::fabs(area - kPi * 25);
        EXPECT_LT(gap, previousGap) << n;
        previousGap = gap;
    }
    EXPECT_LT(previousGap, 1e-3 * kPi * 25);

    // Under a transform the circle becomes an ellipse: area x determinant.
    const Mat3 stretch(2, 0, 100, 0, 0.5f, -50, 0, 0, 1);
    std::shared_ptr<SegmentedPrimitive> squashed = SegmentCircle(circle, 64, 0.1f, &stretch, nullptr, nullptr);
    EXPECT_NEAR(FillArea(*squashed), PolygonArea(5, 64), 1e-3);
    EXPECT_EQ(squashed->points[0], Vec2(116, -51));

    // Counts 0 and 1, radius 0.
    EXPECT_TRUE(SegmentCircle(circle, 0, 0.1f, nullptr, &noFill, nullptr)->points.empty());
    EXPECT_TRUE(SegmentCircle(circle, 0, 0.1f, nullptr, nullptr, nullptr)->lineIndices.empty());
    std::shared_ptr<SegmentedPrimitive> one = SegmentCircle(circle, 1, 0.1f, nullptr, &noFill, nullptr);
    EXPECT_EQ(one->points, (std::vector<Vec2>{Vec2(8, -2)}));
    EXPECT_EQ(one->lineIndices, Pairs({0, 0}));
    std::shared_ptr<SegmentedPrimitive> dot = SegmentCircle(Circle(Vec2(1, 1), 0), 4, 0.1f, nullptr, &noFill, nullptr);
    EXPECT_EQ(dot->points, (std::vector<Vec2>(4, Vec2(1, 1))));
    EXPECT_EQ(dot->lineIndices, Pairs({0, 1, 1, 2, 2, 3, 3, 0}));
}

TEST(SegmentArc, SamplesLieOnTheEllipse)
{
    const Vec2 center(10, 20), radii(8, 3);
    const float rotationDegrees = 30.0f;
    const float rotation = rotationDegrees * 0.017453292f;
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    SegmentEllipticalArc(center, radii, rotation, 0.5f, 2.0f, points, indices, true, 16, 123.0f);
    ASSERT_EQ(points.size(), 17u);
    ASSERT_EQ(indices.size(), 32u);
    const double c = std::cos(rotationDegrees * kPi / 180), s = std::sin(rotationDegrees * kPi / 180);
    for (std::size_t i = 0; i < points.size(); ++i) {
        // Back into the ellipse's own frame: (x/rx)^2 + (y/ry)^2 = 1 at the sample's angle.
        const double dx = points[i].X() - 10.0, dy = points[i].Y() - 20.0;
        const double u = c * dx + s * dy, v = -s * dx + c * dy;
        EXPECT_NEAR((u / 8) * (u / 8) + (v / 3) * (v / 3), 1.0, 1e-5) << i;
        const double angle = 0.5 + 2.0 * static_cast<double>(i) / 16.0;
        EXPECT_NEAR(u, 8 * std::cos(angle), 1e-4) << i;
        EXPECT_NEAR(v, 3 * std::sin(angle), 1e-4) << i;
        if (i + 1 < points.size()) {
            EXPECT_EQ(indices[2 * i], i);
            EXPECT_EQ(indices[2 * i + 1], i + 1);
        }
    }

    // Without the start point: count samples, joined to the previous last point.
    SegmentEllipticalArc(center, radii, rotation, 2.5f, -1.0f, points, indices, false, 4, 0.0f);
    ASSERT_EQ(points.size(), 21u);
    EXPECT_EQ(std::vector<unsigned int>(indices.begin() + 32, indices.end()),
              Pairs({16, 17, 17, 18, 18, 19, 19, 20}));

    // Count 0 adds nothing; so does an index overflow, with its message.
    SegmentEllipticalArc(center, radii, rotation, 0, 1, points, indices, true, 0, 0.0f);
    EXPECT_EQ(points.size(), 21u);
    kxtest::LogCapture log;
    SegmentEllipticalArc(center, radii, rotation, 0, 1, points, indices, true, 4294967295u, 0.0f);
    EXPECT_EQ(points.size(), 21u);
    EXPECT_EQ(indices.size(), 40u);
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries()[0].level, 2);
    EXPECT_EQ(log.entries()[0].message, "Index overflow during segmentation");
}

TEST(SegmentPath, LinesSubpathsAndClosing)
{
    const RenderingProperties noFill = NoFill();
    // The close adds a line back to the start; before clean-up the pairs run straight on.
    std::shared_ptr<SegmentedPrimitive> triangle = SegmentPathText("M 0 0 L 10 0 L 10 10 Z", nullptr, &noFill);
    EXPECT_EQ(triangle->points, (std::vector<Vec2>{Vec2(0, 0), Vec2(10, 0), Vec2(10, 10), Vec2(0, 0)}));
    EXPECT_EQ(triangle->lineIndices, Pairs({0, 1, 1, 2, 2, 3}));
    // With the fill, the clean-up closes the contour onto its first point.
    bool failed = true;
    std::shared_ptr<SegmentedPrimitive> filled = SegmentPathText("M 0 0 L 10 0 L 10 10 Z", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_EQ(filled->lineIndices, Pairs({0, 1, 1, 2, 2, 0}));
    EXPECT_NEAR(FillArea(*filled), 50.0, 1e-4);

    // Two sub-paths share the point list but no pair joins them.
    std::shared_ptr<SegmentedPrimitive> two = SegmentPathText("M 0 0 L 5 0 M 20 20 L 25 20 L 25 25", nullptr, &noFill);
    EXPECT_EQ(two->points,
              (std::vector<Vec2>{Vec2(0, 0), Vec2(5, 0), Vec2(20, 20), Vec2(25, 20), Vec2(25, 25)}));
    EXPECT_EQ(two->lineIndices, Pairs({0, 1, 2, 3, 3, 4}));

    // Relative moves and lines resolve to absolute points; transforms apply last.
    const Mat3 m(1, 0, 100, 0, -1, 0, 0, 0, 1);
    std::shared_ptr<SegmentedPrimitive> moved = SegmentPathText("M 10 10 h 5 v 5", &m, &noFill);
    EXPECT_EQ(moved->points, (std::vector<Vec2>{Vec2(110, -10), Vec2(115, -10), Vec2(115, -15)}));

    // A square with a square hole: the inner chain is a hole of the fill.
    std::shared_ptr<SegmentedPrimitive> frame =
        SegmentPathText("M 0 0 H 10 V 10 H 0 Z M 3 3 H 7 V 7 H 3 Z", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_NEAR(FillArea(*frame), 100.0 - 16.0, 1e-3);

    // Open sub-paths fill as if each were closed back to its own start, also
    // when one starts where the previous one ended: an arrow (12 x 2 bar plus
    // a triangle of 16) followed by a 2 x 8 bar from the arrow's tip. The
    // outline itself stays open.
    std::shared_ptr<SegmentedPrimitive> arrow =
        SegmentPathText("M15 16V19H3V21H15V24L19 20M19 20V24H21V16H19", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_NEAR(FillArea(*arrow), 24.0 + 16.0 + 16.0, 1e-4);
    EXPECT_EQ(arrow->lineIndices, Pairs({0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 7, 8, 8, 9, 9, 10, 10, 11}));
    // One open chain is closed the same way.
    std::shared_ptr<SegmentedPrimitive> open = SegmentPathText("M 0 0 L 10 0 L 10 10", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_NEAR(FillArea(*open), 50.0, 1e-4);

    // Nothing at all.
    std::shared_ptr<SegmentedPrimitive> empty = SegmentPathText("");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->points.empty());
    EXPECT_TRUE(empty->lineIndices.empty());
}

TEST(SegmentPath, ArcsAndCurves)
{
    const RenderingProperties noFill = NoFill();
    // An arc is always 32 pieces; the half circle over (0,0)-(10,0) has centre (5, 0).
    std::shared_ptr<SegmentedPrimitive> half = SegmentPathText("M 0 0 A 5 5 0 0 1 10 0", nullptr, &noFill);
    ASSERT_EQ(half->points.size(), 33u);
    EXPECT_EQ(half->lineIndices.size(), 64u);
    for (const Vec2& p : half->points) EXPECT_NEAR(std::hypot(p.X() - 5.0, p.Y()), 5.0, 1e-4);
    EXPECT_NEAR(half->points.front().X(), 0.0, 1e-5);
    EXPECT_NEAR(half->points.back().X(), 10.0, 1e-5);

    // Radius below 0.01: one straight segment. End equal to start: no segment.
    std::shared_ptr<SegmentedPrimitive> tiny = SegmentPathText("M 0 0 A 0.005 5 0 0 1 10 0", nullptr, &noFill);
    EXPECT_EQ(tiny->points, (std::vector<Vec2>{Vec2(0, 0), Vec2(10, 0)}));
    EXPECT_EQ(tiny->lineIndices, Pairs({0, 1}));
    std::shared_ptr<SegmentedPrimitive> still = SegmentPathText("M 0 0 L 4 0 A 5 5 0 0 1 4 0 L 4 4", nullptr, &noFill);
    EXPECT_EQ(still->points, (std::vector<Vec2>{Vec2(0, 0), Vec2(4, 0), Vec2(4, 4)}));
    EXPECT_EQ(still->lineIndices, Pairs({0, 1, 1, 2}));
    std::shared_ptr<SegmentedPrimitive> lone = SegmentPathText("M 3 3 A 5 5 0 0 1 3 3", nullptr, &noFill);
    EXPECT_EQ(lone->points, (std::vector<Vec2>{Vec2(3, 3)}));
    EXPECT_TRUE(lone->lineIndices.empty());

    // A closed circle of two half-circle arcs fills to the area of a 64-gon.
    bool failed = true;
    std::shared_ptr<SegmentedPrimitive> disc =
        SegmentPathText("M -10 0 A 10 10 0 0 1 10 0 A 10 10 0 0 1 -10 0 Z", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_NEAR(FillArea(*disc), PolygonArea(10, 64), 1e-3 * PolygonArea(10, 64));

    // A ring of two circles drawn with quarter-circle cubics: the inner one
    // is a hole, and the fill approaches pi (R^2 - r^2).
    const std::string ringPath = "M 10 0 C 10 5.5228475 5.5228475 10 0 10 C -5.5228475 10 -10 5.5228475 -10 0 "
                                 "C -10 -5.5228475 -5.5228475 -10 0 -10 C 5.5228475 -10 10 -5.5228475 10 0 Z "
                                 "M 5 0 C 5 2.7614237 2.7614237 5 0 5 C -2.7614237 5 -5 2.7614237 -5 0 "
                                 "C -5 -2.7614237 -2.7614237 -5 0 -5 C 2.7614237 -5 5 -2.7614237 5 0 Z";
    std::shared_ptr<SegmentedPrimitive> ring = SegmentPathText(ringPath, nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_NEAR(FillArea(*ring), kPi * 75, 0.005 * kPi * 75);

    // A cubic: every interior point is the curve at a parameter in (0, 1),
    // and the chain runs from the start to the end point.
    std::shared_ptr<SegmentedPrimitive> curve = SegmentPathText("M 0 0 C 0 10 10 10 10 0", nullptr, &noFill);
    ASSERT_GE(curve->points.size(), 4u);
    EXPECT_EQ(curve->points.front(), Vec2(0, 0));
    EXPECT_EQ(curve->points.back(), Vec2(10, 0));
    EXPECT_EQ(curve->lineIndices.size(), 2 * (curve->points.size() - 1));
    for (const Vec2& p : curve->points) {
        // x(t) = 30 t^2 - 20 t^3 is increasing on [0, 1]: find t, compare y(t) = 30 t (1 - t).
        double lo = 0, hi = 1;
        for (int k = 0; k < 60; ++k) {
            const double t = (lo + hi) / 2;
            (30 * t * t - 20 * t * t * t < p.X() ? lo : hi) = t;
        }
        EXPECT_NEAR(p.Y(), 30 * lo * (1 - lo), 1e-4);
    }

    // Closed by its chord, the curve encloses the integral of y dx:
    // 1800 x the integral of t^2 (1 - t)^2 over [0, 1] = 60.
    std::shared_ptr<SegmentedPrimitive> drop = SegmentPathText("M 0 0 C 0 10 10 10 10 0 Z", nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    const double exact = 60.0;
    EXPECT_NEAR(FillArea(*drop), exact, 0.01 * exact);
}

TEST(SegmentPath, FailedFillKeepsTheOutline)
{
    kxtest::LogCapture log;
    bool failed = false;
    // A bow tie crosses itself.
    std::shared_ptr<SegmentedPrimitive> bowTie =
        SegmentPathText("M 0 0 L 10 10 L 10 0 L 0 10 Z", nullptr, nullptr, &failed);
    EXPECT_TRUE(failed);
    EXPECT_EQ(bowTie->points.size(), 5u);
    EXPECT_FALSE(bowTie->lineIndices.empty());
    EXPECT_TRUE(bowTie->triangleIndices.empty());
    ASSERT_FALSE(log.entries().empty());
    EXPECT_EQ(log.entries().back().message, "Shape cannot be rendered. Only its contour will be visible.");

    // Not filled: no attempt, no message.
    log.clear();
    const RenderingProperties noFill = NoFill();
    SegmentPathText("M 0 0 L 10 10 L 10 0 L 0 10 Z", nullptr, &noFill, &failed);
    EXPECT_FALSE(failed);
    EXPECT_TRUE(log.entries().empty());

    // A caller's workspace is reused from path to path with the same result.
    SegmentationUtils::BezierSegmentationWorkspace ws;
    Path path;
    ASSERT_TRUE(ConvertPathStringToCommands("M 0 0 C 0 10 10 10 10 0 S 20 -10 20 0", path.editCommands(), nullptr));
    std::shared_ptr<SegmentedPrimitive> first = SegmentPath(path, 32, -0.999f, nullptr, &noFill, &ws, nullptr);
    std::shared_ptr<SegmentedPrimitive> second = SegmentPath(path, 32, -0.999f, nullptr, &noFill, &ws, nullptr);
    std::shared_ptr<SegmentedPrimitive> local = SegmentPath(path, 32, -0.999f, nullptr, &noFill, nullptr, nullptr);
    EXPECT_EQ(first->points, second->points);
    EXPECT_EQ(first->points, local->points);
    EXPECT_EQ(first->lineIndices, local->lineIndices);
    // The reflected control point makes the second curve the first one turned over.
    const std::size_t n = first->points.size();
    ASSERT_EQ(n % 2, 1u);
    for (std::size_t i = 0; i < n; ++i) {
        const Vec2& a = first->points[i];
        const Vec2& b = first->points[n - 1 - i];
        EXPECT_NEAR(a.X() + b.X(), 20.0, 1e-4);
        EXPECT_NEAR(a.Y() + b.Y(), 0.0, 1e-4);
    }
}

} // namespace

namespace {

} // namespace
