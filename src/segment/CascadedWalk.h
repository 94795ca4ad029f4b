// CascadedWalk.h - the walk of an item tree with composed transforms and
// cascaded presentation attributes, shared by the segmenter and ForEachItem.
#ifndef KX_SVG_SEGMENT_CASCADEDWALK_H
#define KX_SVG_SEGMENT_CASCADEDWALK_H

#include <kx/svg/Segmentation.h>

#include <list>
#include <vector>

namespace kx {
namespace svg {
namespace impl {

/// True when the record has a field that children inherit (everything except
/// vector-effect). A group without one passes its parent's record on as is.
inline bool HasInheritedField(const RenderingProperties& p)
{
    return p.opacity || p.strokeWidth || p.strokeOpacity || p.stroke || p.strokeLinecap || p.strokeLinejoin ||
           p.strokeDasharray || p.className || p.fill || p.fillOpacity;
}

class CascadedWalk : public VisitorBase<const ItemInterface> {
public:
    /// Visits every item below `root` in document order:
    /// `visit(item, group, worldTransform, properties)` with `group` non-null
    /// for groups. For a group, `worldTransform` includes its own transform and
    /// `properties` is the record its children inherit; returning true enters
    /// it. For any other item, `properties` is its own record completed from
    /// its ancestors, and the result is ignored. `root`'s own transform and
    /// attributes apply to everything below it.
    template <class Visit>
    static void run(const Node& root, Visit&& visit)
    {
        // One record per group level whose inherited fields differ from the
        // level above; groups that add nothing share their parent's record,
        // so deep chains of plain groups cost no copies. The same holds for
        // transforms: only groups with a transform of their own push a product.
        std::vector<Wm4::Matrix3<float>> transforms{Wm4::Matrix3<float>::IDENTITY};
        std::list<RenderingProperties> properties(1);
        struct Level {
            bool pushedTransform;
            bool pushedProperties;
        };
        std::vector<Level> levels;

        if (root.getTransform()) transforms.push_back(transforms.back() * *root.getTransform());
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
                        transforms.push_back(transforms.back() * *ownTransform);
                        level.pushedTransform = true;
                    }
                    if (HasInheritedField(group->getRenderingProperties())) {
                        RenderingProperties groupProps = group->getRenderingProperties();
                        groupProps.cascadeParent(properties.back());
                        properties.push_back(std::move(groupProps));
                        level.pushedProperties = true;
                    }
                    levels.push_back(level);
                    if (visit(item, group, transforms.back(), properties.back())) return true;
                    // Not entered: the level is closed at once.
                    closeLevel(levels, transforms, properties);
                    return false;
                }
                RenderingProperties itemProps = item.getRenderingProperties();
                itemProps.cascadeParent(properties.back());
                if (ownTransform)
                    visit(item, nullptr, transforms.back() * *ownTransform, itemProps);
                else
                    visit(item, nullptr, transforms.back(), itemProps);
                return false;
            },
            [&](const Node&) { closeLevel(levels, transforms, properties); });
    }

private:
    template <class Levels>
    static void closeLevel(Levels& levels, std::vector<Wm4::Matrix3<float>>& transforms,
                           std::list<RenderingProperties>& properties)
    {
        const auto level = levels.back();
        levels.pop_back();
        if (level.pushedTransform) transforms.pop_back();
        if (level.pushedProperties) properties.pop_back();
    }
};

} // namespace impl
} // namespace svg
} // namespace kx

#endif
