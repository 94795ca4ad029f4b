// BoundingBox.h - axis-aligned boxes and estimated extents of items.
#ifndef KX_SVG_BOUNDINGBOX_H
#define KX_SVG_BOUNDINGBOX_H

#include <kx/svg/Export.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <cstddef>

namespace kx {
namespace svg {

class ItemInterface;

/// An axis-aligned box given by its minimum and maximum corners. The empty
/// box is minimum (1, 1), maximum (-1, -1): any box whose maximum lies below
/// its minimum on an axis is empty.
class KXSVG_API BoundingBox {
public:
    /// The empty box.
    BoundingBox() : m_min(1.0f, 1.0f), m_max(-1.0f, -1.0f) {}
    BoundingBox(const Wm4::Vector2<float>& minPoint, const Wm4::Vector2<float>& maxPoint)
        : m_min(minPoint), m_max(maxPoint)
    {
    }

    /// max >= min on both axes (a single point is valid).
    bool isValid() const { return m_max.X() >= m_min.X() && m_max.Y() >= m_min.Y(); }

    /// An empty box becomes the point `p`; a valid box grows to contain it.
    void expandToContain(const Wm4::Vector2<float>& p);
    /// An empty box becomes a copy of `other`; a valid box takes the componentwise
    /// minimum and maximum of both boxes' corners. `other` is deliberately not
    /// checked, so merging an empty box pulls the corners towards (1, 1) and (-1, -1).
    void expandToContain(const BoundingBox& other);
    void addMargin(const Wm4::Vector2<float>& margin);
    void translate(const Wm4::Vector2<float>& offset);

    const Wm4::Vector2<float>& getMinPoint() const { return m_min; }
    const Wm4::Vector2<float>& getMaxPoint() const { return m_max; }
    Wm4::Vector2<float> getSize() const { return m_max - m_min; }
    float getWidth() const { return m_max.X() - m_min.X(); }
    float getHeight() const { return m_max.Y() - m_min.Y(); }
    Wm4::Vector2<float> getCenterPoint() const { return m_min + (m_max - m_min) * 0.5f; }

    bool operator==(const BoundingBox& o) const { return m_min == o.m_min && m_max == o.m_max; }
    bool operator!=(const BoundingBox& o) const { return !(*this == o); }

private:
    Wm4::Vector2<float> m_min;
    Wm4::Vector2<float> m_max;
};

/// Resets `box` and fills it with the union of the estimated boxes of `root`
/// and its descendants, under their composed transforms (starting from
/// `*transform`, or the identity when null). Items for which `filter` (may be
/// null) returns true are skipped with their whole subtree.
KXSVG_API void ComputeEstimatedBoundingBox(const ItemInterface& root, BoundingBox& box,
                                           bool (*filter)(const ItemInterface&),
                                           const Wm4::Matrix3<float>* transform);

/// Choices of `ComputeTightBoundingBox`.
struct KXSVG_API TightBoxOptions {
    /// Measure the ink instead of the geometry: every item whose cascaded
    /// presentation attributes draw a stroke (`RenderingProperties::hasStroke`)
    /// is widened by half its cascaded stroke width (1 when not given), scaled
    /// by the item's transform (unscaled with "non-scaling-stroke"). Where the
    /// stroke can reach further than half its width, the margin is widened
    /// conservatively: by the miter limit 4 for miter joins (the default join)
    /// of paths, by sqrt(2) for square caps and for the sharp corners of
    /// rectangles (whose joins stay within that under any transform, except
    /// with "non-scaling-stroke", where the miter limit applies again).
    bool includeStroke = false;
};

/// What `ComputeTightBoundingBox` measured.
struct KXSVG_API TightBoxResult {
    /// The extent in target coordinates; the empty box when nothing was measured.
    BoundingBox box;
    /// Lines, rectangles, circles and paths that were measured.
    std::size_t measuredItems = 0;
    /// Texts, images and items of unknown classes: their extent is not known
    /// here, so they are counted instead of guessed and are not in `box`.
    std::size_t unmeasuredItems = 0;
};

/// The exact extent of the geometry of `root` and its descendants, walked and
/// transformed as `ComputeEstimatedBoundingBox` does (same `filter` and
/// `transform` arguments), but measuring each shape through its composed
/// transform: lines and rectangles by their corners (corner radii included,
/// completed and clamped as SVG does), circles as the ellipses the transform
/// makes of them, cubic curves at their ends and at the zeros of their
/// derivative, elliptical arcs at their ends and at the angles where x or y is
/// extreme. Arcs are measured as the library draws them: radii too small for
/// their chord are not enlarged, and arcs with a radius below 0.01 are
/// straight lines. Rounded rectangles are measured rounded, as SVG draws them,
/// although `SegmentRect` draws their sharp corners. Computed in double
/// precision from the float inputs and rounded outwards to float, so the box
/// contains the whole shape; sides beyond the float range become infinite.
/// Never throws for any tree; NaN coordinates are skipped, and a group met
/// again through a cycle in the tree is not walked twice.
KXSVG_API TightBoxResult ComputeTightBoundingBox(const ItemInterface& root, bool (*filter)(const ItemInterface&),
                                                 const Wm4::Matrix3<float>* transform,
                                                 const TightBoxOptions& options = TightBoxOptions());

} // namespace svg
} // namespace kx

#endif
