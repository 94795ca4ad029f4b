// Tests of SegmentedPrimitive: FromContour (fill decision, clean-up,
// triangulation, failure message, transform) and its move operations. The
// corpus fills are checked against their outlines in test_corpus.
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/system/kxLog.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using kx::svg::RenderingProperties;
using kx::svg::SegmentedPrimitive;
using Point = Wm4::Vector2<float>;
using Indices = std::vector<unsigned int>;

const char* const kFailMessage = "Shape cannot be rendered. Only its contour will be visible.";

double triangleArea(const std::vector<Point>& pts, const Indices& tri) {
    double area = 0;
    for (std::size_t t = 0; t + 2 < tri.size(); t += 3) {
        const Point& a = pts[tri[t]];
        const Point& b = pts[tri[t + 1]];
        const Point& c = pts[tri[t + 2]];
        area += 0.5 * ((double(b.X()) - a.X()) * (double(c.Y()) - a.Y()) - (double(b.Y()) - a.Y()) * (double(c.X()) - a.X()));
    }
    return area;
}

Indices closedChain(unsigned int n) {
    Indices idx;
    for (unsigned int i = 0; i < n; ++i) {
        idx.push_back(i);
        idx.push_back((i + 1) % n);
    }
    return idx;
}

} // namespace

TEST(SegmentedPrimitive, FromContourFillsAndCleans) {
    bool failed = true;
    // (5, 0) is a straight-through vertex: dropped from the outline, kept in the point list.
    SegmentedPrimitive p = SegmentedPrimitive::FromContour({Point(0, 0), Point(5, 0), Point(10, 0), Point(10, 10)},
                                                           closedChain(4), nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_EQ(p.lineIndices, (Indices{0, 2, 2, 3, 3, 0}));
    ASSERT_EQ(p.points.size(), 4u);
    EXPECT_EQ(p.points[1].X(), 5.0f);
    EXPECT_EQ(p.triangleIndices.size(), 3u);
    EXPECT_DOUBLE_EQ(triangleArea(p.trianglePoints, p.triangleIndices), 50.0);
    EXPECT_EQ(p.properties, RenderingProperties());

    // A filled square with explicit properties and no flag pointer.
    RenderingProperties red;
    red.fill = "red";
    p = SegmentedPrimitive::FromContour({Point(0, 0), Point(2, 0), Point(2, 2), Point(0, 2)}, closedChain(4), nullptr,
                                        &red, nullptr);
    EXPECT_EQ(p.triangleIndices.size(), 6u);
    EXPECT_DOUBLE_EQ(triangleArea(p.trianglePoints, p.triangleIndices), 4.0);
    // The properties are not copied into the primitive (the visitor fills them in).
    EXPECT_FALSE(p.properties.fill.has_value());
}

TEST(SegmentedPrimitive, FromContourWithoutFill) {
    RenderingProperties none;
    none.fill = "none";
    const Wm4::Matrix3<float> shift(1, 0, 10, 0, 1, 20, 0, 0, 1);
    bool failed = true;
    kxtest::LogCapture log;
    // Not filled: no clean-up (the collinear vertex stays), no triangles, points transformed.
    SegmentedPrimitive p = SegmentedPrimitive::FromContour({Point(0, 0), Point(5, 0), Point(10, 0), Point(10, 10)},
                                                           closedChain(4), &shift, &none, &failed);
    EXPECT_FALSE(failed);
    EXPECT_EQ(p.lineIndices, closedChain(4));
    EXPECT_TRUE(p.trianglePoints.empty());
    EXPECT_TRUE(p.triangleIndices.empty());
    ASSERT_EQ(p.points.size(), 4u);
    EXPECT_EQ(p.points[1].X(), 15.0f);
    EXPECT_EQ(p.points[1].Y(), 20.0f);

    // An odd index count: outline only, no message.
    p = SegmentedPrimitive::FromContour({Point(0, 0), Point(1, 0), Point(1, 1)}, {0, 1, 1}, nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_EQ(p.lineIndices, (Indices{0, 1, 1}));
    EXPECT_TRUE(p.triangleIndices.empty());

    // Nothing at all.
    p = SegmentedPrimitive::FromContour({}, {}, nullptr, nullptr, &failed);
    EXPECT_FALSE(failed);
    EXPECT_TRUE(p.points.empty());
    EXPECT_TRUE(log.entries().empty());
}

TEST(SegmentedPrimitive, FromContourReportsUnfillableShapes) {
    const std::vector<Point> bowtie{Point(0, 0), Point(2, 2), Point(2, 0), Point(0, 2)};
    {
        kxtest::LogCapture log;
        bool failed = false;
        SegmentedPrimitive p = SegmentedPrimitive::FromContour(std::vector<Point>(bowtie), closedChain(4), nullptr,
                                                               nullptr, &failed);
        EXPECT_TRUE(failed);
        EXPECT_EQ(p.lineIndices, closedChain(4));
        EXPECT_EQ(p.points.size(), 4u);
        EXPECT_TRUE(p.trianglePoints.empty());
        EXPECT_TRUE(p.triangleIndices.empty());
        ASSERT_EQ(log.entries().size(), 1u);
        EXPECT_EQ(log.entries()[0].level, 2);
        EXPECT_EQ(log.entries()[0].message, kFailMessage);
        // Without a flag pointer the message still comes.
        p = SegmentedPrimitive::FromContour(std::vector<Point>(bowtie), closedChain(4), nullptr, nullptr, nullptr);
        EXPECT_EQ(log.entries().size(), 2u);
    }
    {
        // With level 2 switched off the flag is still set.
        kxtest::LogCapture log;
        const bool wasEnabled = kxLog::isLevelEnabled(2);
        kxLog::setLevelEnabled(2, false);
        bool failed = false;
        SegmentedPrimitive p = SegmentedPrimitive::FromContour(std::vector<Point>(bowtie), closedChain(4), nullptr,
                                                               nullptr, &failed);
        kxLog::setLevelEnabled(2, wasEnabled);
        EXPECT_TRUE(failed);
        EXPECT_TRUE(log.entries().empty());
    }
}

TEST(SegmentedPrimitive, TransformAppliesAfterTriangulation) {
    // Rotate by 30 degrees, scale by 2 and 3, translate: triangles follow the
    // outline and the area scales by the determinant.
    const float c = std::cos(0.5235988f), s = std::sin(0.5235988f);
    const Wm4::Matrix3<float> m(2 * c, -3 * s, 7, 2 * s, 3 * c, -4, 0, 0, 1);
    const std::vector<Point> outline{Point(0, 0), Point(4, 0), Point(4, 1), Point(1, 1), Point(1, 4), Point(0, 4)};
    SegmentedPrimitive plain =
        SegmentedPrimitive::FromContour(std::vector<Point>(outline), closedChain(6), nullptr, nullptr, nullptr);
    SegmentedPrimitive mapped =
        SegmentedPrimitive::FromContour(std::vector<Point>(outline), closedChain(6), &m, nullptr, nullptr);
    EXPECT_DOUBLE_EQ(triangleArea(plain.trianglePoints, plain.triangleIndices), 7.0);
    EXPECT_EQ(mapped.triangleIndices, plain.triangleIndices);
    EXPECT_NEAR(triangleArea(mapped.trianglePoints, mapped.triangleIndices), 7.0 * 6.0, 1e-4);
    ASSERT_EQ(mapped.points.size(), outline.size());
    for (std::size_t i = 0; i < outline.size(); ++i) {
        EXPECT_EQ(mapped.points[i].X(), m(0, 0) * outline[i].X() + m(0, 1) * outline[i].Y() + m(0, 2));
        EXPECT_EQ(mapped.points[i].Y(), m(1, 0) * outline[i].X() + m(1, 1) * outline[i].Y() + m(1, 2));
    }
    ASSERT_EQ(mapped.trianglePoints.size(), plain.trianglePoints.size());
    for (std::size_t i = 0; i < plain.trianglePoints.size(); ++i) {
        const Point& q = plain.trianglePoints[i];
        EXPECT_EQ(mapped.trianglePoints[i].X(), m(0, 0) * q.X() + m(0, 1) * q.Y() + m(0, 2));
        EXPECT_EQ(mapped.trianglePoints[i].Y(), m(1, 0) * q.X() + m(1, 1) * q.Y() + m(1, 2));
    }
    // The third row is ignored.
    const Wm4::Matrix3<float> odd(1, 0, 0, 0, 1, 0, 5, 6, 7);
    SegmentedPrimitive same =
        SegmentedPrimitive::FromContour(std::vector<Point>(outline), closedChain(6), &odd, nullptr, nullptr);
    EXPECT_EQ(same.points[2].X(), 4.0f);
    EXPECT_EQ(same.points[2].Y(), 1.0f);
}

TEST(SegmentedPrimitive, MovesCarryTheWholeState) {
    SegmentedPrimitive source = SegmentedPrimitive::FromContour({Point(0, 0), Point(1, 0), Point(0, 1)},
                                                                closedChain(3), nullptr, nullptr, nullptr);
    source.properties.fill = "blue";
    source.properties.strokeWidth = 2.5f;
    source.properties.vectorEffect = uint8_t(0);
    const RenderingProperties props = source.properties;

    SegmentedPrimitive moved(std::move(source));
    EXPECT_EQ(moved.points.size(), 3u);
    EXPECT_EQ(moved.lineIndices, closedChain(3));
    EXPECT_EQ(moved.trianglePoints.size(), 3u);
    EXPECT_EQ(moved.triangleIndices.size(), 3u);
    EXPECT_EQ(moved.properties, props);

    // Assigning over a target whose optionals are set: absent fields become absent.
    SegmentedPrimitive target;
    target.properties.opacity = 0.5f;
    target.properties.stroke = "green";
    target.points.emplace_back(9.0f, 9.0f);
    target = std::move(moved);
    EXPECT_EQ(target.properties, props);
    EXPECT_FALSE(target.properties.opacity.has_value());
    EXPECT_FALSE(target.properties.stroke.has_value());
    EXPECT_EQ(target.points.size(), 3u);
    EXPECT_EQ(target.triangleIndices.size(), 3u);

    SegmentedPrimitive empty;
    target = std::move(empty);
    EXPECT_TRUE(target.points.empty());
    EXPECT_TRUE(target.triangleIndices.empty());
    EXPECT_EQ(target.properties, RenderingProperties());
}
