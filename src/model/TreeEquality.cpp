// TreeEquality.cpp - field-by-field comparison of two item trees.
#include <kx/svg/Simple.h>

#include <set>
#include <utility>
#include <vector>

namespace kx {
namespace svg {

namespace {

template <class T>
const T& As(const ItemInterface& item)
{
    return static_cast<const T&>(item);
}

// Everything an item holds except its children.
bool SameFields(const ItemInterface& a, const ItemInterface& b)
{
    if (a.getType() != b.getType() || a.getId() != b.getId() || a.getTransform() != b.getTransform() ||
        !(a.getRenderingProperties() == b.getRenderingProperties()))
        return false;
    switch (a.getType()) {
    case ItemType::Document:
        return As<Document>(a).getViewbox() == As<Document>(b).getViewbox() &&
               As<Document>(a).getStyle() == As<Document>(b).getStyle();
    case ItemType::Node:
        return true;
    case ItemType::Line:
        return As<Line>(a).getStart() == As<Line>(b).getStart() && As<Line>(a).getEnd() == As<Line>(b).getEnd();
    case ItemType::Rect: {
        const Rect& x = As<Rect>(a);
        const Rect& y = As<Rect>(b);
        return x.getPosition() == y.getPosition() && x.getSize() == y.getSize() && x.getRx() == y.getRx() &&
               x.getRy() == y.getRy();
    }
    case ItemType::Circle:
        return As<Circle>(a).getCenter() == As<Circle>(b).getCenter() &&
               As<Circle>(a).getRadius() == As<Circle>(b).getRadius();
    case ItemType::Path:
        return As<Path>(a).getCommands() == As<Path>(b).getCommands();
    case ItemType::Text: {
        const Text& x = As<Text>(a);
        const Text& y = As<Text>(b);
        return x.getPosition() == y.getPosition() && x.getContent() == y.getContent() &&
               x.getFontFamily() == y.getFontFamily() && x.getFontSize() == y.getFontSize() &&
               x.getTextLength() == y.getTextLength() && x.getXmlSpacePreserve() == y.getXmlSpacePreserve() &&
               x.getBold() == y.getBold() && x.getItalic() == y.getItalic() && x.getUnderline() == y.getUnderline();
    }
    case ItemType::Image: {
        const Image& x = As<Image>(a);
        const Image& y = As<Image>(b);
        return x.getPosition() == y.getPosition() && x.getSize() == y.getSize() && x.getHref() == y.getHref() &&
               x.getPreserveAspectRatio() == y.getPreserveAspectRatio();
    }
    }
    return false;
}

} // namespace

bool TreesEqual(const ItemInterface& a, const ItemInterface& b)
{
    // Pairs still to compare, kept on a stack of our own so that trees of any
    // depth are compared without deep recursion. A pair of groups is opened
    // once: a subtree shared by several parents is compared once, and a tree
    // made cyclic through `editChildren` ends instead of looping.
    std::vector<std::pair<const ItemInterface*, const ItemInterface*>> pending{{&a, &b}};
    std::set<std::pair<const ItemInterface*, const ItemInterface*>> openedGroups;
    while (!pending.empty()) {
        const auto [x, y] = pending.back();
        pending.pop_back();
        if (x == y) continue; // the same object holds the same fields
        if (!x || !y || !SameFields(*x, *y)) return false;
        if (x->getType() != ItemType::Node && x->getType() != ItemType::Document) continue;
        if (!openedGroups.emplace(x, y).second) continue;
        const Node::Children& xs = As<Node>(*x).getChildren();
        const Node::Children& ys = As<Node>(*y).getChildren();
        if (xs.size() != ys.size()) return false;
        // Pushed in reverse so that children are compared in document order.
        for (auto i = xs.rbegin(), j = ys.rbegin(); i != xs.rend(); ++i, ++j)
            pending.emplace_back(i->get(), j->get());
    }
    return true;
}

} // namespace svg
} // namespace kx
