// test_bounds.cpp - box operations, item estimates, the estimated box of a tree
// and the tight box.
#include <kx/svg/BoundingBox.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/PathPrimitives.h>
#include <kx/system/kxIoDevice.h>

#include "read/LoadDocument.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using kx::svg::BoundingBox;
using kx::svg::ComputeEstimatedBoundingBox;
using kx::svg::ItemInterface;
using kx::svg::ItemType;
using kx::svg::Node;
using V = Wm4::Vector2<float>;
using M = Wm4::Matrix3<float>;

namespace {

M Translation(float x, float y) { return M(1, 0, x, 0, 1, y, 0, 0, 1); }
M Scale(float s) { return M(s, 0, 0, 0, s, 0, 0, 0, 1); }
M Rotation90() { return M(0, -1, 0, 1, 0, 0, 0, 0, 1); }

std::shared_ptr<kx::svg::Path> MakePath(const std::string& d)
{
    auto path = std::make_shared<kx::svg::Path>();
    std::string error;
    EXPECT_TRUE(kx::svg::ConvertPathStringToCommands(d, path->editCommands(), &error)) << d << ": " << error;
    return path;
}

BoundingBox TreeBox(const ItemInterface& root, bool (*filter)(const ItemInterface&) = nullptr,
                    const M* transform = nullptr)
{
    BoundingBox box(V(-1000, -1000), V(1000, 1000)); // overwritten
    ComputeEstimatedBoundingBox(root, box, filter, transform);
    return box;
}

} // namespace

TEST(BoundingBox, Operations)
{
    BoundingBox box;
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box.getMinPoint(), V(1, 1));
    EXPECT_EQ(box.getMaxPoint(), V(-1, -1));
    EXPECT_EQ(box.getSize(), V(-2, -2));
    EXPECT_EQ(box.getWidth(), -2.0f);
    EXPECT_EQ(box.getHeight(), -2.0f);
    EXPECT_EQ(box.getCenterPoint(), V(0, 0));

    box.expandToContain(V(3, 4));
    EXPECT_TRUE(box.isValid());
    EXPECT_EQ(box, BoundingBox(V(3, 4), V(3, 4)));
    box.expandToContain(V(-1, 10));
    box.expandToContain(V(2, 5));
    EXPECT_EQ(box, BoundingBox(V(-1, 4), V(3, 10)));
    EXPECT_EQ(box.getSize(), V(4, 6));
    EXPECT_EQ(box.getCenterPoint(), V(1, 7));

    box.addMargin(V(1, 2));
    EXPECT_EQ(box, BoundingBox(V(-2, 2), V(4, 12)));
    box.translate(V(10, -2));
    EXPECT_EQ(box, BoundingBox(V(8, 0), V(14, 10)));
    EXPECT_EQ(box.getWidth(), 6.0f);
    EXPECT_EQ(box.getHeight(), 10.0f);

    // Merging: an empty box becomes a copy of the other, even of an empty one.
    BoundingBox empty;
    empty.expandToContain(BoundingBox(V(5, 5), V(10, 10)));
    EXPECT_EQ(empty, BoundingBox(V(5, 5), V(10, 10)));
    BoundingBox stillEmpty;
    stillEmpty.expandToContain(BoundingBox(V(7, 7), V(2, 2)));
    EXPECT_EQ(stillEmpty, BoundingBox(V(7, 7), V(2, 2)));

    // The other box is not checked: an empty one pulls the corners to (1,1) and (-1,-1).
    BoundingBox valid(V(5, 5), V(10, 10));
    valid.expandToContain(BoundingBox());
    EXPECT_EQ(valid, BoundingBox(V(1, 1), V(10, 10)));
    BoundingBox negative(V(-10, -10), V(-5, -5));
    negative.expandToContain(BoundingBox());
    EXPECT_EQ(negative, BoundingBox(V(-10, -10), V(-1, -1)));
    BoundingBox merged(V(0, 0), V(1, 1));
    merged.expandToContain(BoundingBox(V(-3, 2), V(0.5f, 7)));
    EXPECT_EQ(merged, BoundingBox(V(-3, 0), V(1, 7)));

    // A single point and a degenerate line are valid; one inverted axis is not.
    EXPECT_TRUE(BoundingBox(V(2, 2), V(2, 2)).isValid());
    EXPECT_TRUE(BoundingBox(V(0, 2), V(5, 2)).isValid());
    EXPECT_FALSE(BoundingBox(V(0, 2), V(5, 1)).isValid());
}

TEST(BoundingBox, ItemsWithoutExtentLeaveTheBox)
{
    // Groups, documents and texts have no extent of their own.
    BoundingBox untouched(V(1, 2), V(3, 4));
    Node group;
    EXPECT_FALSE(group.computeEstimatedBoundingVolume(untouched, M::IDENTITY));
    kx::svg::Document document;
    EXPECT_FALSE(document.computeEstimatedBoundingVolume(untouched, M::IDENTITY));
    kx::svg::Text text(V(5, 5), "hello");
    EXPECT_FALSE(text.computeEstimatedBoundingVolume(untouched, M::IDENTITY));
    EXPECT_EQ(untouched, BoundingBox(V(1, 2), V(3, 4)));
    // A path without commands reports success and leaves the box as passed.
    EXPECT_TRUE(kx::svg::Path().computeEstimatedBoundingVolume(untouched, M::IDENTITY));
    EXPECT_EQ(untouched, BoundingBox(V(1, 2), V(3, 4)));
}

TEST(BoundingBox, TreeWalkComposesTransformsAndFilters)
{
    // Parent x child: the child's own transform acts first.
    Node root;
    auto scaled = std::make_shared<Node>();
    scaled->editTransform() = Scale(2);
    auto line = std::make_shared<kx::svg::Line>(V(0, 0), V(1, 1));
    line->editTransform() = Translation(10, 0);
    scaled->addChild(line, true);
    root.addChild(scaled, true);
    EXPECT_EQ(TreeBox(root), BoundingBox(V(20, 0), V(22, 2)));

    // A sibling after the transformed group sees the root's matrix again.
    root.addChild(std::make_shared<kx::svg::Circle>(V(0, 0), 1), true);
    EXPECT_EQ(TreeBox(root), BoundingBox(V(-1, -1), V(22, 2)));

    // A starting matrix acts outermost; the root's own transform is used as well.
    const M start = Translation(0, 100);
    EXPECT_EQ(TreeBox(root, nullptr, &start), BoundingBox(V(-1, 99), V(22, 102)));
    root.editTransform() = Scale(0.5f);
    EXPECT_EQ(TreeBox(root, nullptr, &start), BoundingBox(V(-1, 99), V(11, 101)));
    root.editTransform().reset();

    // A filtered group contributes nothing, and neither do its children.
    auto skipGroups = [](const ItemInterface& item) { return item.getType() == ItemType::Node && item.getTransform(); };
    EXPECT_EQ(TreeBox(root, skipGroups), BoundingBox(V(-1, -1), V(1, 1)));
    auto skipAll = [](const ItemInterface&) { return true; };
    EXPECT_EQ(TreeBox(root, skipAll), BoundingBox());
    // Empty handles among the children are ignored.
    root.editChildren().push_back(nullptr);
    EXPECT_EQ(TreeBox(root), BoundingBox(V(-1, -1), V(22, 2)));
    // A leaf can be the root.
    EXPECT_EQ(TreeBox(*line), BoundingBox(V(10, 0), V(11, 1)));
}

TEST(BoundingBox, DocumentViewboxFromContent)
{
    kx::svg::Document empty;
    empty.computeEstimatedViewboxFromContent();
    ASSERT_TRUE(empty.getViewbox().has_value());
    EXPECT_EQ(*empty.getViewbox(), BoundingBox(V(1, 1), V(-1, -1)));

    kx::svg::Document document;
    document.addChild(std::make_shared<kx::svg::Rect>(V(2, 3), V(4, 5)), true);
    auto group = std::make_shared<Node>();
    group->editTransform() = Translation(-10, 0);
    group->addChild(std::make_shared<kx::svg::Line>(V(0, 0), V(1, 1)), true);
    document.addChild(group, true);
    document.addChild(std::make_shared<kx::svg::Text>(V(100, 100), "not measured"), true);
    document.editViewbox() = BoundingBox(V(0, 0), V(1000, 1000));
    document.computeEstimatedViewboxFromContent();
    ASSERT_TRUE(document.getViewbox().has_value());
    EXPECT_EQ(*document.getViewbox(), BoundingBox(V(-10, 0), V(6, 8)));
}

// ---------------------------------------------------------------- tight box

namespace {

// The extent of points evaluated in double precision, by this test's own
// dense flattening: 10,000 pieces per curve, arc or circle.
struct DenseExtent {
    double min[2] = {INFINITY, INFINITY};
    double max[2] = {-INFINITY, -INFINITY};
    std::vector<std::array<double, 2>> points;
    M m = M::IDENTITY;

    void add(double x, double y)
    {
        const std::array<double, 2> p{m(0, 0) * x + m(0, 1) * y + m(0, 2), m(1, 0) * x + m(1, 1) * y + m(1, 2)};
        points.push_back(p);
        for (int i = 0; i < 2; ++i) {
            min[i] = std::min(min[i], p[i]);
            max[i] = std::max(max[i], p[i]);
        }
    }
    // Centre (cx, cy), radii, rotation phi, from angle a over sweep d.
    void ellipse(double cx, double cy, double rx, double ry, double phi, double a, double d)
    {
        for (int i = 0; i <= 10000; ++i) {
            const double t = a + d * i / 10000.0;
            const double ex = rx * std::cos(t), ey = ry * std::sin(t);
            add(cx + ex * std::cos(phi) - ey * std::sin(phi), cy + ex * std::sin(phi) + ey * std::cos(phi));
        }
    }
};

void Flatten(const ItemInterface& item, DenseExtent& dense)
{
    if (auto line = dynamic_cast<const kx::svg::Line*>(&item)) {
        dense.add(line->getStart().X(), line->getStart().Y());
        dense.add(line->getEnd().X(), line->getEnd().Y());
    } else if (auto circle = dynamic_cast<const kx::svg::Circle*>(&item)) {
        dense.ellipse(circle->getCenter().X(), circle->getCenter().Y(), circle->getRadius(), circle->getRadius(), 0,
                      0, 2 * M_PI);
    } else if (auto rect = dynamic_cast<const kx::svg::Rect*>(&item)) {
        // Corner radii as SVG completes and clamps them.
        const double x = rect->getPosition().X(), y = rect->getPosition().Y();
        const double w = rect->getSize().X(), h = rect->getSize().Y();
        const double rx = std::min<double>(rect->getRx() > 0 ? rect->getRx() : rect->getRy(), w / 2);
        const double ry = std::min<double>(rect->getRy() > 0 ? rect->getRy() : rect->getRx(), h / 2);
        dense.ellipse(x + w - rx, y + h - ry, rx, ry, 0, 0, M_PI / 2);
        dense.ellipse(x + rx, y + h - ry, rx, ry, 0, M_PI / 2, M_PI / 2);
        dense.ellipse(x + rx, y + ry, rx, ry, 0, M_PI, M_PI / 2);
        dense.ellipse(x + w - rx, y + ry, rx, ry, 0, 1.5 * M_PI, M_PI / 2);
    } else if (auto path = dynamic_cast<const kx::svg::Path*>(&item)) {
        kx::svg::PathVisitorCommandsToPrimitives visitor(
            path->getCommands(), [&dense](std::unique_ptr<kx::svg::PathPrimitive>& primitive, bool) {
                if (auto l = dynamic_cast<const kx::svg::PathLine*>(primitive.get())) {
                    dense.add(l->getStart().X(), l->getStart().Y());
                    dense.add(l->getEnd().X(), l->getEnd().Y());
                } else if (auto c = dynamic_cast<const kx::svg::PathBezierCubic*>(primitive.get())) {
                    const V* p = c->getCurve().GetControlPoints();
                    for (int i = 0; i <= 10000; ++i) {
                        const double t = i / 10000.0, s = 1 - t;
                        const double b[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
                        dense.add(b[0] * p[0].X() + b[1] * p[1].X() + b[2] * p[2].X() + b[3] * p[3].X(),
                                  b[0] * p[0].Y() + b[1] * p[1].Y() + b[2] * p[2].Y() + b[3] * p[3].Y());
                    }
                } else if (auto a = dynamic_cast<const kx::svg::PathEllipticalArc*>(primitive.get())) {
                    dense.add(a->getStart().X(), a->getStart().Y());
                    dense.add(a->getEnd().X(), a->getEnd().Y());
                    // Drawn in centre form unless degenerate (then a straight line).
                    if (!a->isStartEqualEnd() && a->getRadii().X() >= 0.01f && a->getRadii().Y() >= 0.01f)
                        dense.ellipse(a->getCenter().X(), a->getCenter().Y(), a->getRadii().X(), a->getRadii().Y(),
                                      a->getRotation() * 0.017453292f, a->getStartAngle(), a->getDeltaAngle());
                }
            });
        visitor.visit();
    }
}

std::shared_ptr<kx::svg::Rect> MakeRect(float x, float y, float w, float h, float rx, float ry)
{
    auto rect = std::make_shared<kx::svg::Rect>(V(x, y), V(w, h));
    rect->editRx() = rx;
    rect->editRy() = ry;
    return rect;
}

} // namespace

TEST(TightBox, EveryShapeKindMatchesADenseFlatteningUnderAnyTransform)
{
    std::vector<std::shared_ptr<ItemInterface>> shapes{
        std::make_shared<kx::svg::Line>(V(3, 9), V(-1, 4)),
        MakeRect(1, 2, 30, 10, 0, 0),
        MakeRect(1, 2, 30, 10, 4, 0),   // ry takes rx
        MakeRect(-5, 0, 12, 30, 40, 3), // rx clamped to half the width
        std::make_shared<kx::svg::Circle>(V(5, -3), 7),
        std::make_shared<kx::svg::Circle>(V(2, 2), 0),
        MakePath("M 10 20 C 40 -30 -20 60 50 10"),        // turns in x and y
        MakePath("M 0 0 C 30 30 -10 30 20 0 S 0 -40 5 5"), // loop, then a smooth curve
        MakePath("M 5 5 C 5 5 5 5 5 5 M 0 0 C 20 0 -10 0 10 0"), // a point; a line doubling back
        MakePath("M 0 0 C 10 20 20 20 30 0 L 10 5 Z"),     // no cubic term in y
        MakePath("M 1 1 A 5 5 0 0 1 1 1 M 0 0 A 0.001 5 0 0 1 10 10"), // ends equal; radius too small
        MakePath("M 0 0 A 1 1 0 0 1 10 0"),                 // radii too small for the chord
        MakePath("M 0 -10 A 10 10 0 1 1 -0.1 -10"),         // nearly a whole turn
    };
    // Arcs starting in each quadrant of a rotated ellipse, in both directions.
    for (int q = 0; q < 4; ++q) {
        for (int sweep = 0; sweep < 2; ++sweep) {
            const double a0 = (q * 90 + 20) * M_PI / 180, a1 = a0 + (sweep ? 1.9 : -1.9);
            auto at = [](double a) { return std::to_string(7 * std::cos(a)) + " " + std::to_string(3 * std::sin(a)); };
            shapes.push_back(MakePath("M " + at(a0) + " A 7 3 0 0 " + std::to_string(sweep) + " " + at(a1)));
            shapes.back()->editTransform() = M(0.9659258f, -0.2588190f, 0, 0.2588190f, 0.9659258f, 0, 0, 0, 1);
        }
    }
    const float c = std::cos(0.5f), s = std::sin(0.5f);
    const M transforms[] = {M::IDENTITY, M(c, -s, 3, s, c, -7, 0, 0, 1), M(2, 0.8f, 0, 0, 0.5f, 1, 0, 0, 1),
                            Rotation90() * Translation(0.25f, 100)};
    for (size_t k = 0; k < shapes.size(); ++k) {
        const auto& shape = shapes[k];
        for (const M& m : transforms) {
            SCOPED_TRACE("shape " + std::to_string(k) + ", transform " + std::to_string(&m - transforms));
            DenseExtent dense;
            dense.m = shape->getTransform() ? m * *shape->getTransform() : m;
            Flatten(*shape, dense);
            const kx::svg::TightBoxResult tight = kx::svg::ComputeTightBoundingBox(*shape, nullptr, &m);
            ASSERT_TRUE(tight.box.isValid());
            EXPECT_EQ(tight.measuredItems, 1u);
            const double lo[2] = {tight.box.getMinPoint().X(), tight.box.getMinPoint().Y()};
            const double hi[2] = {tight.box.getMaxPoint().X(), tight.box.getMaxPoint().Y()};
            const double size = std::max(dense.max[0] - dense.min[0], dense.max[1] - dense.min[1]);
            for (int i = 0; i < 2; ++i) {
                EXPECT_NEAR(lo[i], dense.min[i], 1e-4 * size + 1e-6) << i;
                EXPECT_NEAR(hi[i], dense.max[i], 1e-4 * size + 1e-6) << i;
            }
            // Containment up to this test's own rounding in double (a sum of four
            // products), which is far below one step between floats.
            size_t outside = 0;
            for (const auto& p : dense.points)
                for (int i = 0; i < 2; ++i) {
                    const double slack = 1e-13 * (1 + std::fabs(p[i]));
                    if (!(p[i] >= lo[i] - slack && p[i] <= hi[i] + slack)) ++outside;
                }
            EXPECT_EQ(outside, 0u);
        }
    }
}

TEST(TightBox, TreeWalkStrokesAndWhatIsNotMeasured)
{
    using kx::svg::ComputeTightBoundingBox;
    kx::svg::TightBoxOptions ink;
    ink.includeStroke = true;

    // A path of cubics alone, which the estimate leaves empty.
    auto cubic = MakePath("M 0 0 C 1 1 2 2 3 3");
    EXPECT_EQ(ComputeTightBoundingBox(*cubic, nullptr, nullptr).box, BoundingBox(V(0, 0), V(3, 3)));
    EXPECT_EQ(TreeBox(*cubic), BoundingBox());

    // Sides that are not floats are rounded outwards.
    const M nudge = Translation(1.0f / (1 << 30), 0);
    EXPECT_EQ(ComputeTightBoundingBox(kx::svg::Line(V(1, 1), V(1, 1)), nullptr, &nudge).box,
              BoundingBox(V(1, 1), V(std::nextafter(1.0f, 2.0f), 1)));
    // Beyond the float range the outer side becomes infinite.
    const M large = Scale(10);
    const float top = std::numeric_limits<float>::max();
    EXPECT_EQ(ComputeTightBoundingBox(kx::svg::Line(V(3e38f, -3e38f), V(3e38f, -3e38f)), nullptr, &large).box,
              BoundingBox(V(top, -INFINITY), V(INFINITY, -top)));

    // Empty content, texts and images: an empty box; texts and images are counted, not guessed.
    kx::svg::Document document;
    kx::svg::TightBoxResult none = ComputeTightBoundingBox(document, nullptr, nullptr);
    EXPECT_FALSE(none.box.isValid());
    EXPECT_EQ(none.measuredItems + none.unmeasuredItems, 0u);
    document.addChild(std::make_shared<kx::svg::Text>(V(100, 100), "text"), true);
    document.addChild(std::make_shared<kx::svg::Image>(), true);
    none = ComputeTightBoundingBox(document, nullptr, nullptr);
    EXPECT_FALSE(none.box.isValid());
    EXPECT_EQ(none.unmeasuredItems, 2u);

    // The filter and the starting transform work as for the estimate.
    auto group = std::make_shared<Node>();
    group->editTransform() = M(2, 0, 0, 0, 3, 0, 0, 0, 1);
    group->addChild(MakeRect(0, 0, 10, 10, 0, 0), true);
    document.addChild(group, true);
    auto skipGroups = [](const ItemInterface& item) { return item.getType() == ItemType::Node; };
    EXPECT_FALSE(ComputeTightBoundingBox(document, skipGroups, nullptr).box.isValid());
    const M start = Translation(0, 100);
    EXPECT_EQ(ComputeTightBoundingBox(document, nullptr, &start).box, BoundingBox(V(0, 100), V(20, 130)));
}

// ---------------------------------------------------------------- golden cases
// tests/data/bounds/<case>.svg is loaded and every item, depth first, is
// listed with the estimated box of its subtree, its tight box (with the
// measured and unmeasured item counts) and its tight box with strokes;
// <case>.out holds the expected text. KXSVG_REGENERATE=1 rewrites them.

namespace {

std::string BoxText(const BoundingBox& box)
{
    char text[128];
    std::snprintf(text, sizeof text, "(%.9g %.9g)-(%.9g %.9g)", double(box.getMinPoint().X()),
                  double(box.getMinPoint().Y()), double(box.getMaxPoint().X()), double(box.getMaxPoint().Y()));
    return text;
}

void ListBoxes(const ItemInterface& item, int depth, std::string& out)
{
    BoundingBox estimate;
    ComputeEstimatedBoundingBox(item, estimate, nullptr, nullptr);
    kx::svg::TightBoxOptions ink;
    ink.includeStroke = true;
    const kx::svg::TightBoxResult tight = kx::svg::ComputeTightBoundingBox(item, nullptr, nullptr);
    const kx::svg::TightBoxResult inked = kx::svg::ComputeTightBoundingBox(item, nullptr, nullptr, ink);
    out += std::string(2 * size_t(depth), ' ') + item.getId().value_or("-") + ": estimate " + BoxText(estimate) +
           ", tight " + BoxText(tight.box) + " " + std::to_string(tight.measuredItems) + "/" +
           std::to_string(tight.unmeasuredItems) + ", ink " + BoxText(inked.box) + "\n";
    if (const auto* node = dynamic_cast<const Node*>(&item))
        for (const auto& child : node->getChildren())
            if (child) ListBoxes(*child, depth + 1, out);
}

} // namespace

TEST(BoundsGolden, Cases)
{
    const std::vector<std::string> files = kxtest::listSvgFiles(std::string(KXSVG_TEST_DATA_DIR) + "/bounds");
    ASSERT_FALSE(files.empty());
    for (const std::string& file : files) {
        std::string input, out;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        const kxtest::Loaded loaded = kxtest::LoadText(input);
        ASSERT_TRUE(loaded.ok && loaded.root) << file;
        ListBoxes(*loaded.root, 0, out);
        kxtest::ExpectGolden(out, file.substr(0, file.size() - 4) + ".out");
    }
}
