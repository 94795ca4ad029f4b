// SegmenterVisitor.cpp - flattens a whole item tree with composed transforms
// and cascaded presentation attributes.
#include <kx/svg/Segmentation.h>

#include "segment/SegmentationCommon.h"
#include "segment/StrokeMesh.h"

#include <vector>

namespace kx {
namespace svg {

namespace {

// True when the record has a field that children inherit (everything except
// vector-effect). A group without one passes its parent's record on as is.
bool HasInheritedField(const RenderingProperties& p)
{
    return p.opacity || p.strokeWidth || p.strokeOpacity || p.stroke || p.strokeLinecap || p.strokeLinejoin ||
           p.strokeDasharray || p.className || p.fill || p.fillOpacity;
}

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
    // One record per group level whose inherited fields differ from the level
    // above; groups that add nothing share their parent's record, so deep
    // chains of plain groups cost no copies. The same holds for transforms:
    // only items with a transform of their own push a product.
    std::list<RenderingProperties> properties(1);
    struct Level {
        bool pushedTransform;
        bool pushedProperties;
    };
    std::vector<Level> levels;

    // The root is the first level: its own transform and properties apply to
    // everything below it.
    if (root.getTransform()) m_transforms.push_back(m_transforms.back() * *root.getTransform());
    if (HasInheritedField(root.getRenderingProperties())) {
        RenderingProperties rootProps = root.getRenderingProperties();
        rootProps.cascadeParent(properties.back());
        properties.push_back(std::move(rootProps));
    }

    walkChildren(
        root,
        [&](const ItemInterface& item, const Node* group) -> bool {
            const auto& ownTransform = item.getTransform();
            if (group) {
                Level level{false, false};
                if (ownTransform) {
                    m_transforms.push_back(m_transforms.back() * *ownTransform);
                    level.pushedTransform = true;
                }
                if (HasInheritedField(group->getRenderingProperties())) {
                    RenderingProperties groupProps = group->getRenderingProperties();
                    groupProps.cascadeParent(properties.back());
                    properties.push_back(std::move(groupProps));
                    level.pushedProperties = true;
                }
                levels.push_back(level);
                return true;
            }
            // When asked to stop at the first failure, nothing more is
            // segmented after it, but the walk still runs to its end.
            if (m_error && m_options.stopAtFirstFailedFill) return false;
            RenderingProperties itemProps = item.getRenderingProperties();
            itemProps.cascadeParent(properties.back());
            bool filled = true;
            if (ownTransform) {
                const Wm4::Matrix3<float> composed = m_transforms.back() * *ownTransform;
                filled = m_callback(item, composed, itemProps);
            } else {
                filled = m_callback(item, m_transforms.back(), itemProps);
            }
            if (!filled) m_error = true;
            return false;
        },
        [&](const Node&) {
            const Level level = levels.back();
            levels.pop_back();
            if (level.pushedTransform) m_transforms.pop_back();
            if (level.pushedProperties) properties.pop_back();
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
