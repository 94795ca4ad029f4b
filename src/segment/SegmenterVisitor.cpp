// SegmenterVisitor.cpp - flattens a whole item tree with composed transforms
// and cascaded presentation attributes.
#include <kx/svg/Segmentation.h>

#include <vector>

namespace kx {
namespace svg {

namespace {

// Circles are cut into a fixed number of pieces; the tolerance is ignored.
constexpr unsigned int kCirclePoints = 32;
constexpr float kCircleTolerance = 0.1f;
// At most this many leaves per cubic and pieces per arc.
constexpr unsigned int kPathMaxJobs = 32;
// A one-sided piece is split while chord / polygon < 0.999.
constexpr float kPathTolerance = -0.999f;

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

SegmenterVisitor::SegmenterVisitor(const Node& root)
    : m_callback([this](const ItemInterface& item, const Wm4::Matrix3<float>& transform,
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
            // After the first failure nothing more is segmented, but the walk
            // still runs to its end.
            if (m_error) return false;
            RenderingProperties itemProps = item.getRenderingProperties();
            itemProps.cascadeParent(properties.back());
            if (ownTransform) {
                const Wm4::Matrix3<float> composed = m_transforms.back() * *ownTransform;
                m_error = !m_callback(item, composed, itemProps);
            } else {
                m_error = !m_callback(item, m_transforms.back(), itemProps);
            }
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
        if (const Line* line = As<Line>(item)) primitive = SegmentLine(*line, &transform, &props);
        break;
    case ItemType::Rect:
        if (const Rect* rect = As<Rect>(item)) primitive = SegmentRect(*rect, &transform, &props, &fillFailed);
        break;
    case ItemType::Circle:
        if (const Circle* circle = As<Circle>(item))
            primitive = SegmentCircle(*circle, kCirclePoints, kCircleTolerance, &transform, &props, &fillFailed);
        break;
    case ItemType::Path:
        if (const Path* path = As<Path>(item))
            primitive =
                SegmentPath(*path, kPathMaxJobs, kPathTolerance, &transform, &props, &m_workspace, &fillFailed);
        break;
    default:
        break;
    }
    if (!primitive) return true;

    primitive->properties = props;
    m_primitives.push_back(primitive);
    if (!fillFailed) return true;
    // An outline that cannot be filled is at least drawn: in the fill's paint
    // when the item has no stroke of its own.
    if (!primitive->properties.hasStroke()) primitive->properties.stroke = primitive->properties.fill;
    return false;
}

} // namespace svg
} // namespace kx
