// test_path_builder.cpp - path commands from lines, rectangles, ellipses and point lists.
#include <kx/svg/PathBuilder.h>
#include <kx/svg/PathPrimitives.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <vector>

using kx::svg::Path;
using kx::svg::PathBuilder;
using P = PathBuilder::Point;

namespace {

// The commands as letters and shortest numbers, e.g. "M 0 0;H 10;".
std::string Describe(const std::list<Path::Command>& commands)
{
    std::string s;
    for (const auto& c : commands) {
        s += "MmLlAaHhVvCcSsZ"[static_cast<int>(c.type)];
        for (float f : c.arguments) {
            char buf[32];
            std::snprintf(buf, sizeof buf, " %.9g", f);
            s += buf;
        }
        s += ';';
    }
    return s;
}

const float kPiF = static_cast<float>(WM4_PI);

} // namespace

TEST(PathBuilder, PiecesOutsideAContourAreWrittenAtOnce)
{
    PathBuilder builder;
    EXPECT_TRUE(builder.isEmpty());
    EXPECT_FALSE(builder.getCurrentPoint().has_value());
    builder.appendLine(P(0, 0), P(10, 0));
    EXPECT_EQ(Describe(builder.getContent()), "M 0 0;H 10;");
    EXPECT_EQ(*builder.getCurrentPoint(), P(10, 0));
    EXPECT_FALSE(builder.isEmpty());

    // A piece starting where the last one ended needs no move.
    builder.appendLine(P(10, 0), P(10, 7));
    EXPECT_EQ(Describe(builder.getContent()), "M 0 0;H 10;V 7;");
    // Otherwise it starts with a move (never a joining line outside a contour),
    // relative here because "90 93" is shorter than "100 100".
    builder.appendLine(P(100, 100), P(101, 101));
    EXPECT_EQ(Describe(builder.getContent()), "M 0 0;H 10;V 7;m 90 93;l 1 1;");

    PathBuilder rect;
    rect.appendRect(P(1, 1), P(2, 3));
    EXPECT_EQ(Describe(rect.getContent()), "M 1 1;H 3;V 4;H 1;V 1;");
    EXPECT_EQ(*rect.getCurrentPoint(), P(1, 1));

    // Point lists: an empty list is ignored, a single point is just a move.
    PathBuilder list;
    list.appendSegmentListConst({});
    list.appendSegmentListMove({});
    EXPECT_TRUE(list.isEmpty());
    list.appendSegmentListMove({P(5, 5)});
    EXPECT_EQ(Describe(list.getContent()), "M 5 5;");
    const std::vector<P> zigzag{P(0, 0), P(3, 4), P(3, 4), P(6, 0)};
    list.appendSegmentListConst(zigzag);
    // Ties go to the absolute form: "0 0" against "-5-5".
    EXPECT_EQ(Describe(list.getContent()), "M 5 5;M 0 0;L 3 4;V 4;L 6 0;");
}

TEST(PathBuilder, ShortestTextChoices)
{
    EXPECT_EQ(PathBuilder::NumberTextCost(0.0f), 2u);
    EXPECT_EQ(PathBuilder::NumberTextCost(-1.5f), 4u);
    EXPECT_EQ(PathBuilder::NumberTextCost(0.1f), 4u);
    EXPECT_EQ(PathBuilder::NumberTextCost(-0.25f), 5u);
    EXPECT_EQ(PathBuilder::NumberTextCost(1234.0f), 5u);

    PathBuilder b;
    b.writeLineTo(P(5, 5)); // no current point: absolute
    b.writeLineTo(P(3, 4)); // rel "-2 -1" (4) ties abs "3 4" (4): absolute
    b.writeLineTo(P(10.5f, 0.5f));  // rel "7.5-3.5" (8) beats abs "10.5 0.5" (9)
    b.writeLineTo(P(10.25f, 3));    // abs "10.25 3" (8) beats rel "-0.25 2.5" (9)
    b.writeLineTo(P(110.25f, 103)); // rel "100 100" (8) beats abs "110.25 103" (11)
    EXPECT_EQ(Describe(b.getContent()), "L 5 5;L 3 4;l 7.5 -3.5;L 10.25 3;l 100 100;");

    // Horizontal and vertical: exact equality picks the letter, then the cost.
    PathBuilder hv;
    hv.writeMove(P(100, 0));
    hv.writeLineTo(P(101, 0));  // h 1 beats H 101
    hv.writeLineTo(P(101, 5));  // V 5 ties v 5
    hv.writeLineTo(P(101, 5));  // to the current point itself: a zero-length vertical line
    hv.writeLineTo(P(-3, 5));   // H -3 (3) beats h -104 (4)
    hv.writeVLineTo(1000.5f);   // v 995.5 (6) beats V 1000.5 (7)
    EXPECT_EQ(Describe(hv.getContent()), "M 100 0;h 1;V 5;V 5;H -3;v 995.5;");
    EXPECT_EQ(*hv.getCurrentPoint(), P(-3, 1000.5f));

    // Moves follow the same rule.
    PathBuilder moves;
    moves.writeMove(P(1000, 1000));
    moves.writeMove(P(1001, 1002));
    moves.writeMove(P(1, 2));
    EXPECT_EQ(Describe(moves.getContent()), "M 1000 1000;m 1 2;M 1 2;");

    // Without a current point H and V are absolute and start from (0, 0).
    PathBuilder bare;
    bare.writeHLineTo(4);
    EXPECT_EQ(*bare.getCurrentPoint(), P(4, 0));
    PathBuilder bareV;
    bareV.writeVLineTo(4);
    EXPECT_EQ(*bareV.getCurrentPoint(), P(0, 4));
    EXPECT_EQ(Describe(bare.getContent()) + Describe(bareV.getContent()), "H 4;V 4;");

    // Arcs choose by the cost of their end point.
    PathBuilder arcs;
    arcs.writeEllipticalArc(P(5, 5), 0, false, true, P(1000, 1000));
    arcs.writeEllipticalArc(P(5, 5), 30, true, false, P(1001, 1000));
    EXPECT_EQ(Describe(arcs.getContent()), "A 5 5 0 0 1 1000 1000;a 5 5 30 1 0 1 0;");
}

TEST(PathBuilder, ContoursAreJoinedAndClosed)
{
    PathBuilder b;
    b.startContour(false);
    b.appendRect(P(1, 1), P(2, 3));
    EXPECT_TRUE(b.getContent().empty()) << "queued until the contour ends";
    EXPECT_FALSE(b.isEmpty());
    b.endContour();
    EXPECT_EQ(Describe(b.getContent()), "M 1 1;H 3;V 4;H 1;V 1;Z;");
    EXPECT_FALSE(b.isContourOpen());

    // Gaps between pieces become lines; the current point ends at the contour's start.
    PathBuilder joined;
    joined.startContour(false);
    joined.appendLine(P(0, 0), P(10, 0));
    joined.appendLine(P(10, 5), P(0, 5));
    joined.endContour();
    EXPECT_EQ(Describe(joined.getContent()), "M 0 0;H 10;V 5;H 0;Z;");
    EXPECT_EQ(*joined.getCurrentPoint(), P(0, 0));

    // An empty contour writes nothing, not even "Z"; starting a contour ends the open one.
    PathBuilder nested;
    nested.startContour(true);
    nested.endContour();
    EXPECT_TRUE(nested.isEmpty());
    nested.startContour(false);
    nested.appendLine(P(0, 0), P(0, 1));
    nested.startContour(false);
    nested.appendLine(P(5, 5), P(6, 5));
    nested.endContour();
    nested.endContour(); // nothing open: nothing happens
    EXPECT_EQ(Describe(nested.getContent()), "M 0 0;V 1;Z;M 5 5;H 6;Z;");

    // Cancelling drops the queued pieces and closes; clearing keeps the contour open.
    PathBuilder cancel;
    cancel.startContour(false);
    cancel.appendLine(P(0, 0), P(1, 1));
    cancel.clearCurrentContour();
    EXPECT_TRUE(cancel.isContourOpen());
    EXPECT_TRUE(cancel.isEmpty());
    cancel.appendLine(P(2, 2), P(3, 3));
    cancel.cancelContour();
    EXPECT_FALSE(cancel.isContourOpen());
    EXPECT_TRUE(cancel.isEmpty());
    cancel.endContour();
    EXPECT_TRUE(cancel.getContent().empty());
}

TEST(PathBuilder, ReorderingChainsByNearestEnd)
{
    // After (0,0)-(1,0) both others are at distance 0 from (1,0); the earlier,
    // (5,5)-(1,0), wins the tie and is written reversed.
    PathBuilder b;
    b.startContour(true);
    b.appendLine(P(0, 0), P(1, 0));
    b.appendLine(P(5, 5), P(1, 0));
    b.appendLine(P(1, 0), P(2, 2));
    b.endContour();
    // From (5,5) the third line's end (2,2) is nearer than its start: reversed too,
    // joined by a line from (5,5) to (2,2).
    EXPECT_EQ(Describe(b.getContent()), "M 0 0;H 1;L 5 5;L 2 2;L 1 0;Z;");

    // Without reordering the pieces keep their order and direction.
    PathBuilder same;
    same.startContour(false);
    same.appendLine(P(0, 0), P(1, 0));
    same.appendLine(P(5, 5), P(1, 0));
    same.endContour();
    EXPECT_EQ(Describe(same.getContent()), "M 0 0;H 1;L 5 5;L 1 0;Z;");

    // A reversed point list is written backwards.
    PathBuilder list;
    list.startContour(true);
    list.appendLine(P(0, 0), P(10, 0));
    list.appendSegmentListMove({P(20, 20), P(15, 10), P(10, 0)});
    list.endContour();
    EXPECT_EQ(Describe(list.getContent()), "M 0 0;H 10;l 5 10;l 5 10;Z;");
    EXPECT_EQ(*list.getCurrentPoint(), P(0, 0));

    // Squared distances decide: the nearest start wins over an earlier farther one.
    PathBuilder nearest;
    nearest.startContour(true);
    nearest.appendLine(P(0, 0), P(0, 10));
    nearest.appendLine(P(50, 50), P(60, 60));
    nearest.appendLine(P(1, 11), P(1, 20));
    nearest.endContour();
    EXPECT_EQ(Describe(nearest.getContent()), "M 0 0;V 10;l 1 1;v 9;L 50 50;L 60 60;Z;");

    // Infinite distances never stall the chaining.
    const float inf = std::numeric_limits<float>::infinity();
    PathBuilder far;
    far.startContour(true);
    far.appendLine(P(0, 0), P(inf, 0));
    far.appendLine(P(-inf, 1), P(2, 2));
    far.appendLine(P(3, 3), P(4, 4));
    far.endContour();
    EXPECT_EQ(far.getContent().back().type, Path::CommandType::ClosePath);
}

TEST(PathBuilder, Ellipses)
{
    // A whole ellipse: two half arcs, back exactly to the start point.
    PathBuilder full;
    full.appendEllipse(P(0, 0), P(10, 5), 0.0f, 2.0f * kPiF);
    ASSERT_EQ(full.getContent().size(), 3u);
    const std::vector<Path::Command> c(full.getContent().begin(), full.getContent().end());
    EXPECT_EQ(c[0], Path::Command(Path::CommandType::MoveToAbs, {10, 0}));
    EXPECT_EQ(c[1], Path::Command(Path::CommandType::EllipticalArcAbs, {10, 5, 0, 0, 1, -10, 5.0f * std::sin(kPiF)}));
    EXPECT_EQ(c[2], Path::Command(Path::CommandType::EllipticalArcAbs, {10, 5, 0, 0, 1, 10, 0}));
    EXPECT_EQ(*full.getCurrentPoint(), P(10, 0));

    PathBuilder::Ellipse ellipse(P(0, 0), P(10, 5), 1.0f, -100.0f);
    EXPECT_EQ(ellipse.getSweepAngle(), -6.2831855f);
    EXPECT_EQ(ellipse.getStartPoint(), ellipse.getEndPoint());
    EXPECT_TRUE(ellipse.isClosed());
    EXPECT_EQ(ellipse.getType(), PathBuilder::PrimitiveType::Ellipse);

    // A quarter: one arc; a negative sweep clears the sweep flag.
    PathBuilder quarter;
    quarter.appendEllipse(P(100, 100), P(10, 10), 0.0f, -kPiF / 2);
    ASSERT_EQ(quarter.getContent().size(), 2u);
    const Path::Command& arc = quarter.getContent().back();
    EXPECT_EQ(arc.type, Path::CommandType::EllipticalArcRel);
    ASSERT_EQ(arc.arguments.size(), 7u);
    EXPECT_EQ(arc.arguments[4], 0.0f);
    EXPECT_NEAR(arc.arguments[5], -10.0f, 1e-5);
    EXPECT_NEAR(arc.arguments[6], -10.0f, 1e-5);

    // The arcs drawn through the primitives of the path reproduce the ellipse.
    PathBuilder threeQuarters;
    threeQuarters.appendEllipse(P(0, 0), P(4, 2), kPiF / 2, 1.5f * kPiF);
    std::vector<std::unique_ptr<kx::svg::PathPrimitive>> primitives;
    kx::svg::PathVisitorCommandsToPrimitives visitor(
        threeQuarters.getContent(),
        [&primitives](std::unique_ptr<kx::svg::PathPrimitive>& p, bool) { primitives.push_back(std::move(p)); });
    visitor.visit();
    ASSERT_EQ(primitives.size(), 2u);
    for (const auto& p : primitives) {
        const auto& a = static_cast<const kx::svg::PathEllipticalArc&>(*p);
        EXPECT_NEAR(a.getCenter().X(), 0.0f, 1e-4);
        EXPECT_NEAR(a.getCenter().Y(), 0.0f, 1e-4);
        EXPECT_GT(a.getDeltaAngle(), 0.0f);
    }

    // Negative radii mirror the ellipse; the arcs still follow it.
    for (const P& radii : {P(-10, 10), P(10, -10), P(-10, -10)}) {
        PathBuilder mirrored;
        mirrored.appendEllipse(P(0, 0), radii, 0.0f, kPiF / 2);
        std::vector<std::unique_ptr<kx::svg::PathPrimitive>> arcs;
        kx::svg::PathVisitorCommandsToPrimitives walk(
            mirrored.getContent(),
            [&arcs](std::unique_ptr<kx::svg::PathPrimitive>& p, bool) { arcs.push_back(std::move(p)); });
        walk.visit();
        ASSERT_EQ(arcs.size(), 1u);
        const auto& a = static_cast<const kx::svg::PathEllipticalArc&>(*arcs[0]);
        EXPECT_NEAR(a.getCenter().X(), 0.0f, 1e-4) << radii.X() << " " << radii.Y();
        EXPECT_NEAR(a.getCenter().Y(), 0.0f, 1e-4) << radii.X() << " " << radii.Y();
        EXPECT_EQ(a.getRadii(), P(10, 10));
    }

    // Reversed in a contour: drawn from its end with the opposite sweep.
    const PathBuilder::Ellipse quarterArc(P(0, 0), P(10, 10), 0.0f, kPiF / 2);
    const P top = quarterArc.getEndPoint();
    EXPECT_EQ(top.Y(), 10.0f);
    PathBuilder reversed;
    reversed.startContour(true);
    reversed.appendLine(P(-5, 10), top);
    reversed.appendEllipse(P(0, 0), P(10, 10), 0.0f, kPiF / 2);
    reversed.endContour();
    const std::vector<Path::Command> r(reversed.getContent().begin(), reversed.getContent().end());
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0], Path::Command(Path::CommandType::MoveToAbs, {-5, 10}));
    EXPECT_EQ(r[1].type, Path::CommandType::HLineToRel);
    EXPECT_EQ(r[2], Path::Command(Path::CommandType::EllipticalArcAbs, {10, 10, 0, 0, 0, 10, 0}));
    EXPECT_EQ(r[3].type, Path::CommandType::ClosePath);
    EXPECT_EQ(*reversed.getCurrentPoint(), P(-5, 10));

    // Zero and NaN sweeps write only the move.
    PathBuilder none;
    none.appendEllipse(P(0, 0), P(1, 1), 0.0f, 0.0f);
    none.appendEllipse(P(0, 0), P(1, 1), 0.0f, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(Describe(none.getContent()), "M 1 0;");
}

TEST(PathBuilder, CreatePathItem)
{
    PathBuilder b;
    b.appendLine(P(0, 0), P(10, 0));
    auto copy = b.createPathItem(false);
    ASSERT_TRUE(copy);
    EXPECT_EQ(Describe(copy->getCommands()), "M 0 0;H 10;");
    EXPECT_EQ(Describe(b.getContent()), "M 0 0;H 10;") << "without clearing the builder carries on";
    b.appendLine(P(10, 0), P(10, 10));
    EXPECT_EQ(Describe(b.getContent()), "M 0 0;H 10;V 10;");

    // An open contour is ended first, so no queued piece is lost.
    b.startContour(false);
    b.appendLine(P(20, 20), P(30, 20));
    auto item = b.createPathItem(true);
    EXPECT_EQ(Describe(item->getCommands()), "M 0 0;H 10;V 10;M 20 20;H 30;Z;");
    EXPECT_TRUE(b.isEmpty());
    EXPECT_FALSE(b.isContourOpen());
    EXPECT_FALSE(b.getCurrentPoint().has_value());
    EXPECT_EQ(Describe(copy->getCommands()), "M 0 0;H 10;");

    // Cleared, the builder starts afresh with an absolute move.
    b.appendLine(P(1, 1), P(2, 2));
    EXPECT_EQ(Describe(b.getContent()), "M 1 1;L 2 2;");
    b.clearBuilder();
    EXPECT_TRUE(b.isEmpty());
    EXPECT_TRUE(b.createPathItem(true)->getCommands().empty());
}

TEST(PathBuilder, CustomPiecesAndBrackets)
{
    // A caller's own piece writes itself through the public writers.
    class Step : public PathBuilder::PrimitiveInterface {
    public:
        Step() : PrimitiveInterface(PathBuilder::PrimitiveType::Custom, false) {}
        void writeAsPath(PathBuilder& builder) const override
        {
            builder.writeHLineTo(isReversed() ? 0.0f : 1.0f);
            builder.writeVLineTo(isReversed() ? 0.0f : 1.0f);
        }
        P getStartPoint() const override { return isReversed() ? P(1, 1) : P(0, 0); }
        P getEndPoint() const override { return isReversed() ? P(0, 0) : P(1, 1); }
    };
    PathBuilder b;
    b.appendPrimitive(std::unique_ptr<PathBuilder::PrimitiveInterface>(new Step()));
    b.appendPrimitive(nullptr);
    EXPECT_EQ(Describe(b.getContent()), "M 0 0;H 1;V 1;");

    // startPrimitive at the current point writes nothing; with connect it draws a line.
    b.startPrimitive(true, P(1, 1));
    b.endPrimitive(P(1, 1));
    b.startPrimitive(true, P(4, 5));
    b.endPrimitive(P(9, 9));
    b.startPrimitive(false, P(4, 5));
    b.endPrimitive(P(4, 5));
    EXPECT_EQ(Describe(b.getContent()), "M 0 0;H 1;V 1;L 4 5;M 4 5;");
    EXPECT_EQ(*b.getCurrentPoint(), P(4, 5));
}
