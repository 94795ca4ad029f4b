// Segment.cpp - one primitive per drawable item, with its item and world
// transform, going on past fills that fail.
#include <kx/svg/Segmentation.h>
#include <kx/svg/Simple.h>

#include "segment/CascadedWalk.h"

namespace kx {
namespace svg {

SegmentResult Segment(const Node& node, const SegmentationOptions& options)
{
    SegmentResult result;
    // The visitor segments each item with the options; the walk is the one
    // the visitor itself runs, so the world transforms and cascaded
    // attributes here are the visitor's own. Its root is empty: the items
    // come from the walk below, one at a time.
    const Node nothing;
    SegmenterVisitor segmenter(nothing, options);
    SegmenterVisitor::Primitives& made = segmenter.getSegmentedPrimitives();
    bool stopped = false;
    impl::CascadedWalk::run(node, [&](const ItemInterface& item, const Node* group,
                                      const Wm4::Matrix3<float>& world, const RenderingProperties& props) {
        if (group) return true;
        if (stopped) return false;
        const bool filled = segmenter.segmentObject(item, world, props);
        for (const std::shared_ptr<SegmentedPrimitive>& primitive : made) {
            SegmentedItem entry;
            entry.primitive = std::move(*primitive);
            entry.item = &item;
            entry.worldTransform = world;
            if (!filled) entry.primitive.fillFailed = true;
            result.items.push_back(std::move(entry));
        }
        made.clear();
        if (!filled) {
            ++result.failedFills;
            stopped = options.stopAtFirstFailedFill;
        }
        return false;
    });
    return result;
}

} // namespace svg
} // namespace kx
