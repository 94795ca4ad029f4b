// Items.cpp - construction, deep copy and destruction of the item tree.
#include <kx/svg/Items.h>

#include <utility>
#include <vector>

namespace kx {
namespace svg {

namespace {

// A copy of `source` as class T, or null when it is not one.
template <class T>
std::shared_ptr<ItemInterface> CopyAs(const ItemInterface& source)
{
    const T* item = dynamic_cast<const T*>(&source);
    if (!item) return nullptr;
    return std::make_shared<T>(*item);
}

// Allocates a copy of a non-group item from its kind; null for groups,
// documents and unknown kinds (the caller handles those).
std::shared_ptr<ItemInterface> CopyLeafItem(const ItemInterface& source)
{
    // The kind picks the class; an item whose class does not match its kind
    // is dropped like an unknown kind rather than misread.
    switch (source.getType()) {
    case ItemType::Line:
        return CopyAs<Line>(source);
    case ItemType::Rect:
        return CopyAs<Rect>(source);
    case ItemType::Circle:
        return CopyAs<Circle>(source);
    case ItemType::Path:
        return CopyAs<Path>(source);
    case ItemType::Text:
        return CopyAs<Text>(source);
    case ItemType::Image:
        return CopyAs<Image>(source);
    default:
        return nullptr;
    }
}

} // namespace

// ------------------------------------------------------------------ ItemInterface

ItemInterface::ItemInterface(ItemType type) : m_type(type) {}

ItemInterface::~ItemInterface() = default;

// ------------------------------------------------------------------ Node

Node::Node() : ItemInterface(ItemType::Node) {}

Node::Node(ItemType type) : ItemInterface(type) {}

Node::Node(const Node& other) : ItemInterface(other)
{
    copyChildrenFrom(other);
}

Node& Node::operator=(const Node& other)
{
    if (this == &other) return *this;
    // Copy first: `other` may live inside this node's own subtree, which the
    // swap below releases.
    Node copy(other);
    // The common fields one by one: an item's kind never changes, so a
    // document assigned from a group through a Node reference stays a document.
    editTransform() = other.getTransform();
    editId() = other.getId();
    editRenderingProperties() = other.getRenderingProperties();
    m_children.swap(copy.m_children);
    return *this;
}

void Node::copyChildrenFrom(const Node& source)
{
    // Groups are copied with an explicit work list rather than recursion, so
    // that arbitrarily deep trees cannot exhaust the call stack. Each pending
    // entry pairs a source group with its freshly made, still childless copy;
    // every copy receives its children in the source's order.
    std::vector<std::pair<const Node*, Node*>> pending;
    pending.emplace_back(&source, this);
    while (!pending.empty()) {
        const Node* from = pending.back().first;
        Node* to = pending.back().second;
        pending.pop_back();
        for (const std::shared_ptr<ItemInterface>& child : from->m_children) {
            if (!child) continue;
            const ItemType type = child->getType();
            if (type == ItemType::Node) {
                const Node* asGroup = dynamic_cast<const Node*>(child.get());
                if (!asGroup) continue;
                const Node& sourceGroup = *asGroup;
                auto group = std::make_shared<Node>();
                group->ItemInterface::operator=(sourceGroup);
                to->m_children.push_back(group);
                if (!sourceGroup.m_children.empty()) pending.emplace_back(&sourceGroup, group.get());
                continue;
            }
            std::shared_ptr<ItemInterface> copy = CopyLeafItem(*child);
            if (copy) to->m_children.push_back(std::move(copy));
        }
    }
}

Node::~Node()
{
    // Release the subtree without recursion: groups that this node holds the
    // last handle on hand their children to the work list before they die.
    Children pending;
    pending.swap(m_children);
    while (!pending.empty()) {
        std::shared_ptr<ItemInterface> item = std::move(pending.front());
        pending.pop_front();
        if (item && item.use_count() == 1) {
            const ItemType type = item->getType();
            if (type == ItemType::Node || type == ItemType::Document) {
                if (Node* group = dynamic_cast<Node*>(item.get())) pending.splice(pending.end(), group->m_children);
            }
        }
    }
}

// ------------------------------------------------------------------ Document

Document::Document() : Node(ItemType::Document) {}

Document::Document(const Document& other) : Node(other), m_viewBox(other.m_viewBox), m_style(other.m_style) {}

Document& Document::operator=(const Document& other)
{
    if (this == &other) return *this;
    Node::operator=(other);
    m_viewBox = other.m_viewBox;
    m_style = other.m_style;
    return *this;
}

Document::~Document() = default;

// ------------------------------------------------------------------ leaves

Line::Line(const Wm4::Vector2<float>& start, const Wm4::Vector2<float>& end)
    : ItemInterface(ItemType::Line), m_start(start), m_end(end)
{
}

Line::~Line() = default;

Rect::Rect(const Wm4::Vector2<float>& position, const Wm4::Vector2<float>& size)
    : ItemInterface(ItemType::Rect), m_position(position), m_size(size)
{
}

Rect::~Rect() = default;

Circle::Circle(const Wm4::Vector2<float>& center, float radius)
    : ItemInterface(ItemType::Circle), m_center(center), m_radius(radius)
{
}

Circle::~Circle() = default;

Path::Path() : ItemInterface(ItemType::Path) {}

Path::~Path() = default;

Text::Text(const Wm4::Vector2<float>& position, const std::string& content)
    : ItemInterface(ItemType::Text), m_position(position), m_content(content)
{
}

Text::~Text() = default;

Image::Image() : ItemInterface(ItemType::Image), m_position(0.0f, 0.0f), m_size(0.0f, 0.0f) {}

Image::~Image() = default;

} // namespace svg
} // namespace kx
