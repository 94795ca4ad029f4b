// TightBoundingBox.cpp - the exact (tight) box of an item tree, optionally
// widened by the strokes for the ink box.
#include <kx/svg/BoundingBox.h>

#include <kx/svg/Items.h>
#include <kx/svg/PathPrimitives.h>
#include <kx/svg/Segmentation.h>

#include "TightExtent.h"

#include <cmath>
#include <list>
#include <vector>

namespace kx {
namespace svg {

namespace {

// Stroke width when a stroke is drawn but its width is not given.
constexpr double kDefaultStrokeWidth = 1.0;
// SVG's default miter limit, which this library does not let a drawing change:
// a miter join reaches at most this many half widths from its vertex.
constexpr double kMiterLimit = 4.0;
// A square cap, or a miter join of a right angle, reaches sqrt(2) half widths.
constexpr double kSquareReach = 1.4142135623730951;

template <class T>
const T* As(const ItemInterface& item)
{
    return dynamic_cast<const T*>(&item);
}

// How far, in half stroke widths, the stroke of this kind of shape can reach
// from its geometry. Circles and rounded rectangles have no corners; lines
// have no joins; rectangles' sharp corners are right angles in their own
// coordinates, which non-scaling strokes are not drawn in.
double StrokeReach(ItemType type, bool roundedRect, const RenderingProperties& props, bool nonScaling)
{
    const LineJoin join = props.strokeLinejoin.value_or(LineJoin::Miter);
    const bool mitered = join == LineJoin::Miter || join == LineJoin::MiterClip || join == LineJoin::Arcs;
    const bool squareCaps = props.strokeLinecap.value_or(LineCap::Butt) == LineCap::Square;
    switch (type) {
    case ItemType::Line:
        return squareCaps ? kSquareReach : 1.0;
    case ItemType::Rect:
        if (roundedRect || !mitered) return 1.0;
        return nonScaling ? kMiterLimit : kSquareReach;
    case ItemType::Path:
        return mitered ? kMiterLimit : (squareCaps ? kSquareReach : 1.0);
    default:
        return 1.0;
    }
}

// Measures one shape; returns false for items whose extent is not known here.
bool MeasureItem(const ItemInterface& item, const Wm4::Matrix3<float>& transform, const RenderingProperties* props,
                 impl::Extent2d& result)
{
    const impl::AffineMap2d map(transform);
    impl::Extent2d extent;
    bool roundedRect = false;
    switch (item.getType()) {
    case ItemType::Line:
        if (const Line* line = As<Line>(item)) {
            impl::AddLineExtent(extent, *line, map);
            break;
        }
        return false;
    case ItemType::Rect:
        if (const Rect* rect = As<Rect>(item)) {
            roundedRect = impl::AddRectExtent(extent, *rect, map);
            break;
        }
        return false;
    case ItemType::Circle:
        if (const Circle* circle = As<Circle>(item)) {
            impl::AddCircleExtent(extent, *circle, map);
            break;
        }
        return false;
    case ItemType::Path:
        if (const Path* path = As<Path>(item)) {
            PathVisitorCommandsToPrimitives visitor(
                path->getCommands(), [&extent, &map](std::unique_ptr<PathPrimitive>& primitive, bool) {
                    if (primitive) impl::AddPathPrimitiveExtent(extent, *primitive, map);
                });
            visitor.visit();
            break;
        }
        return false;
    default:
        return false;
    }

    if (props && props->hasStroke()) {
        const bool nonScaling = (props->vectorEffect.value_or(0) & NonScalingStroke) != 0;
        const double width = props->strokeWidth ? double(*props->strokeWidth) : kDefaultStrokeWidth;
        const double halfWidth = 0.5 * std::fabs(width);
        const double reach = halfWidth * StrokeReach(item.getType(), roundedRect, *props, nonScaling);
        // The pen is a disc in the item's coordinates: the transform makes it an
        // ellipse whose half extent along x is the length of the matrix's first
        // row times the radius (and the second row for y).
        const double scaleX = nonScaling ? 1.0 : std::hypot(map.m00, map.m01);
        const double scaleY = nonScaling ? 1.0 : std::hypot(map.m10, map.m11);
        extent.addMargin(reach * scaleX, reach * scaleY);
    }
    result.add(extent);
    return true;
}

// Gives access to the segmenter's tree walk, which skips cycles and needs no recursion.
class TightBoxWalker : public VisitorBase<const ItemInterface> {
public:
    using VisitorBase<const ItemInterface>::walkChildren;
};

} // namespace

TightBoxResult ComputeTightBoundingBox(const ItemInterface& root, bool (*filter)(const ItemInterface&),
                                       const Wm4::Matrix3<float>* transform, const TightBoxOptions& options)
{
    TightBoxResult result;
    impl::Extent2d extent;
    // Matrices compose parent x child in float, as the estimate and the segmenter do.
    std::vector<Wm4::Matrix3<float>> matrices{transform ? *transform : Wm4::Matrix3<float>::IDENTITY};
    // Cascaded presentation attributes, only needed for the strokes.
    std::list<RenderingProperties> properties(1);
    struct Level {
        bool pushedTransform;
        bool pushedProperties;
    };
    std::vector<Level> levels;

    auto measure = [&](const ItemInterface& item) {
        const Wm4::Matrix3<float> composed =
            item.getTransform() ? matrices.back() * *item.getTransform() : matrices.back();
        const RenderingProperties* props = nullptr;
        RenderingProperties cascaded;
        if (options.includeStroke) {
            cascaded = item.getRenderingProperties();
            cascaded.cascadeParent(properties.back());
            props = &cascaded;
        }
        if (MeasureItem(item, composed, props, extent))
            ++result.measuredItems;
        else
            ++result.unmeasuredItems;
    };
    auto enterGroup = [&](const Node& group) {
        Level level{false, false};
        if (group.getTransform()) {
            matrices.push_back(matrices.back() * *group.getTransform());
            level.pushedTransform = true;
        }
        if (options.includeStroke) {
            RenderingProperties groupProps = group.getRenderingProperties();
            groupProps.cascadeParent(properties.back());
            properties.push_back(std::move(groupProps));
            level.pushedProperties = true;
        }
        levels.push_back(level);
    };

    if (filter && filter(root)) return result;
    const Node* rootGroup = As<Node>(root);
    if (!rootGroup) {
        measure(root);
    } else {
        enterGroup(*rootGroup);
        TightBoxWalker::walkChildren(
            *rootGroup,
            [&](const ItemInterface& item, const Node* group) -> bool {
                if (filter && filter(item)) return false;
                if (!group) {
                    measure(item);
                    return false;
                }
                enterGroup(*group);
                return true;
            },
            [&](const Node&) {
                const Level level = levels.back();
                levels.pop_back();
                if (level.pushedTransform) matrices.pop_back();
                if (level.pushedProperties) properties.pop_back();
            });
    }
    result.box = extent.toOutwardBox();
    return result;
}

} // namespace svg
} // namespace kx
