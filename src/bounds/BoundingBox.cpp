// BoundingBox.cpp - box operations and the estimated box of an item tree.
#include <kx/svg/BoundingBox.h>

#include <kx/svg/Items.h>

#include "path/PathGeometry.h"

#include <cstdint>
#include <vector>

namespace kx {
namespace svg {

void BoundingBox::expandToContain(const Wm4::Vector2<float>& p)
{
    if (!isValid()) {
        m_min = p;
        m_max = p;
        return;
    }
    m_min = impl::MinPoint(m_min, p);
    m_max = impl::MaxPoint(m_max, p);
}

void BoundingBox::expandToContain(const BoundingBox& other)
{
    if (!isValid()) {
        *this = other;
        return;
    }
    // `other` is deliberately not checked: an empty box pulls the corners
    // towards (1, 1) and (-1, -1). Path estimates rely on it for curves.
    m_min = impl::MinPoint(m_min, other.m_min);
    m_max = impl::MaxPoint(m_max, other.m_max);
}

void BoundingBox::addMargin(const Wm4::Vector2<float>& margin)
{
    m_min -= margin;
    m_max += margin;
}

void BoundingBox::translate(const Wm4::Vector2<float>& offset)
{
    m_min += offset;
    m_max += offset;
}

namespace {

// One open group of the walk: the children still to visit and the matrix
// they inherit (an index into the matrix stack, which grows only for items
// that carry their own transform).
struct WalkFrame {
    const Node* node;
    Node::Children::const_iterator next;
    uint32_t matrix;
    bool ownsMatrix;
};

} // namespace

void ComputeEstimatedBoundingBox(const ItemInterface& root, BoundingBox& box, bool (*filter)(const ItemInterface&),
                                 const Wm4::Matrix3<float>* transform)
{
    box = BoundingBox();
    // The walk is iterative so that arbitrarily deep trees cannot exhaust the
    // call stack; it visits items in the order of a depth-first recursion.
    std::vector<Wm4::Matrix3<float>> matrices;
    matrices.push_back(transform ? *transform : Wm4::Matrix3<float>::IDENTITY);
    std::vector<WalkFrame> frames;

    auto visitItem = [&](const ItemInterface& item, uint32_t parentMatrix) {
        if (filter && filter(item)) return;
        uint32_t matrix = parentMatrix;
        bool ownsMatrix = false;
        if (item.getTransform()) {
            matrices.push_back(matrices[parentMatrix] * *item.getTransform());
            matrix = static_cast<uint32_t>(matrices.size() - 1);
            ownsMatrix = true;
        }
        BoundingBox itemBox;
        if (item.computeEstimatedBoundingVolume(itemBox, matrices[matrix])) box.expandToContain(itemBox);
        const Node* node = dynamic_cast<const Node*>(&item);
        if (node) {
            frames.push_back(WalkFrame{node, node->getChildren().begin(), matrix, ownsMatrix});
        } else if (ownsMatrix) {
            matrices.pop_back();
        }
    };

    visitItem(root, 0);
    while (!frames.empty()) {
        WalkFrame& frame = frames.back();
        if (frame.next == frame.node->getChildren().end()) {
            if (frame.ownsMatrix) matrices.pop_back();
            frames.pop_back();
            continue;
        }
        const std::shared_ptr<ItemInterface>& child = *frame.next;
        ++frame.next;
        // visitItem may grow `frames`: `frame` is not used after this call.
        if (child) visitItem(*child, frame.matrix);
    }
}

void Document::computeEstimatedViewboxFromContent()
{
    BoundingBox box;
    ComputeEstimatedBoundingBox(*this, box, nullptr, nullptr);
    editViewbox() = box;
}

} // namespace svg
} // namespace kx
