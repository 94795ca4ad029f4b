// test_path_primitives.cpp - commands resolved into absolute lines, arcs and cubic curves.
#include <kx/svg/PathParser.h>
#include <kx/svg/PathPrimitives.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <vector>

using kx::svg::BoundingBox;
using kx::svg::Path;
using kx::svg::PathBezierCubic;
using kx::svg::PathEllipticalArc;
using kx::svg::PathLine;
using kx::svg::PathPrimitive;
using kx::svg::PathVisitorCommandsToPrimitives;
using V = Wm4::Vector2<float>;
using M = Wm4::Matrix3<float>;
using CT = Path::CommandType;

namespace {

struct Walked {
    std::vector<std::unique_ptr<PathPrimitive>> primitives;
    std::vector<bool> flags;
};

Walked Walk(const std::list<Path::Command>& commands)
{
    Walked w;
    PathVisitorCommandsToPrimitives visitor(commands, [&w](std::unique_ptr<PathPrimitive>& p, bool contourStart) {
        w.primitives.push_back(std::move(p));
        w.flags.push_back(contourStart);
    });
    visitor.visit();
    return w;
}

Walked WalkText(const std::string& d)
{
    std::list<Path::Command> commands;
    std::string error;
    EXPECT_TRUE(kx::svg::ConvertPathStringToCommands(d, commands, &error)) << d << ": " << error;
    return Walked(Walk(commands));
}

const PathLine& AsLine(const std::unique_ptr<PathPrimitive>& p)
{
    EXPECT_EQ(p->getKind(), PathPrimitive::LineKind);
    return static_cast<const PathLine&>(*p);
}

const PathBezierCubic& AsCubic(const std::unique_ptr<PathPrimitive>& p)
{
    EXPECT_EQ(p->getKind(), PathPrimitive::BezierCubicKind);
    return static_cast<const PathBezierCubic&>(*p);
}

const PathEllipticalArc& AsArc(const std::unique_ptr<PathPrimitive>& p)
{
    EXPECT_EQ(p->getKind(), PathPrimitive::EllipticalArcKind);
    return static_cast<const PathEllipticalArc&>(*p);
}

std::vector<V> ControlPoints(const PathBezierCubic& c)
{
    const V* p = c.getCurve().GetControlPoints();
    return std::vector<V>(p, p + 4);
}

M Translation(float x, float y) { return M(1, 0, x, 0, 1, y, 0, 0, 1); }

const float kPiF = static_cast<float>(WM4_PI);

} // namespace

TEST(PathPrimitives, LinesAndContourFlags)
{
    EXPECT_TRUE(Walk({}).primitives.empty());
    EXPECT_TRUE(WalkText("M 1 1 M 2 2 m 3 3").primitives.empty());

    Walked closed = WalkText("M 0 0 Z");
    ASSERT_EQ(closed.primitives.size(), 1u);
    EXPECT_EQ(AsLine(closed.primitives[0]).getStart(), V(0, 0));
    EXPECT_EQ(AsLine(closed.primitives[0]).getEnd(), V(0, 0));
    EXPECT_EQ(closed.flags, std::vector<bool>{true});

    Walked w = WalkText("M 0 0 L 10 0 Z L 5 5");
    ASSERT_EQ(w.primitives.size(), 3u);
    EXPECT_EQ(w.flags, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(AsLine(w.primitives[1]).getStart(), V(10, 0));
    EXPECT_EQ(AsLine(w.primitives[1]).getEnd(), V(0, 0));
    EXPECT_EQ(AsLine(w.primitives[2]).getStart(), V(0, 0));
    EXPECT_EQ(AsLine(w.primitives[2]).getEnd(), V(5, 5));

    Walked hv = WalkText("M 10 10 h 5 v 5 H 1 V 2");
    ASSERT_EQ(hv.primitives.size(), 4u);
    EXPECT_EQ(AsLine(hv.primitives[0]).getStart(), V(10, 10));
    EXPECT_EQ(AsLine(hv.primitives[0]).getEnd(), V(15, 10));
    EXPECT_EQ(AsLine(hv.primitives[1]).getEnd(), V(15, 15));
    EXPECT_EQ(AsLine(hv.primitives[2]).getEnd(), V(1, 15));
    EXPECT_EQ(AsLine(hv.primitives[3]).getEnd(), V(1, 2));
    EXPECT_EQ(hv.flags, (std::vector<bool>{true, false, false, false}));

    // Relative move-tos start from the current point; every move starts a contour.
    Walked rel = WalkText("m 1 1 l 2 0 m 1 1 l 0 1 z l 1 0");
    ASSERT_EQ(rel.primitives.size(), 4u);
    EXPECT_EQ(AsLine(rel.primitives[0]).getEnd(), V(3, 1));
    EXPECT_EQ(AsLine(rel.primitives[1]).getStart(), V(4, 2));
    EXPECT_EQ(AsLine(rel.primitives[1]).getEnd(), V(4, 3));
    EXPECT_EQ(AsLine(rel.primitives[2]).getEnd(), V(4, 2));
    EXPECT_EQ(AsLine(rel.primitives[3]).getStart(), V(4, 2));
    EXPECT_EQ(AsLine(rel.primitives[3]).getEnd(), V(5, 2));
    EXPECT_EQ(rel.flags, (std::vector<bool>{true, true, false, true}));

    // Without a move-to the walk starts at (0, 0).
    Walked bare = Walk({Path::Command(CT::LineToRel, {2, 3})});
    ASSERT_EQ(bare.primitives.size(), 1u);
    EXPECT_EQ(AsLine(bare.primitives[0]).getStart(), V(0, 0));
    EXPECT_EQ(AsLine(bare.primitives[0]).getEnd(), V(2, 3));
}

TEST(PathPrimitives, ShortAndUnknownCommandsMakeNoPrimitive)
{
    std::list<Path::Command> commands;
    commands.emplace_back(CT::MoveToAbs, std::vector<float>{1, 1});
    commands.emplace_back(CT::LineToAbs, std::vector<float>{5});
    commands.emplace_back(static_cast<CT>(20), std::vector<float>{1, 2, 3});
    commands.emplace_back(CT::CubicBezierAbs, std::vector<float>{1, 2, 3, 4, 5});
    commands.emplace_back(CT::EllipticalArcAbs, std::vector<float>{});
    commands.emplace_back(CT::LineToAbs, std::vector<float>{2, 2, 9, 9}); // only the first pair is read
    commands.emplace_back(CT::MoveToAbs, std::vector<float>{7});
    commands.emplace_back(CT::LineToAbs, std::vector<float>{3, 3});
    Walked w = Walk(commands);
    ASSERT_EQ(w.primitives.size(), 2u);
    EXPECT_EQ(AsLine(w.primitives[0]).getStart(), V(1, 1));
    EXPECT_EQ(AsLine(w.primitives[0]).getEnd(), V(2, 2));
    EXPECT_EQ(AsLine(w.primitives[1]).getStart(), V(2, 2));
    EXPECT_EQ(w.flags, (std::vector<bool>{true, false}));
}

TEST(PathPrimitives, CubicsAndTheSmoothReflectionFromStoredNumbers)
{
    Walked w = WalkText("M 0 0 C 0 10 10 10 10 0 S 20 -10 20 0");
    ASSERT_EQ(w.primitives.size(), 2u);
    EXPECT_EQ(AsCubic(w.primitives[0]).getCurve().GetDegree(), 3);
    EXPECT_EQ(ControlPoints(AsCubic(w.primitives[0])), (std::vector<V>{V(0, 0), V(0, 10), V(10, 10), V(10, 0)}));
    // (10, 10) reflected about (10, 0).
    EXPECT_EQ(ControlPoints(AsCubic(w.primitives[1])), (std::vector<V>{V(10, 0), V(10, -10), V(20, -10), V(20, 0)}));

    // Relative cubic: every point is offset by the current point.
    Walked rel = WalkText("M 1 1 c 1 1 2 2 3 3");
    EXPECT_EQ(ControlPoints(AsCubic(rel.primitives[0])), (std::vector<V>{V(1, 1), V(2, 2), V(3, 3), V(4, 4)}));

    // s after c: the reflection uses c's stored offsets (2,2) and (3,3) -> (4,4), then adds C (4,4).
    Walked ss = WalkText("M 1 1 c 1 1 2 2 3 3 s 4 4 5 5");
    EXPECT_EQ(ControlPoints(AsCubic(ss.primitives[1])), (std::vector<V>{V(4, 4), V(8, 8), V(8, 8), V(9, 9)}));
    // S after c: the same stored numbers, not offset.
    Walked sc = WalkText("M 1 1 c 1 1 2 2 3 3 S 10 10 20 20");
    EXPECT_EQ(ControlPoints(AsCubic(sc.primitives[1])), (std::vector<V>{V(4, 4), V(4, 4), V(10, 10), V(20, 20)}));
    // S after S reflects the previous S's second control point about its end.
    Walked s2 = WalkText("M 0 0 S 1 2 3 4 S 7 7 9 9");
    EXPECT_EQ(ControlPoints(AsCubic(s2.primitives[0])), (std::vector<V>{V(0, 0), V(0, 0), V(1, 2), V(3, 4)}));
    EXPECT_EQ(ControlPoints(AsCubic(s2.primitives[1])), (std::vector<V>{V(3, 4), V(5, 6), V(7, 7), V(9, 9)}));
    // S after a line, or first of all: P1 is the current point.
    Walked sl = WalkText("M 2 3 L 4 5 s 1 1 2 2");
    EXPECT_EQ(ControlPoints(AsCubic(sl.primitives[1])), (std::vector<V>{V(4, 5), V(4, 5), V(5, 6), V(6, 7)}));
    Walked first = Walk({Path::Command(CT::SmoothCubicBezierAbs, {1, 2, 3, 4})});
    EXPECT_EQ(ControlPoints(AsCubic(first.primitives[0])), (std::vector<V>{V(0, 0), V(0, 0), V(1, 2), V(3, 4)}));
    // The previous command in the list counts, even when it made no primitive.
    Walked afterMove = WalkText("M 0 0 C 1 1 2 2 3 3 M 5 5 S 6 6 7 7");
    EXPECT_EQ(ControlPoints(AsCubic(afterMove.primitives[1]))[1], V(5, 5));
    EXPECT_EQ(afterMove.flags, (std::vector<bool>{true, true}));
}

TEST(PathPrimitives, ArcCentreForm)
{
    // Half circle from (0,0) to (10,0).
    PathEllipticalArc half(V(5, 5), false, true, V(0, 0), V(10, 0), 0.0f);
    EXPECT_EQ(half.getCenter(), V(5, 0));
    EXPECT_EQ(half.getStartAngle(), kPiF);
    EXPECT_EQ(half.getDeltaAngle(), kPiF);
    PathEllipticalArc halfBack(V(5, 5), false, false, V(0, 0), V(10, 0), 0.0f);
    EXPECT_EQ(halfBack.getDeltaAngle(), kPiF - 6.2831855f);

    // Quarter circles: small and large arcs, both sweeps.
    struct Case {
        bool large, sweep;
        V center;
        double delta;
    };
    const Case cases[] = {{false, true, V(0, 0), WM4_PI / 2}, {false, false, V(10, 10), -WM4_PI / 2},
                          {true, true, V(10, 10), 3 * WM4_PI / 2}, {true, false, V(0, 0), -3 * WM4_PI / 2}};
    for (const Case& c : cases) {
        PathEllipticalArc arc(V(10, 10), c.large, c.sweep, V(10, 0), V(0, 10), 0.0f);
        EXPECT_NEAR(arc.getCenter().X(), c.center.X(), 1e-5) << c.large << c.sweep;
        EXPECT_NEAR(arc.getCenter().Y(), c.center.Y(), 1e-5) << c.large << c.sweep;
        EXPECT_NEAR(arc.getDeltaAngle(), c.delta, 1e-5) << c.large << c.sweep;
        EXPECT_EQ(arc.getRadii(), V(10, 10));
    }

    // A rotated ellipse: checked against the end points it must pass through.
    PathEllipticalArc rotated(V(20, 10), false, true, V(3, 4), V(20, 9), 30.0f);
    const double phi = 30.0 * WM4_PI / 180.0;
    for (double t : {static_cast<double>(rotated.getStartAngle()),
                     static_cast<double>(rotated.getStartAngle()) + rotated.getDeltaAngle()}) {
        const double ex = 20 * std::cos(t), ey = 10 * std::sin(t);
        const double x = rotated.getCenter().X() + ex * std::cos(phi) - ey * std::sin(phi);
        const double y = rotated.getCenter().Y() + ex * std::sin(phi) + ey * std::cos(phi);
        const bool atStart = t == rotated.getStartAngle();
        EXPECT_NEAR(x, atStart ? 3 : 20, 1e-3);
        EXPECT_NEAR(y, atStart ? 4 : 9, 1e-3);
    }
    EXPECT_GT(rotated.getDeltaAngle(), 0.0f);
    EXPECT_LT(rotated.getDeltaAngle(), kPiF);

    // Radii too small for the chord are kept: the centre falls on the chord's midpoint.
    PathEllipticalArc small(V(1, 1), false, true, V(0, 0), V(10, 0), 0.0f);
    EXPECT_EQ(small.getCenter(), V(5, 0));
    EXPECT_EQ(small.getRadii(), V(1, 1));

    // Degenerate arcs keep centre (0,0) and zero angles.
    PathEllipticalArc tiny(V(0.005f, 5), true, true, V(1, 1), V(10, 0), 0.0f);
    EXPECT_EQ(tiny.getCenter(), V(0, 0));
    EXPECT_EQ(tiny.getStartAngle(), 0.0f);
    EXPECT_EQ(tiny.getDeltaAngle(), 0.0f);
    PathEllipticalArc same(V(5, 5), true, true, V(3, 3), V(3, 3), 0.0f);
    EXPECT_TRUE(same.isStartEqualEnd());
    EXPECT_EQ(same.getCenter(), V(0, 0));
    EXPECT_EQ(same.getDeltaAngle(), 0.0f);

    // Negative radii are used as their absolute values in every step.
    PathEllipticalArc negative(V(-5, -5), false, true, V(0, 0), V(10, 0), 0.0f);
    EXPECT_EQ(negative.getRadii(), V(5, 5));
    EXPECT_EQ(negative.getCenter(), V(5, 0));
    EXPECT_EQ(negative.getDeltaAngle(), kPiF);
    EXPECT_EQ(negative.getRotation(), 0.0f);
    EXPECT_FALSE(negative.getLargeArc());
    EXPECT_TRUE(negative.getSweep());
}

TEST(PathPrimitives, ArcCommandsAndFlags)
{
    Walked w = WalkText("M 0 0 A 5 5 0 0 1 10 0 a 5 5 0 1 0 10 0");
    ASSERT_EQ(w.primitives.size(), 2u);
    EXPECT_EQ(AsArc(w.primitives[0]).getEnd(), V(10, 0));
    EXPECT_EQ(AsArc(w.primitives[1]).getStart(), V(10, 0));
    EXPECT_EQ(AsArc(w.primitives[1]).getEnd(), V(20, 0));
    EXPECT_TRUE(AsArc(w.primitives[1]).getLargeArc());
    EXPECT_FALSE(AsArc(w.primitives[1]).getSweep());
    EXPECT_EQ(w.flags, (std::vector<bool>{true, false}));

    // Any flag number other than 0 is set, NaN included.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Walked flags = Walk({Path::Command(CT::EllipticalArcAbs, {5, 5, 45, nan, -0.0f, 10, 0}),
                         Path::Command(CT::EllipticalArcAbs, {5, 5, 0, 0.5f, 2, 0, 0})});
    ASSERT_EQ(flags.primitives.size(), 2u);
    EXPECT_TRUE(AsArc(flags.primitives[0]).getLargeArc());
    EXPECT_FALSE(AsArc(flags.primitives[0]).getSweep());
    EXPECT_EQ(AsArc(flags.primitives[0]).getRotation(), 45.0f);
    EXPECT_TRUE(AsArc(flags.primitives[1]).getLargeArc());
    EXPECT_TRUE(AsArc(flags.primitives[1]).getSweep());
}

TEST(PathPrimitives, BoundingBoxEstimates)
{
    const M shift = Translation(100, 200);

    PathLine line(V(3, 9), V(-1, 4));
    BoundingBox lineBox;
    line.estimateBoundingBox(lineBox, shift);
    EXPECT_EQ(lineBox, BoundingBox(V(99, 204), V(103, 209)));

    // Half circle below the chord: the quarter angle 3 pi / 2 lies inside.
    PathEllipticalArc half(V(5, 5), false, true, V(0, 0), V(10, 0), 0.0f);
    BoundingBox halfBox(V(-50, -50), V(50, 50));
    half.estimateBoundingBox(halfBox, M::IDENTITY);
    EXPECT_NEAR(halfBox.getMinPoint().X(), 0, 1e-5);
    EXPECT_NEAR(halfBox.getMinPoint().Y(), -5, 1e-5);
    EXPECT_NEAR(halfBox.getMaxPoint().X(), 10, 1e-5);
    EXPECT_NEAR(halfBox.getMaxPoint().Y(), 0, 1e-5);
    BoundingBox shifted;
    half.estimateBoundingBox(shifted, shift);
    EXPECT_NEAR(shifted.getMinPoint().Y(), 195, 1e-4);
    EXPECT_NEAR(shifted.getMaxPoint().X(), 110, 1e-4);

    // Three quarters: from angle 0 round through pi/2 and pi to 3 pi / 2.
    PathEllipticalArc big(V(10, 10), true, true, V(10, 0), V(0, -10), 0.0f);
    BoundingBox bigBox;
    big.estimateBoundingBox(bigBox, M::IDENTITY);
    EXPECT_NEAR(bigBox.getMinPoint().X(), -10, 1e-4);
    EXPECT_NEAR(bigBox.getMinPoint().Y(), -10, 1e-4);
    EXPECT_NEAR(bigBox.getMaxPoint().X(), 10, 1e-4);
    EXPECT_NEAR(bigBox.getMaxPoint().Y(), 10, 1e-4);

    // Degenerate radii: start and end as they are, the transform deliberately ignored.
    PathEllipticalArc flat(V(0.001f, 3), false, true, V(1, 2), V(5, -6), 0.0f);
    BoundingBox flatBox;
    flat.estimateBoundingBox(flatBox, shift);
    EXPECT_EQ(flatBox, BoundingBox(V(1, -6), V(5, 2)));

    // Start equal to end: the box is reset to empty.
    PathEllipticalArc none(V(5, 5), false, true, V(1, 1), V(1, 1), 0.0f);
    BoundingBox noneBox(V(0, 0), V(1, 1));
    none.estimateBoundingBox(noneBox, shift);
    EXPECT_EQ(noneBox, BoundingBox());

    // A cubic leaves the box as it was passed.
    PathBezierCubic cubic(V(0, 0), V(100, 100), V(-100, 5), V(7, 7));
    BoundingBox untouched(V(2, 3), V(4, 5));
    cubic.estimateBoundingBox(untouched, shift);
    EXPECT_EQ(untouched, BoundingBox(V(2, 3), V(4, 5)));
    BoundingBox empty;
    cubic.estimateBoundingBox(empty, shift);
    EXPECT_FALSE(empty.isValid());
}

TEST(PathPrimitives, BadNumbersNeverCrash)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    std::list<Path::Command> commands;
    commands.emplace_back(CT::MoveToAbs, std::vector<float>{nan, inf});
    commands.emplace_back(CT::EllipticalArcAbs, std::vector<float>{nan, 5, inf, 1, 1, 3, 4});
    commands.emplace_back(CT::EllipticalArcRel, std::vector<float>{inf, inf, 0, 0, 1, 3, 4});
    commands.emplace_back(CT::EllipticalArcAbs, std::vector<float>{0, 0, 0, 0, 1, 3, 4});
    commands.emplace_back(CT::EllipticalArcAbs, std::vector<float>{5, 5, 0, 0, 1, 3, 4.0000005f});
    commands.emplace_back(CT::SmoothCubicBezierRel, std::vector<float>{nan, nan, nan, nan});
    commands.emplace_back(CT::ClosePath, std::vector<float>{});
    Walked w = Walk(commands);
    EXPECT_EQ(w.primitives.size(), 6u);
    for (const auto& p : w.primitives) {
        BoundingBox box;
        p->estimateBoundingBox(box, M::IDENTITY);
    }
    // The callback may leave the primitive in the pointer: the visitor frees it.
    size_t calls = 0;
    PathVisitorCommandsToPrimitives visitor(commands, [&calls](std::unique_ptr<PathPrimitive>&, bool) { ++calls; });
    visitor.visit();
    EXPECT_EQ(calls, 6u);
}
