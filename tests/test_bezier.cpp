// Cubic flattening: the workspace, the subdivision jobs and the emitted
// polylines, checked against curve points computed independently.
#include <kx/svg/Segmentation.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <kx/system/kxLog.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <sstream>
#include <stdexcept>
#include <vector>

// The replacement operators below are built on malloc and free; once they are
// inlined, GCC's new/delete pairing check sees free() on memory from "new"
// and warns, although every pair matches.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

// Counts heap allocations while a test asks for it, to check that flattening
// allocates nothing per curve once its buffers have grown.
namespace {
std::atomic<bool> gCountAllocations{false};
std::atomic<long> gAllocationCount{0};
} // namespace

void* operator new(std::size_t size)
{
    if (gCountAllocations.load(std::memory_order_relaxed)) gAllocationCount.fetch_add(1);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using kx::svg::SegmentedPrimitive;
using kx::svg::SegmentationUtils::BezierSegmentationWorkspace;
using kx::svg::SegmentationUtils::DeCasteljauGetBezierPoints;
using kx::svg::SegmentationUtils::DeCasteljauSegmentBezier;
using kx::svg::SegmentationUtils::SegmentationJob;
using Vec2 = Wm4::Vector2<float>;
using Curve = Wm4::BezierCurve2<float>;

constexpr float kPathTolerance = -0.999f;

struct P2 {
    double x, y;
};

// A curve of any degree from a list of points (the curve owns a new[] copy).
Curve MakeCurve(std::initializer_list<Vec2> points)
{
    Vec2* control = new Vec2[points.size()];
    int i = 0;
    for (const Vec2& p : points) control[i++] = p;
    return Curve(static_cast<int>(points.size()) - 1, control);
}

// The cubic's point at t by the Bernstein form, in double precision.
P2 Bernstein(const Vec2* c, double t)
{
    const double u = 1.0 - t;
    const double b0 = u * u * u, b1 = 3 * u * u * t, b2 = 3 * u * t * t, b3 = t * t * t;
    return {b0 * c[0].X() + b1 * c[1].X() + b2 * c[2].X() + b3 * c[3].X(),
            b0 * c[0].Y() + b1 * c[1].Y() + b2 * c[2].Y() + b3 * c[3].Y()};
}

// Distance between a float point and a double point.
double Distance(const Vec2& a, const P2& b) { return std::hypot(a.X() - b.x, a.Y() - b.y); }

// The splitting score of a cubic with control points c, in double precision:
// one-sided pieces in [-1, 0], S-shaped ones in [0, 1].
double Score(const P2* c)
{
    auto len = [](P2 a, P2 b) { return std::hypot(b.x - a.x, b.y - a.y); };
    auto cross = [](P2 a, P2 b) { return a.x * b.y - a.y * b.x; };
    const double polygon = len(c[0], c[1]) + len(c[1], c[2]) + len(c[2], c[3]);
    const double chord = len(c[0], c[3]);
    const P2 base{c[3].x - c[0].x, c[3].y - c[0].y};
    const double side = cross(base, {c[2].x - c[0].x, c[2].y - c[0].y}) * cross(base, {c[1].x - c[0].x, c[1].y - c[0].y});
    if (polygon == 0) return side < 0 ? 0.0 : -1.0;
    return side < 0 ? 1.0 - chord / polygon : -chord / polygon;
}

// Control points of the sub-curve over [t0, t1], by blossoming in double.
void SubCurve(const Vec2* c, double t0, double t1, P2 out[4])
{
    auto blossom = [&](double a, double b, double d) {
        P2 q[4];
        for (int i = 0; i < 4; ++i) q[i] = {c[i].X(), c[i].Y()};
        const double ts[3] = {a, b, d};
        for (int level = 0; level < 3; ++level)
            for (int i = 0; i < 3 - level; ++i)
                q[i] = {q[i].x + (q[i + 1].x - q[i].x) * ts[level], q[i].y + (q[i + 1].y - q[i].y) * ts[level]};
        return q[0];
    };
    out[0] = blossom(t0, t0, t0);
    out[1] = blossom(t0, t0, t1);
    out[2] = blossom(t0, t1, t1);
    out[3] = blossom(t1, t1, t1);
}

std::vector<float> Parameters(const std::vector<SegmentationJob>& jobs)
{
    std::vector<float> result;
    for (const SegmentationJob& job : jobs) result.push_back(job.getParameter());
    return result;
}

TEST(BezierWorkspace, BlockCountsCursorAndReuse)
{
    BezierSegmentationWorkspace ws;
    EXPECT_EQ(ws.getNumPoints(), 0u);
    EXPECT_EQ(ws.getStorageSize(), 0u);

    // 4 x the next power of two of maxJobs, 4 when maxJobs is 0.
    const struct {
        unsigned long maxJobs;
        std::size_t blocks;
    } cases[] = {{0, 4}, {1, 4}, {2, 8}, {3, 16}, {4, 16}, {32, 128}, {33, 256}};
    for (const auto& c : cases) {
        ws.initWorkspace(c.maxJobs, 4);
        EXPECT_EQ(ws.getNumPoints(), 4u);
        EXPECT_EQ(ws.getStorageSize(), c.blocks * 4) << "maxJobs " << c.maxJobs;
    }
    ws.initWorkspace(5, 3);
    EXPECT_EQ(ws.getStorageSize(), 32u * 3);
    // Sizes beyond any memory fail as an allocation would, without wrapping around.
    EXPECT_THROW(ws.initWorkspace(1ul << 50, 4), std::length_error);
    EXPECT_THROW(ws.initWorkspace(4, ~0ul), std::length_error);
    EXPECT_THROW(ws.initWorkspace(~0ul, 4), std::length_error);

    // Blocks are handed out back to back from the start of the storage.
    ws.initWorkspace(32, 4);
    Vec2* first = ws.createVector();
    Vec2* second = ws.createVector();
    EXPECT_EQ(second - first, 4);
    const Vec2 src[4] = {Vec2(1, 2), Vec2(3, 4), Vec2(5, 6), Vec2(7, 8)};
    Vec2* third = ws.createVector(src, src + 4);
    EXPECT_EQ(third - first, 8);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(third[i], src[i]);
    EXPECT_EQ(&*ws.toIterator(third), third);

    // A copy hands out blocks from its own storage, at the same position.
    BezierSegmentationWorkspace copy(ws);
    Vec2* copied = copy.createVector();
    EXPECT_TRUE(copied != third + 4);
    EXPECT_EQ(copied[-4], src[0]); // the copied third block sits just before
    BezierSegmentationWorkspace moved(std::move(copy));
    EXPECT_EQ(moved.createVector(), copied + 4);
    EXPECT_EQ(moved.getStorageSize(), 128u * 4);

    // A new run starts again at the first block, in the same buffer.
    ws.initWorkspace(3, 4);
    EXPECT_EQ(ws.createVector(), first);
    ws.initWorkspace(32, 4);
    EXPECT_EQ(ws.createVector(), first);
}

TEST(BezierJob, SplitsAtTheMiddleAndScoresTheControlPolygon)
{
    const Vec2 c[4] = {Vec2(0, 0), Vec2(1, 3), Vec2(4, 3), Vec2(6, -1)};
    BezierSegmentationWorkspace ws;
    ws.initWorkspace(1, 4);
    Vec2* block = ws.createVector(c, c + 4);
    SegmentationJob job(ws, ws.toIterator(block), 0.5f, 0.25f);

    EXPECT_EQ(job.getParameter(), 0.5f);
    EXPECT_EQ(job.getStep(), 0.25f);
    EXPECT_LT(Distance(*job.getResult(), Bernstein(c, 0.5)), 1e-5);
    // The halves are the sub-curves over [0, 1/2] and [1/2, 1].
    P2 left[4], right[4];
    SubCurve(c, 0.0, 0.5, left);
    SubCurve(c, 0.5, 1.0, right);
    for (int i = 0; i < 4; ++i) {
        EXPECT_LT(Distance(job.getLeft()[i], left[i]), 1e-5) << i;
        EXPECT_LT(Distance(job.getRight()[i], right[i]), 1e-5) << i;
    }
    EXPECT_EQ(job.getLeft()[3], job.getRight()[0]);
    P2 whole[4];
    SubCurve(c, 0.0, 1.0, whole);
    EXPECT_NEAR(job.getError(), Score(whole), 1e-6);
    EXPECT_LT(job.getError(), 0.0f); // one-sided

    // Straight, coincident and S-shaped pieces.
    auto scoreOf = [&](std::initializer_list<Vec2> pts) {
        ws.initWorkspace(1, 4);
        Vec2* b = ws.createVector(pts.begin(), pts.end());
        return SegmentationJob(ws, ws.toIterator(b), 0.5f, 0.25f).getError();
    };
    EXPECT_EQ(scoreOf({Vec2(0, 0), Vec2(1, 0), Vec2(2, 0), Vec2(3, 0)}), -1.0f);
    EXPECT_EQ(scoreOf({Vec2(2, 2), Vec2(2, 2), Vec2(2, 2), Vec2(2, 2)}), -1.0f);
    const float s = scoreOf({Vec2(0, 0), Vec2(1, 2), Vec2(2, -2), Vec2(3, 0)});
    const P2 sPoly[4] = {{0, 0}, {1, 2}, {2, -2}, {3, 0}};
    EXPECT_GT(s, 0.0f);
    EXPECT_NEAR(s, Score(sPoly), 1e-6);
    // An inner point on the chord counts as one-sided.
    const float onChord = scoreOf({Vec2(0, 0), Vec2(1, 0), Vec2(2, 5), Vec2(3, 0)});
    EXPECT_LT(onChord, 0.0f);
}

TEST(BezierLeaves, JobLimitAndSplitOrder)
{
    BezierSegmentationWorkspace ws;
    std::vector<SegmentationJob> jobs;

    // A straight cubic is never split: the one leaf is the middle.
    Curve straight = MakeCurve({Vec2(0, 0), Vec2(1, 1), Vec2(2, 2), Vec2(3, 3)});
    DeCasteljauGetBezierPoints(ws, straight, jobs, 32, kPathTolerance);
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(jobs[0].getParameter(), 0.5f);
    EXPECT_EQ(*jobs[0].getResult(), Vec2(1.5f, 1.5f));

    // maxJobs 0 or 1 keeps the root whatever its error.
    Curve bent = MakeCurve({Vec2(0, 0), Vec2(0, 10), Vec2(10, 10), Vec2(10, 0)});
    for (unsigned int maxJobs : {0u, 1u}) {
        DeCasteljauGetBezierPoints(ws, bent, jobs, maxJobs, kPathTolerance);
        ASSERT_EQ(jobs.size(), 1u) << maxJobs;
        EXPECT_EQ(jobs[0].getParameter(), 0.5f);
        EXPECT_LT(Distance(*jobs[0].getResult(), Bernstein(bent.GetControlPoints(), 0.5)), 1e-5);
    }

    // One split gives the middles of the halves, never t = 0.5.
    Curve sCurve = MakeCurve({Vec2(0, 0), Vec2(1, 2), Vec2(2, -2), Vec2(3, 0)});
    DeCasteljauGetBezierPoints(ws, sCurve, jobs, 2, kPathTolerance);
    EXPECT_EQ(Parameters(jobs), (std::vector<float>{0.25f, 0.75f}));
    EXPECT_LT(Distance(*jobs[0].getResult(), Bernstein(sCurve.GetControlPoints(), 0.25)), 1e-5);
    EXPECT_LT(Distance(*jobs[1].getResult(), Bernstein(sCurve.GetControlPoints(), 0.75)), 1e-5);

    // A tolerance of 0 or more never splits a one-sided piece; an S-shaped one is still split.
    DeCasteljauGetBezierPoints(ws, bent, jobs, 32, 0.0f);
    EXPECT_EQ(jobs.size(), 1u);
    DeCasteljauGetBezierPoints(ws, sCurve, jobs, 32, 0.0f);
    EXPECT_GE(jobs.size(), 2u);

    // The third leaf comes from the more bent half, computed independently.
    Curve lopsided = MakeCurve({Vec2(0, 0), Vec2(0, 1), Vec2(1, 8), Vec2(10, 8)});
    P2 left[4], right[4];
    SubCurve(lopsided.GetControlPoints(), 0.0, 0.5, left);
    SubCurve(lopsided.GetControlPoints(), 0.5, 1.0, right);
    ASSERT_NE(Score(left), Score(right));
    DeCasteljauGetBezierPoints(ws, lopsided, jobs, 3, kPathTolerance);
    const std::vector<float> expected =
        Score(left) > Score(right) ? std::vector<float>{0.125f, 0.375f, 0.75f} : std::vector<float>{0.25f, 0.625f, 0.875f};
    EXPECT_EQ(Parameters(jobs), expected);

    // Not a cubic: no leaves.
    Curve quadratic = MakeCurve({Vec2(0, 0), Vec2(5, 5), Vec2(10, 0)});
    DeCasteljauGetBezierPoints(ws, quadratic, jobs, 32, kPathTolerance);
    EXPECT_TRUE(jobs.empty());
}

TEST(BezierLeaves, LeavesLieOnTheCurveAndMeetTheTolerance)
{
    BezierSegmentationWorkspace ws;
    std::vector<SegmentationJob> jobs;
    const float k = 0.5522847f; // quarter circle of radius 1
    const std::vector<std::vector<Vec2>> curves = {
        {Vec2(0, 0), Vec2(0, 10), Vec2(10, 10), Vec2(10, 0)},            // c / L about 0.6
        {Vec2(1, 0), Vec2(1, k), Vec2(k, 1), Vec2(0, 1)},                // quarter circle
        {Vec2(0, 0), Vec2(100, 50), Vec2(-100, 50), Vec2(0, 0)},         // loop back to the start
        {Vec2(0, 0), Vec2(30, 40), Vec2(-20, -40), Vec2(50, 5)},         // S-shaped
        {Vec2(-3e4f, 2e4f), Vec2(4e4f, 1e4f), Vec2(1e3f, -3e4f), Vec2(2e4f, 2e4f)}};
    for (const std::vector<Vec2>& pts : curves) {
        Vec2* control = new Vec2[4]{pts[0], pts[1], pts[2], pts[3]};
        Curve curve(3, control);
        double size = 0;
        for (const Vec2& p : pts) size = std::max(size, (double)std::max(std::fabs(p.X()), std::fabs(p.Y())));
        for (unsigned int maxJobs : {2u, 7u, 32u, 200u}) {
            DeCasteljauGetBezierPoints(ws, curve, jobs, maxJobs, kPathTolerance);
            ASSERT_FALSE(jobs.empty());
            ASSERT_LE(jobs.size(), maxJobs);
            for (std::size_t i = 0; i < jobs.size(); ++i) {
                const double t = jobs[i].getParameter();
                EXPECT_GT(t, 0.0);
                EXPECT_LT(t, 1.0);
                if (i > 0) {
                    EXPECT_LT(jobs[i - 1].getParameter(), jobs[i].getParameter());
                }
                EXPECT_LT(Distance(*jobs[i].getResult(), Bernstein(control, t)), 1e-5 * size + 1e-6)
                    << "t = " << t << ", maxJobs " << maxJobs;
                // A run that stopped before the limit left only flat leaves.
                if (jobs.size() < maxJobs) {
                    EXPECT_LE(jobs[i].getError(), kPathTolerance);
                }
            }
        }
        // The emitted polyline runs from P0 to P3.
        SegmentedPrimitive out;
        DeCasteljauSegmentBezier(ws, curve, out, true, 200, kPathTolerance);
        EXPECT_EQ(out.points.front(), pts[0]);
        EXPECT_EQ(out.points.back(), pts[3]);
    }
}

// A primitive's points and index pairs as one text: "x y, x y | i j, i j".
std::string Text(const SegmentedPrimitive& p)
{
    std::ostringstream out;
    for (std::size_t i = 0; i < p.points.size(); ++i) out << (i ? ", " : "") << p.points[i].X() << " " << p.points[i].Y();
    out << " |";
    for (std::size_t i = 0; i + 1 < p.lineIndices.size(); i += 2)
        out << (i ? ", " : " ") << p.lineIndices[i] << " " << p.lineIndices[i + 1];
    return out.str();
}

TEST(BezierSegment, PointsAndIndexPairs)
{
    BezierSegmentationWorkspace ws;
    Curve straight = MakeCurve({Vec2(0, 0), Vec2(1, 0), Vec2(2, 0), Vec2(4, 0)});
    Curve next = MakeCurve({Vec2(4, 0), Vec2(4, 1), Vec2(4, 2), Vec2(4, 3)});
    Curve bent = MakeCurve({Vec2(0, 0), Vec2(0, 10), Vec2(10, 10), Vec2(10, 0)});

    // P0, B(0.5), P3 with the pairs joining them; without the start point the
    // chain continues from the previous last point; a new chain in the same
    // primitive is not joined to the old one.
    SegmentedPrimitive out;
    DeCasteljauSegmentBezier(ws, straight, out, true, 32, kPathTolerance);
    EXPECT_EQ(Text(out), "0 0, 1.625 0, 4 0 | 0 1, 1 2");
    DeCasteljauSegmentBezier(ws, next, out, false, 32, kPathTolerance);
    EXPECT_EQ(Text(out), "0 0, 1.625 0, 4 0, 4 1.5, 4 3 | 0 1, 1 2, 2 3, 3 4");
    DeCasteljauSegmentBezier(ws, next, out, true, 32, kPathTolerance);
    EXPECT_EQ(Text(out), "0 0, 1.625 0, 4 0, 4 1.5, 4 3, 4 0, 4 1.5, 4 3 | 0 1, 1 2, 2 3, 3 4, 5 6, 6 7");

    // All four points coincide: three equal points. maxJobs 0: one interior
    // point at t = 0.5. Without a previous point, "continue the chain" starts
    // a new one. Curves that are not cubic add nothing and read nothing past
    // their points.
    Curve point = MakeCurve({Vec2(2, 3), Vec2(2, 3), Vec2(2, 3), Vec2(2, 3)});
    Curve quadratic = MakeCurve({Vec2(0, 0), Vec2(5, 5), Vec2(10, 0)});
    Curve linear = MakeCurve({Vec2(0, 0), Vec2(5, 5)});
    const struct {
        const Curve* curve;
        bool startNew;
        unsigned int maxJobs;
        const char* text;
    } alone[] = {{&point, true, 32, "2 3, 2 3, 2 3 | 0 1, 1 2"},
                 {&bent, true, 0, "0 0, 5 7.5, 10 0 | 0 1, 1 2"},
                 {&straight, false, 32, "0 0, 1.625 0, 4 0 | 0 1, 1 2"},
                 {&quadratic, true, 32, " |"},
                 {&linear, false, 32, " |"}};
    for (const auto& c : alone) {
        SegmentedPrimitive one;
        DeCasteljauSegmentBezier(ws, *c.curve, one, c.startNew, c.maxJobs, kPathTolerance);
        EXPECT_EQ(Text(one), c.text);
    }
}

TEST(BezierSegment, IndexOverflowIsLoggedAndAddsNothing)
{
    BezierSegmentationWorkspace ws;
    Curve bent = MakeCurve({Vec2(0, 0), Vec2(0, 10), Vec2(10, 10), Vec2(10, 0)});
    SegmentedPrimitive out;
    out.points.push_back(Vec2(7, 7));
    kxtest::LogCapture log;
    // 1 + 4294967295 points could not be indexed with 32 bits.
    DeCasteljauSegmentBezier(ws, bent, out, false, 4294967295u, kPathTolerance);
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries()[0].level, 2);
    EXPECT_EQ(log.entries()[0].message, "Index overflow during segmentation");
    EXPECT_EQ(out.points.size(), 1u);
    EXPECT_TRUE(out.lineIndices.empty());

    // Within range: no message.
    log.clear();
    DeCasteljauSegmentBezier(ws, bent, out, false, 32, kPathTolerance);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_GT(out.points.size(), 1u);
}

TEST(BezierSegment, NoAllocationPerCurveOnceGrown)
{
    BezierSegmentationWorkspace ws;
    std::vector<Curve*> curves;
    for (int i = 0; i < 200; ++i) {
        const float a = static_cast<float>(i);
        Vec2* control = new Vec2[4]{Vec2(a, 0), Vec2(a + 3, 9 + a), Vec2(a - 5, 4), Vec2(a + 8, -2)};
        curves.push_back(new Curve(3, control));
    }
    SegmentedPrimitive out;
    for (Curve* c : curves) DeCasteljauSegmentBezier(ws, *c, out, true, 32, kPathTolerance); // warm up
    const std::size_t pointsPerRun = out.points.size();
    out.points.clear();
    out.lineIndices.clear();

    gAllocationCount = 0;
    gCountAllocations = true;
    std::vector<int>* probe = new std::vector<int>(3); // the counter itself works
    const long probeCount = gAllocationCount.exchange(0);
    delete probe;
    for (Curve* c : curves) DeCasteljauSegmentBezier(ws, *c, out, true, 32, kPathTolerance);
    gCountAllocations = false;
    EXPECT_EQ(probeCount, 2);
    EXPECT_EQ(gAllocationCount.load(), 0);
    EXPECT_EQ(out.points.size(), pointsPerRun);
    for (Curve* c : curves) delete c;
}

} // namespace
