// The segmenter visitor: traversal order, composed transforms, cascaded
// properties and the fill-failure rules (deep trees: test_hostile; corpus: test_corpus).
#include <kx/svg/Segmentation.h>

#include <kx/svg/PathParser.h>
#include <kx/system/kxIoDevice.h>

#include "TestSupport.h"
#include "read/LoadDocument.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace kx::svg;
using Vec2 = Wm4::Vector2<float>;
using Mat3 = Wm4::Matrix3<float>;

Mat3 Translate(float x, float y) { return Mat3(1, 0, x, 0, 1, y, 0, 0, 1); }
Mat3 Scale(float s) { return Mat3(s, 0, 0, 0, s, 0, 0, 0, 1); }

template <class T, class... Args>
std::shared_ptr<T> Make(Args&&... args)
{
    return std::make_shared<T>(std::forward<Args>(args)...);
}

std::shared_ptr<Path> MakePath(const std::string& d)
{
    auto path = Make<Path>();
    EXPECT_TRUE(ConvertPathStringToCommands(d, path->editCommands(), nullptr)) << d;
    return path;
}

std::vector<std::shared_ptr<SegmentedPrimitive>> Primitives(SegmenterVisitor& visitor)
{
    return {visitor.getSegmentedPrimitives().begin(), visitor.getSegmentedPrimitives().end()};
}

// (x, y) mapped by a row-major affine matrix, in double precision.
struct D2 {
    double x, y;
};
D2 Apply(const Mat3& m, D2 p)
{
    return {m(0, 0) * p.x + m(0, 1) * p.y + m(0, 2), m(1, 0) * p.x + m(1, 1) * p.y + m(1, 2)};
}

TEST(SegmenterVisitor, ShapesOnlyInDocumentOrder)
{
    // Texts and images make nothing.
    Document onlyText;
    onlyText.addChild(Make<Text>(Vec2(1, 2), "hello"), true);
    onlyText.addChild(Make<Image>(), true);
    auto group = Make<Node>();
    group->addChild(Make<Text>(Vec2(0, 0), "x"), true);
    onlyText.addChild(group, true);
    SegmenterVisitor empty(onlyText);
    EXPECT_FALSE(empty.hasError());
    EXPECT_TRUE(empty.getSegmentedPrimitives().empty());

    // Depth first, parents before children, siblings in order.
    Document doc;
    doc.addChild(Make<Line>(Vec2(0, 0), Vec2(1, 0)), true);               // 2 points
    auto inner = Make<Node>();
    inner->addChild(Make<Rect>(Vec2(0, 0), Vec2(1, 1)), true);            // 4 points
    auto innermost = Make<Node>();
    innermost->addChild(Make<Circle>(Vec2(0, 0), 1.0f), true);            // 32 points
    inner->addChild(innermost, true);
    inner->addChild(MakePath("M 0 0 L 2 0 L 3 1 L 2 2 L 0 2 Z"), true); // 6 points
    doc.addChild(inner, true);
    doc.addChild(Make<Text>(Vec2(0, 0), "t"), true);
    doc.addChild(Make<Line>(Vec2(0, 0), Vec2(0, 5)), false);               // first: 2 points
    doc.addChild(Make<Node>(), true);                                      // empty group
    doc.editChildren().push_back(nullptr);                                 // empty handle
    doc.addChild(MakePath("M 0 0 L 3 0"), true);                           // 2 points, open
    SegmenterVisitor visitor(doc);
    EXPECT_FALSE(visitor.hasError());
    std::vector<std::size_t> sizes;
    for (const auto& p : visitor.getSegmentedPrimitives()) sizes.push_back(p->points.size());
    EXPECT_EQ(sizes, (std::vector<std::size_t>{2, 2, 4, 32, 6, 2}));
    EXPECT_EQ(visitor.getSegmentedPrimitives().front()->points[1], Vec2(0, 5));

    // The caller may move the results out.
    SegmenterVisitor::Primitives taken = std::move(visitor.getSegmentedPrimitives());
    EXPECT_EQ(taken.size(), 6u);
}

TEST(SegmenterVisitor, TransformsComposeParentFirst)
{
    // A translated group around a circle: the 32 points are moved.
    Document doc;
    auto moved = Make<Node>();
    moved->editTransform() = Translate(100, -50);
    moved->addChild(Make<Circle>(Vec2(1, 2), 3.0f), true);
    doc.addChild(moved, true);
    SegmenterVisitor visitor(doc);
    ASSERT_EQ(visitor.getSegmentedPrimitives().size(), 1u);
    const SegmentedPrimitive& circle = *visitor.getSegmentedPrimitives().front();
    ASSERT_EQ(circle.points.size(), 32u);
    std::shared_ptr<SegmentedPrimitive> reference = SegmentCircle(Circle(Vec2(1, 2), 3.0f), 32, 0.1f, nullptr, nullptr, nullptr);
    for (std::size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(circle.points[i], reference->points[i] + Vec2(100, -50)) << i;
        EXPECT_NEAR(std::hypot(circle.points[i].X() - 101.0, circle.points[i].Y() + 48.0), 3.0, 1e-4);
    }

    // Root scale, group rotation and translation, the item's own transform:
    // a point p ends at root * group * item * p.
    Document nested;
    const Mat3 rootM = Scale(2);
    const Mat3 groupM(0, -1, 10, 1, 0, 0, 0, 0, 1); // quarter turn, then right by 10
    const Mat3 innerM = Translate(0, 3);
    const Mat3 itemM(1, 0.5f, 0, 0, 1, 0, 0, 0, 1); // shear
    nested.editTransform() = rootM;
    auto g1 = Make<Node>();
    g1->editTransform() = groupM;
    auto g2 = Make<Node>();
    g2->editTransform() = innerM;
    auto rect = Make<Rect>(Vec2(1, 1), Vec2(2, 4));
    rect->editTransform() = itemM;
    g2->addChild(rect, true);
    auto plainLine = Make<Line>(Vec2(1, 1), Vec2(3, 5));
    g2->addChild(plainLine, true);
    g1->addChild(g2, true);
    auto afterGroup = Make<Line>(Vec2(1, 1), Vec2(3, 5)); // outside g2: no innerM
    g1->addChild(afterGroup, true);
    nested.addChild(g1, true);
    SegmenterVisitor v(nested);
    std::vector<std::shared_ptr<SegmentedPrimitive>> prims = Primitives(v);
    ASSERT_EQ(prims.size(), 3u);

    auto expectMapped = [](const Vec2& got, std::initializer_list<Mat3> chain, D2 p) {
        // Apply the innermost matrix first.
        std::vector<Mat3> ms(chain);
        for (auto it = ms.rbegin(); it != ms.rend(); ++it) p = Apply(*it, p);
        EXPECT_NEAR(got.X(), p.x, 1e-4);
        EXPECT_NEAR(got.Y(), p.y, 1e-4);
    };
    const D2 corners[4] = {{1, 1}, {3, 1}, {3, 5}, {1, 5}};
    ASSERT_EQ(prims[0]->points.size(), 4u);
    for (int i = 0; i < 4; ++i) expectMapped(prims[0]->points[i], {rootM, groupM, innerM, itemM}, corners[i]);
    double area = 0; // the fill is mapped too: area x |det| = 8 x 4
    for (std::size_t i = 0; i + 2 < prims[0]->triangleIndices.size(); i += 3) {
        const Vec2& a = prims[0]->trianglePoints[prims[0]->triangleIndices[i]];
        const Vec2& b = prims[0]->trianglePoints[prims[0]->triangleIndices[i + 1]];
        const Vec2& c = prims[0]->trianglePoints[prims[0]->triangleIndices[i + 2]];
        area += 0.5 * std::fabs((b.X() - a.X()) * (c.Y() - a.Y()) - (b.Y() - a.Y()) * (c.X() - a.X()));
    }
    EXPECT_NEAR(area, 32.0, 1e-3);
    expectMapped(prims[1]->points[0], {rootM, groupM, innerM}, {1, 1});
    expectMapped(prims[1]->points[1], {rootM, groupM, innerM}, {3, 5});
    expectMapped(prims[2]->points[0], {rootM, groupM}, {1, 1});
    expectMapped(prims[2]->points[1], {rootM, groupM}, {3, 5});
}

TEST(SegmenterVisitor, PropertiesCascadeFromTheRootDown)
{
    Document doc;
    doc.editRenderingProperties().opacity = 0.5f;
    doc.editRenderingProperties().strokeWidth = 3.0f;
    auto group = Make<Node>();
    group->editRenderingProperties().fill = "red";
    group->editRenderingProperties().className = "g";
    group->editRenderingProperties().vectorEffect = NonScalingStroke;
    auto circle = Make<Circle>(Vec2(0, 0), 1.0f);
    circle->editRenderingProperties().stroke = "blue";
    circle->editRenderingProperties().strokeWidth = 1.0f;
    group->addChild(circle, true);
    auto green = Make<Node>();
    green->editRenderingProperties().fill = "green";
    green->addChild(Make<Rect>(Vec2(0, 0), Vec2(1, 1)), true);
    group->addChild(green, true);
    group->addChild(Make<Line>(Vec2(0, 0), Vec2(1, 1)), true); // after the override closed
    doc.addChild(group, true);
    auto outside = Make<Rect>(Vec2(0, 0), Vec2(2, 2));
    outside->editRenderingProperties().vectorEffect = NonRotation;
    doc.addChild(outside, true);

    SegmenterVisitor visitor(doc);
    std::vector<std::shared_ptr<SegmentedPrimitive>> prims = Primitives(visitor);
    ASSERT_EQ(prims.size(), 4u);

    RenderingProperties expected;
    expected.opacity = 0.5f;
    expected.strokeWidth = 1.0f;
    expected.stroke = std::string("blue");
    expected.fill = std::string("red");
    expected.className = std::string("g");
    EXPECT_EQ(prims[0]->properties, expected); // vector-effect is never inherited

    RenderingProperties rect;
    rect.opacity = 0.5f;
    rect.strokeWidth = 3.0f;
    rect.fill = std::string("green");
    rect.className = std::string("g");
    EXPECT_EQ(prims[1]->properties, rect);

    RenderingProperties line = rect;
    line.fill = std::string("red");
    EXPECT_EQ(prims[2]->properties, line);

    RenderingProperties top;
    top.opacity = 0.5f;
    top.strokeWidth = 3.0f;
    top.vectorEffect = NonRotation;
    EXPECT_EQ(prims[3]->properties, top);

    // A group that is not filled: its shapes get neither cleanup nor triangles.
    Document unfilled;
    unfilled.editRenderingProperties().fill = "none";
    unfilled.addChild(Make<Rect>(Vec2(0, 0), Vec2(1, 1)), true);
    SegmenterVisitor u(unfilled);
    ASSERT_EQ(u.getSegmentedPrimitives().size(), 1u);
    EXPECT_TRUE(u.getSegmentedPrimitives().front()->triangleIndices.empty());
    EXPECT_EQ(u.getSegmentedPrimitives().front()->properties.fill, std::string("none"));
}

TEST(SegmenterVisitor, FirstFailedFillStopsSegmentation)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    kxtest::LogCapture log;

    // An unfillable rectangle without a stroke: its outline is drawn in the
    // fill's paint, and the circle after it is not segmented.
    Document doc;
    doc.addChild(Make<Line>(Vec2(0, 0), Vec2(1, 1)), true);
    auto bad = Make<Rect>(Vec2(0, 0), Vec2(nan, 5));
    bad->editRenderingProperties().fill = "red";
    doc.addChild(bad, true);
    doc.addChild(Make<Circle>(Vec2(0, 0), 1.0f), true);
    auto group = Make<Node>();
    group->addChild(Make<Rect>(Vec2(0, 0), Vec2(1, 1)), true);
    doc.addChild(group, true);
    SegmenterVisitor visitor(doc);
    EXPECT_TRUE(visitor.hasError());
    std::vector<std::shared_ptr<SegmentedPrimitive>> prims = Primitives(visitor);
    ASSERT_EQ(prims.size(), 2u);
    EXPECT_EQ(prims[1]->points.size(), 4u);
    EXPECT_TRUE(prims[1]->triangleIndices.empty());
    EXPECT_EQ(prims[1]->properties.stroke, std::string("red"));
    EXPECT_EQ(prims[1]->properties.fill, std::string("red"));
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0], "Shape cannot be rendered. Only its contour will be visible.");

    // With a stroke of its own, the stroke stays; an absent fill leaves the stroke absent.
    Document stroked;
    auto crossing = MakePath("M 0 0 L 10 10 L 10 0 L 0 10 Z");
    crossing->editRenderingProperties().stroke = "blue";
    crossing->editRenderingProperties().fill = "red";
    stroked.addChild(crossing, true);
    SegmenterVisitor s(stroked);
    EXPECT_TRUE(s.hasError());
    ASSERT_EQ(s.getSegmentedPrimitives().size(), 1u);
    EXPECT_EQ(s.getSegmentedPrimitives().front()->properties.stroke, std::string("blue"));

    Document blackFill;
    blackFill.addChild(MakePath("M 0 0 L 10 10 L 10 0 L 0 10 Z"), true);
    SegmenterVisitor b(blackFill);
    EXPECT_TRUE(b.hasError());
    ASSERT_EQ(b.getSegmentedPrimitives().size(), 1u);
    EXPECT_FALSE(b.getSegmentedPrimitives().front()->properties.stroke.has_value());

    // segmentObject on its own: a text is ignored, a failing shape returns false.
    SegmenterVisitor direct(Document{});
    EXPECT_TRUE(direct.segmentObject(Text(Vec2(0, 0), "t"), Mat3::IDENTITY, RenderingProperties()));
    EXPECT_TRUE(direct.getSegmentedPrimitives().empty());
    EXPECT_FALSE(direct.segmentObject(*crossing, Mat3::IDENTITY, RenderingProperties()));
    EXPECT_EQ(direct.getSegmentedPrimitives().size(), 1u);
}

TEST(SegmenterVisitor, CyclicTreeIsWalkedOnce)
{
    // A group that holds itself (possible through editChildren): its shapes
    // are segmented once and the walk ends. The cycle is broken afterwards so
    // that the nodes can be freed.
    Document doc;
    auto loop = Make<Node>();
    loop->editTransform() = Translate(1, 0);
    loop->addChild(Make<Line>(Vec2(0, 0), Vec2(1, 0)), true);
    loop->editChildren().push_back(loop);
    doc.addChild(loop, true);
    doc.addChild(loop, true); // the same group twice in a row is not a cycle
    SegmenterVisitor visitor(doc);
    std::vector<std::shared_ptr<SegmentedPrimitive>> prims = Primitives(visitor);
    ASSERT_EQ(prims.size(), 2u);
    EXPECT_EQ(prims[0]->points[0], Vec2(1, 0));
    EXPECT_EQ(prims[1]->points[0], Vec2(1, 0));
    loop->editChildren().pop_back();
}

// A line, a filled bow tie (its fill fails unless crossings are resolved), a
// circle, a stroked rectangle of NaN width (its fill always fails) and a square.
Document DrawingWithUnfillableShapes()
{
    Document doc;
    doc.addChild(Make<Line>(Vec2(0, 0), Vec2(1, 1)), true);
    doc.addChild(MakePath("M 0 0 L 10 10 L 10 0 L 0 10 Z"), true);
    doc.getChildren().back()->editRenderingProperties().fill = "red";
    doc.addChild(Make<Circle>(Vec2(0, 0), 1.0f), true);
    doc.addChild(Make<Rect>(Vec2(0, 0), Vec2(std::numeric_limits<float>::quiet_NaN(), 5)), true);
    doc.getChildren().back()->editRenderingProperties().stroke = "blue";
    doc.addChild(Make<Rect>(Vec2(0, 0), Vec2(1, 1)), true);
    return doc;
}

// Everything a walk handed out, comparable exactly.
auto Output(SegmenterVisitor& v)
{
    std::vector<std::tuple<std::vector<Vec2>, std::vector<unsigned int>, std::vector<Vec2>, std::vector<unsigned int>,
                           bool, std::optional<std::string>>> out;
    for (const auto& p : v.getSegmentedPrimitives())
        out.emplace_back(p->points, p->lineIndices, p->trianglePoints, p->triangleIndices, p->fillFailed,
                         p->properties.stroke);
    return std::make_pair(v.hasError(), out);
}

TEST(SegmenterVisitor, DefaultOptionsGiveTheOneArgumentOutput)
{
    kxtest::LogCapture log;
    std::string content;
    ASSERT_TRUE(kxtest::readFile(std::string(KXSVG_SOURCE_DIR) + "/examples/data/badge.svg", content));
    const ItemInterfacePointer<ItemInterface> badge = kxtest::LoadText(content).root;
    ASSERT_TRUE(badge);
    const Node& badgeRoot = dynamic_cast<const Node&>(*badge);
    const Document unfillable = DrawingWithUnfillableShapes();
    for (const Node* root : {&badgeRoot, static_cast<const Node*>(&unfillable)}) {
        SegmenterVisitor plain(*root), defaults(*root, SegmentationOptions());
        EXPECT_TRUE(Output(plain) == Output(defaults));
    }
    // Resolving crossings changes nothing where every fill already succeeds.
    SegmenterVisitor plain(badgeRoot), real(badgeRoot, SegmentationOptions::realSvg());
    EXPECT_TRUE(Output(plain) == Output(real));
}

TEST(SegmenterVisitor, GoesOnPastFailedFillsWhenAsked)
{
    const std::string message = "Shape cannot be rendered. Only its contour will be visible.";
    const Document doc = DrawingWithUnfillableShapes();
    kxtest::LogCapture log;
    SegmentationOptions goOn;
    goOn.stopAtFirstFailedFill = false;
    SegmenterVisitor visitor(doc, goOn), stopped(doc), real(doc, SegmentationOptions::realSvg());
    EXPECT_EQ(visitor.getFailedFillCount(), 2u);
    EXPECT_EQ(stopped.getFailedFillCount(), 1u);
    EXPECT_EQ(log.messages().front(), message);
    EXPECT_EQ(log.messages().size(), 3u + real.getFailedFillCount());
    // Failed fills keep their outlines, drawn in the fill's paint without a stroke of their own.
    std::vector<std::tuple<std::size_t, bool, bool, std::optional<std::string>>> got;
    for (const auto& p : visitor.getSegmentedPrimitives())
        got.emplace_back(p->points.size(), p->fillFailed, p->triangleIndices.empty(), p->properties.stroke);
    EXPECT_EQ(got, (decltype(got){{2, false, true, {}}, {5, true, true, "red"}, {32, false, false, {}},
                                  {4, true, true, "blue"}, {4, false, false, {}}}));
    // The real-SVG preset goes on too; a NaN outline still cannot be filled.
    const auto realPrims = Primitives(real);
    ASSERT_EQ(realPrims.size(), 5u);
    EXPECT_TRUE(visitor.hasError() && real.hasError() && realPrims[3]->fillFailed);
}

TEST(SegmenterVisitor, OptionsReachFlatteningAndFill)
{
    Document doc;
    doc.addChild(Make<Circle>(Vec2(0, 0), 1.0f), true);
    doc.addChild(MakePath("M 0 0 A 10 10 0 0 1 20 0"), true);
    doc.addChild(MakePath("M 0 0 C 0 10 10 10 10 0"), true);
    // Arc pieces and Bezier leaves are separate settings; a tolerance of 1 stops at one leaf.
    auto counts = [&doc](unsigned int circle, unsigned int arc, unsigned int leaves, float tolerance) {
        SegmentationOptions options;
        options.circlePieces = circle;
        options.arcPieces = arc;
        options.bezierMaxLeaves = leaves;
        options.bezierTolerance = tolerance;
        SegmenterVisitor visitor(doc, options);
        std::vector<std::size_t> sizes;
        for (const auto& p : visitor.getSegmentedPrimitives()) sizes.push_back(p->points.size());
        return sizes;
    };
    EXPECT_EQ(counts(8, 4, 2, -0.999f), (std::vector<std::size_t>{8, 5, 4}));
    EXPECT_EQ(counts(5, 2, 6, -0.999f), (std::vector<std::size_t>{5, 3, 8}));
    EXPECT_EQ(counts(32, 32, 32, 1.0f), (std::vector<std::size_t>{32, 33, 3}));

    // The fill rule reaches the fill, with or without crossing resolution: a
    // square in a square of the same direction is a ring under even-odd,
    // whole under non-zero. Without clean-up the straight-through vertex stays.
    Document nested;
    nested.addChild(MakePath("M 0 0 L 10 0 L 10 10 L 0 10 Z M 2 2 L 8 2 L 8 8 L 2 8 Z"), true);
    nested.addChild(MakePath("M 0 0 L 5 0 L 10 0 L 10 10 Z"), true);
    for (bool resolve : {false, true}) {
        SegmentationOptions options;
        options.resolveCrossings = resolve;
        options.cleanupContours = !resolve;
        SegmenterVisitor evenOdd(nested, options);
        options.fillRule = kx::TriangulationFillRule::NonZero;
        SegmenterVisitor nonZero(nested, options);
        EXPECT_EQ(kxtest::FillArea(*Primitives(evenOdd)[0]), 64.0);
        EXPECT_EQ(kxtest::FillArea(*Primitives(nonZero)[0]), 100.0);
        EXPECT_EQ(Primitives(nonZero)[1]->lineIndices, resolve ? (std::vector<unsigned int>{0, 1, 1, 2, 2, 3, 3, 4})
                                                               : (std::vector<unsigned int>{0, 2, 2, 3, 3, 0}));
    }
}

} // namespace
