// Stroke meshes: the area each cap, join, dot and dash covers against its
// exact value, widths under transforms, and the non-overlapping union.
#include <kx/svg/Segmentation.h>

#include <kx/svg/PathParser.h>

#include "../fuzz/FuzzTargets.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace kx::svg;
using Vec2 = Wm4::Vector2<float>;

constexpr double kPi = 3.14159265358979;
constexpr float kTolerance = 1e-3f;

struct Style {
    float width = 2.0f;
    LineCap cap = LineCap::Butt;
    LineJoin join = LineJoin::Miter;
    const char* dashes = "";
};

// The one stroked primitive of a path `d` drawn in `style` under `transform`.
SegmentedPrimitive Stroke(const std::string& d, const Style& style, const SegmentationOptions& options,
                          const Wm4::Matrix3<float>* transform = nullptr, bool nonScaling = false)
{
    Node doc;
    auto path = std::make_shared<Path>();
    EXPECT_TRUE(ConvertPathStringToCommands(d, path->editCommands(), nullptr)) << d;
    RenderingProperties& props = path->editRenderingProperties();
    props.stroke = "black";
    props.fill = "none";
    props.strokeWidth = style.width;
    props.strokeLinecap = style.cap;
    props.strokeLinejoin = style.join;
    if (nonScaling) props.vectorEffect = NonScalingStroke;
    std::istringstream dashes(style.dashes);
    std::vector<UnitValue> array;
    for (std::string token; dashes >> token;) {
        UnitValue value;
        EXPECT_TRUE(UnitValue::parseVal(token, value)) << token;
        array.push_back(value);
    }
    if (!array.empty()) props.strokeDasharray = array;
    if (transform) path->editTransform() = *transform;
    doc.addChild(path, true);
    SegmenterVisitor visitor(doc, options);
    EXPECT_EQ(visitor.getSegmentedPrimitives().size(), 1u);
    if (visitor.getSegmentedPrimitives().empty()) return SegmentedPrimitive();
    return std::move(*visitor.getSegmentedPrimitives().front());
}

SegmentationOptions MeshOptions(bool nonOverlapping = false)
{
    SegmentationOptions options;
    options.strokeMeshes = true;
    options.strokeTolerance = kTolerance;
    options.strokeNonOverlapping = nonOverlapping;
    options.strokePercentLength = 100.0f;
    return options;
}

// Area the mesh covers: its triangles, each counter-clockwise, under non-zero.
double CoveredArea(const SegmentedPrimitive& p)
{
    std::vector<unsigned int> edges;
    for (std::size_t t = 0; t + 2 < p.strokeIndices.size(); t += 3) {
        unsigned int a = p.strokeIndices[t], b = p.strokeIndices[t + 1], c = p.strokeIndices[t + 2];
        const Vec2 u = p.strokePoints[b] - p.strokePoints[a], v = p.strokePoints[c] - p.strokePoints[a];
        if (u.X() * v.Y() - u.Y() * v.X() < 0.0f) std::swap(b, c);
        edges.insert(edges.end(), {a, b, b, c, c, a});
    }
    return kxfuzz::coveredArea(p.strokePoints, edges, kx::TriangulationFillRule::NonZero);
}

double TriangleSum(const SegmentedPrimitive& p)
{
    SegmentedPrimitive copy;
    copy.trianglePoints = p.strokePoints;
    copy.triangleIndices = p.strokeIndices;
    return kxtest::FillArea(copy);
}

TEST(StrokeMesh, CapsJoinsDotsAndDashesCoverTheirExactArea)
{
    using C = LineCap;
    using J = LineJoin;
    // Width 2 throughout. `round` is the length of round arcs, whose chords
    // may fall short of them by the tolerance.
    struct Row {
        const char* name;
        const char* d;
        Style style;
        double area;
        double round;
    };
    const Row rows[] = {
        {"butt ends", "M0 0 L10 0", {2, C::Butt, J::Miter, ""}, 20, 0},
        {"square caps add w^2/2 per end", "M0 0 L10 0", {2, C::Square, J::Miter, ""}, 24, 0},
        {"round caps add a disc", "M0 0 L10 0", {2, C::Round, J::Miter, ""}, 20 + kPi, 2 * kPi},
        {"miter on a right angle", "M0 0 L10 0 L10 10", {2, C::Butt, J::Miter, ""}, 40, 0},
        {"bevel on a right angle", "M0 0 L10 0 L10 10", {2, C::Butt, J::Bevel, ""}, 39.5, 0},
        {"round on a right angle", "M0 0 L10 0 L10 10", {2, C::Butt, J::Round, ""}, 39 + kPi / 4, kPi / 2},
        {"round on a reversal adds the half disc", "M0 0 L10 0 L0 0", {2, C::Butt, J::Round, ""}, 20 + kPi / 2,
         kPi},
        {"miter past the limit on a reversal is a bevel", "M0 0 L10 0 L0 0", {2, C::Butt, J::Miter, ""}, 20, 0},
        {"miter-clip on a reversal cuts at 4 half widths", "M0 0 L10 0 L0 0", {2, C::Butt, J::MiterClip, ""}, 28,
         0},
        {"closed square: joins all round, no caps", "M0 0 H10 V10 H0 Z", {2, C::Square, J::Miter, ""}, 80, 0},
        {"closed square with round joins", "M0 0 H10 V10 H0 Z", {2, C::Round, J::Round, ""}, 76 + kPi, 2 * kPi},
        {"round dot", "M5 5 L5 5", {2, C::Round, J::Miter, ""}, kPi, 2 * kPi},
        {"square dot", "M5 5 Z", {2, C::Square, J::Miter, ""}, 4, 0},
        {"butt dot draws nothing", "M5 5 L5 5", {2, C::Butt, J::Miter, ""}, 0, 0},
        {"dashes cover 70 of 100", "M0 0 L100 0", {2, C::Butt, J::Miter, "10 5"}, 140, 0},
        {"percentage dashes", "M0 0 L100 0", {2, C::Butt, J::Miter, "10% 5%"}, 140, 0},
        {"millimetre dashes: 96 of 100 drawn", "M0 0 L100 0", {2, C::Butt, J::Miter, "25.4mm 12.7mm"}, 192, 0},
        {"an odd dash count repeats", "M0 0 L100 0", {2, C::Butt, J::Miter, "10"}, 100, 0},
        {"zero dashes with round caps are dots", "M0 0 L100 0", {2, C::Round, J::Miter, "0 10"}, 11 * kPi,
         22 * kPi},
        {"all zeros draw solid", "M0 0 L100 0", {2, C::Butt, J::Miter, "0 0"}, 200, 0},
        {"a dash over the start of a ring is joined", "M0 0 H10 V10 H0 Z", {2, C::Butt, J::Miter, "5 30 5 0"}, 20,
         0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const SegmentedPrimitive p = Stroke(row.d, row.style, MeshOptions());
        ASSERT_EQ(p.strokeIndices.size() % 3, 0u);
        const double area = CoveredArea(p);
        EXPECT_LE(area, row.area + 1e-4 * row.area + 1e-4);
        EXPECT_GE(area, row.area - kTolerance * row.round - 1e-4 * row.area - 1e-4);
    }
}

TEST(StrokeMesh, MiterBeyondTheLimitBecomesABevel)
{
    // 1 / sin(theta / 2) passes 4 below about 28.96 degrees.
    for (const char* d : {"M0 0 L10 0 L0 2", "M0 0 L10 0 L0 6"}) {
        const double miter = CoveredArea(Stroke(d, {2, LineCap::Butt, LineJoin::Miter, ""}, MeshOptions()));
        const double bevel = CoveredArea(Stroke(d, {2, LineCap::Butt, LineJoin::Bevel, ""}, MeshOptions()));
        const double clip = CoveredArea(Stroke(d, {2, LineCap::Butt, LineJoin::MiterClip, ""}, MeshOptions()));
        if (d[std::string(d).size() - 1] == '2') {
            EXPECT_NEAR(miter, bevel, 1e-4) << d; // 11.3 degrees: past the limit
            EXPECT_GT(clip, bevel + 1.0) << d;
        } else {
            EXPECT_GT(miter, bevel + 0.5) << d; // 31 degrees: within it
            EXPECT_NEAR(clip, miter, 1e-4) << d;
        }
    }
}

TEST(StrokeMesh, WidthsFollowTheTransformUnlessNonScaling)
{
    const Wm4::Matrix3<float> stretch(2, 0, 5, 0, 3, 7, 0, 0, 1);
    const Style style{2, LineCap::Butt, LineJoin::Miter, ""};
    // Item stroke 10 x 2, then 2 x 3 larger; non-scaling: 20 long, 2 wide.
    EXPECT_NEAR(CoveredArea(Stroke("M0 0 L10 0", style, MeshOptions(), &stretch)), 120.0, 1e-3);
    EXPECT_NEAR(CoveredArea(Stroke("M0 0 L10 0", style, MeshOptions(), &stretch, true)), 40.0, 1e-3);
    // Default options hand out no mesh, and the outline is unchanged.
    const SegmentedPrimitive plain = Stroke("M0 0 L10 0", style, SegmentationOptions());
    EXPECT_TRUE(plain.strokePoints.empty());
    EXPECT_TRUE(plain.strokeIndices.empty());
    const SegmentedPrimitive meshed = Stroke("M0 0 L10 0", style, MeshOptions());
    EXPECT_EQ(meshed.points, plain.points);
    EXPECT_EQ(meshed.lineIndices, plain.lineIndices);
}

TEST(StrokeMesh, NonOverlappingOutputCoversTheUnionOnce)
{
    const Style style{3, LineCap::Round, LineJoin::Round, ""};
    for (const char* d : {"M0 0 L20 20 L20 0 L0 20 Z", "M0 0 C30 0 -10 10 20 10 L5 -5", "M0 0 H10 V10 H0 Z"}) {
        SCOPED_TRACE(d);
        const SegmentedPrimitive overlapping = Stroke(d, style, MeshOptions());
        const SegmentedPrimitive merged = Stroke(d, style, MeshOptions(true));
        const double union_ = CoveredArea(overlapping);
        EXPECT_GT(TriangleSum(overlapping), union_ * 1.01); // the pieces do overlap
        EXPECT_NEAR(TriangleSum(merged), union_, 1e-4 * union_);
        EXPECT_NEAR(CoveredArea(merged), union_, 1e-4 * union_);
    }
}

} // namespace
