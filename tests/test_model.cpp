// test_model.cpp - item construction, children and deep copy.
#include <kx/svg/Items.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace kx::svg;

namespace {

// An item claiming a kind the model does not know.
class AlienItem : public ItemInterface {
public:
    explicit AlienItem(ItemType type = static_cast<ItemType>(9)) : ItemInterface(type) {}
    bool computeEstimatedBoundingVolume(BoundingBox&, const Wm4::Matrix3<float>&) const override { return false; }

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext&, const SaveOptions&) const override { return false; }
};

std::vector<std::string> ChildIds(const Node& node)
{
    std::vector<std::string> ids;
    for (const auto& child : node.getChildren())
        ids.push_back(child && child->getId() ? *child->getId() : std::string("-"));
    return ids;
}

template <class T>
std::shared_ptr<T> WithId(std::shared_ptr<T> item, const std::string& id)
{
    item->editId() = id;
    return item;
}

} // namespace

TEST(ItemsTest, AddChildSharesAndOrders)
{
    Node group;
    group.addChild(ItemInterfacePointer<Rect>(), true);
    EXPECT_TRUE(group.getChildren().empty());

    auto a = WithId(std::make_shared<Circle>(Wm4::Vector2<float>(0, 0), 1.0f), "a");
    auto b = WithId(std::make_shared<Node>(), "b");
    auto c = WithId(std::make_shared<Line>(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(1, 1)), "c");
    group.addChild(a, true);
    group.addChild(b, true);
    group.addChild(c, false);
    EXPECT_EQ(ChildIds(group), (std::vector<std::string>{"c", "a", "b"}));
    EXPECT_EQ(group.getChildren().back().get(), b.get()); // shared, not copied
    EXPECT_EQ(a.use_count(), 2);
}

TEST(ItemsTest, DeepCopyDropsInvalidChildrenAndSharesNothing)
{
    Node source;
    source.editId() = "root";
    source.editTransform() = Wm4::Matrix3<float>(1, 0, 5, 0, 1, 6, 0, 0, 1);
    source.editRenderingProperties().fill = "red";
    source.editRenderingProperties().strokeDasharray = std::vector<UnitValue>{UnitValue(2, Unit::Mm)};

    auto inner = WithId(std::make_shared<Node>(), "inner");
    auto path = WithId(std::make_shared<Path>(), "path");
    path->editCommands().emplace_back(Path::CommandType::MoveToAbs, std::vector<float>{1, 2});
    path->editCommands().emplace_back(Path::CommandType::ClosePath, std::vector<float>{});
    inner->addChild(path, true);
    auto text = WithId(std::make_shared<Text>(Wm4::Vector2<float>(1, 2), "t"), "text");
    text->editBold() = true;
    inner->addChild(text, true);

    source.addChild(WithId(std::make_shared<Rect>(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(1, 1)), "r"), true);
    source.editChildren().push_back(nullptr);
    source.editChildren().push_back(std::make_shared<Document>());
    source.editChildren().push_back(std::make_shared<AlienItem>());
    // Items whose class does not match the kind they claim are dropped too.
    source.editChildren().push_back(std::make_shared<AlienItem>(ItemType::Line));
    source.editChildren().push_back(std::make_shared<AlienItem>(ItemType::Node));
    source.addChild(inner, true);
    auto image = WithId(std::make_shared<Image>(), "image");
    image->editHref() = "a.png";
    image->editPreserveAspectRatio() = Image::AspectRatio::XMidYMid;
    source.addChild(image, true);
    source.addChild(WithId(std::make_shared<Line>(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(1, 1)), "l"), true);
    source.addChild(WithId(std::make_shared<Circle>(Wm4::Vector2<float>(0, 0), 2.0f), "c"), true);

    // The invalid children are dropped and the rest copied field for field, in order.
    Node copy(source);
    EXPECT_EQ(kxtest::DumpTree(&copy), "g id=root transform=(1 0 0 1 5 6) dasharray=[2mm] fill=red\n"
                                       "  rect id=r (0 0) size (1 1) r (0 0)\n"
                                       "  g id=inner\n"
                                       "    path id=path d=M1,2Z\n"
                                       "    text id=text (1 2) bold=1 content=[t]\n"
                                       "  image id=image (0 0) size (0 0) href=a.png aspect=5\n"
                                       "  line id=l (0 0) (1 1)\n"
                                       "  circle id=c (0 0) r 2\n");
    // No item is shared with the source, at any depth.
    std::set<const ItemInterface*> original;
    for (const auto& child : source.getChildren()) original.insert(child.get());
    for (const auto& child : copy.getChildren()) {
        EXPECT_EQ(original.count(child.get()), 0u);
        EXPECT_EQ(child.use_count(), 1);
    }
    // Editing the copy's grandchildren leaves the source alone.
    static_cast<Path&>(*static_cast<Node&>(**std::next(copy.editChildren().begin())).editChildren().front())
        .editCommands()
        .clear();
    EXPECT_EQ(path->getCommands().size(), 2u);
}

TEST(ItemsTest, DocumentCopyAndAssignment)
{
    Document doc;
    doc.editViewbox() = BoundingBox(Wm4::Vector2<float>(0, 0), Wm4::Vector2<float>(10, 20));
    doc.editStyle() = "a{}";
    doc.addChild(WithId(std::make_shared<Node>(), "g"), true);

    Document copy(doc);
    EXPECT_EQ(copy.getType(), ItemType::Document);
    EXPECT_EQ(*copy.getViewbox(), *doc.getViewbox());
    EXPECT_EQ(*copy.getStyle(), "a{}");
    EXPECT_EQ(ChildIds(copy), (std::vector<std::string>{"g"}));
    EXPECT_NE(copy.getChildren().front(), doc.getChildren().front());

    Document other;
    other.addChild(WithId(std::make_shared<Node>(), "old"), true);
    other = doc;
    EXPECT_EQ(ChildIds(other), (std::vector<std::string>{"g"}));
    EXPECT_EQ(*other.getStyle(), "a{}");
    other = other; // self-assignment keeps everything
    EXPECT_EQ(ChildIds(other), (std::vector<std::string>{"g"}));

    // Assigning a group from one of its own descendants.
    Node outer;
    auto middle = WithId(std::make_shared<Node>(), "middle");
    middle->addChild(WithId(std::make_shared<Circle>(Wm4::Vector2<float>(0, 0), 1.0f), "leaf"), true);
    outer.addChild(middle, true);
    outer = *middle;
    EXPECT_EQ(*outer.getId(), "middle");
    EXPECT_EQ(ChildIds(outer), (std::vector<std::string>{"leaf"}));

    // Assignment keeps the kind of the target.
    Document target;
    static_cast<Node&>(target) = outer;
    EXPECT_EQ(target.getType(), ItemType::Document);
    EXPECT_EQ(ChildIds(target), (std::vector<std::string>{"leaf"}));
}
