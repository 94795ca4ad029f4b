// ForEachItem.cpp - the public walk over a tree with world transforms and
// cascaded attributes, and the area of a primitive's fill.
#include <kx/svg/Simple.h>

#include "segment/CascadedWalk.h"

#include <cmath>

namespace kx {
namespace svg {

void ForEachItem(const Node& node, const ItemCallback& callback)
{
    if (!callback) return;
    impl::CascadedWalk::run(node, [&](const ItemInterface& item, const Node* group,
                                      const Wm4::Matrix3<float>& world, const RenderingProperties& props) {
        const bool enter = callback(item, world, props);
        return group && enter;
    });
}

double FillArea(const SegmentedPrimitive& primitive)
{
    const std::vector<Wm4::Vector2<float>>& p = primitive.trianglePoints;
    const std::vector<unsigned int>& t = primitive.triangleIndices;
    double area = 0.0;
    for (std::size_t i = 0; i + 2 < t.size(); i += 3) {
        if (t[i] >= p.size() || t[i + 1] >= p.size() || t[i + 2] >= p.size()) continue;
        const Wm4::Vector2<float>& a = p[t[i]];
        const Wm4::Vector2<float>& b = p[t[i + 1]];
        const Wm4::Vector2<float>& c = p[t[i + 2]];
        area += 0.5 * std::fabs((double(b.X()) - a.X()) * (double(c.Y()) - a.Y()) -
                                (double(b.Y()) - a.Y()) * (double(c.X()) - a.X()));
    }
    return area;
}

} // namespace svg
} // namespace kx
