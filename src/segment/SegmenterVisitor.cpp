// SegmenterVisitor.cpp - flattens a whole item tree with composed transforms
// and cascaded presentation attributes.
#include <kx/svg/Segmentation.h>

#include "segment/CascadedWalk.h"
#include "segment/SegmentationCommon.h"
#include "segment/StrokeMesh.h"

namespace kx {
namespace svg {

namespace {

template <class T>
const T* As(const ItemInterface& item)
{
    return dynamic_cast<const T*>(&item);
}

} // namespace

SegmenterVisitor::SegmenterVisitor(const Node& root) : SegmenterVisitor(root, SegmentationOptions()) {}

SegmenterVisitor::SegmenterVisitor(const Node& root, const SegmentationOptions& options)
    : m_options(options),
      m_callback([this](const ItemInterface& item, const Wm4::Matrix3<float>& transform,
                        const RenderingProperties& props) { return segmentObject(item, transform, props); }),
      m_transforms{Wm4::Matrix3<float>::IDENTITY}
{
    // The walk composes the transforms and cascades the attributes; it is
    // shared with ForEachItem so that both see the same values.
    impl::CascadedWalk::run(root, [&](const ItemInterface& item, const Node* group,
                                      const Wm4::Matrix3<float>& transform, const RenderingProperties& props) {
        if (group) return true;
        // When asked to stop at the first failure, nothing more is segmented
        // after it, but the walk still runs to its end.
        if (m_error && m_options.stopAtFirstFailedFill) return false;
        if (!m_callback(item, transform, props)) m_error = true;
        return false;
    });
}

SegmenterVisitor::~SegmenterVisitor() = default;

bool SegmenterVisitor::segmentObject(const ItemInterface& item, const Wm4::Matrix3<float>& transform,
                                     const RenderingProperties& props)
{
    bool fillFailed = false;
    std::shared_ptr<SegmentedPrimitive> primitive;
    switch (item.getType()) {
    case ItemType::Line:
        if (const Line* line = As<Line>(item)) {
            primitive = SegmentLine(*line, &transform, &props);
            // Lines are never filled, so they skip the contour path that strokes the other shapes.
            if (primitive && m_options.strokeMeshes)
                impl::AttachStrokeMesh({line->getStart(), line->getEnd()}, {0u, 1u}, nullptr, &transform, &props,
                                       m_options, *primitive);
        }
        break;
    case ItemType::Rect:
        if (const Rect* rect = As<Rect>(item))
            primitive = impl::SegmentRect(*rect, &transform, &props, m_options, &fillFailed);
        break;
    case ItemType::Circle:
        if (const Circle* circle = As<Circle>(item))
            primitive = impl::SegmentCircle(*circle, &transform, &props, m_options, &fillFailed);
        break;
    case ItemType::Path:
        if (const Path* path = As<Path>(item))
            primitive = impl::SegmentPath(*path, &transform, &props, &m_workspace, m_options, &fillFailed);
        break;
    default:
        break;
    }
    if (!primitive) return true;

    primitive->properties = props;
    m_primitives.push_back(primitive);
    if (!fillFailed) return true;
    ++m_failedFills;
    // An outline that cannot be filled is at least drawn: in the fill's paint
    // when the item has no stroke of its own.
    if (!primitive->properties.hasStroke()) primitive->properties.stroke = primitive->properties.fill;
    return false;
}

} // namespace svg
} // namespace kx
