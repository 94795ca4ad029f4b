// build_tree.cpp - builds a drawing in memory, deep-copies it, and prints the
// library version, an outline of the copy and the copy saved as SVG text.
#include <kx/svg/Svg.h>

#include <iostream>
#include <list>
#include <memory>
#include <string>

namespace {

const char* kindName(kx::svg::ItemType type)
{
    switch (type) {
    case kx::svg::ItemType::Document: return "svg";
    case kx::svg::ItemType::Node: return "g";
    case kx::svg::ItemType::Line: return "line";
    case kx::svg::ItemType::Rect: return "rect";
    case kx::svg::ItemType::Circle: return "circle";
    case kx::svg::ItemType::Path: return "path";
    case kx::svg::ItemType::Text: return "text";
    case kx::svg::ItemType::Image: return "image";
    }
    return "?";
}

void printOutline(const kx::svg::ItemInterface& item, int depth)
{
    std::cout << std::string(static_cast<size_t>(depth) * 2, ' ') << kindName(item.getType());
    if (item.getId())
        std::cout << " #" << *item.getId();
    std::cout << '\n';
    if (const auto* node = dynamic_cast<const kx::svg::Node*>(&item)) {
        for (const auto& child : node->getChildren())
            printOutline(*child, depth + 1);
    }
}

kx::svg::Document buildDrawing()
{
    using Vec = Wm4::Vector2<float>;
    kx::svg::Document doc;
    doc.editId() = "drawing";

    auto background = std::make_shared<kx::svg::Rect>(Vec(0, 0), Vec(120, 80));
    background->editId() = "background";
    background->editRenderingProperties().fill = "#f0f0f0";
    doc.addChild(background, true);

    auto group = std::make_shared<kx::svg::Node>();
    group->editId() = "shapes";
    group->editTransform() = Wm4::Matrix3<float>(1, 0, 10, 0, 1, 5, 0, 0, 1);

    auto sun = std::make_shared<kx::svg::Circle>(Vec(30, 30), 12.5f);
    sun->editId() = "sun";
    sun->editRenderingProperties().fill = "gold";
    group->addChild(sun, true);

    auto horizon = std::make_shared<kx::svg::Line>(Vec(0, 60), Vec(100, 60));
    horizon->editId() = "horizon";
    horizon->editRenderingProperties().stroke = "navy";
    group->addChild(horizon, true);

    auto label = std::make_shared<kx::svg::Text>(Vec(60, 20), "Hello");
    label->editId() = "label";
    group->addChild(label, true);

    doc.addChild(group, true);
    return doc;
}

} // namespace

int main()
{
    std::cout << "libkxSvg " << kxSvg::Version::GetDescStringMajorMinorReleaseRevisionDate() << '\n';

    const kx::svg::Document original = buildDrawing();
    const kx::svg::Document copy(original); // copies the whole subtree
    std::cout << "\nOutline of the copy:\n";
    printOutline(copy, 1);

    kx::svg::SaveTextOptions options;
    options.save.writeFlag = false; // no date comment: the output stays the same run after run
    options.save.formatOutput = true;
    const kx::svg::SaveResult saved = kx::svg::SaveString(copy, options);
    std::cout << "\nThe copy as SVG:\n" << saved.text;
    for (const std::string& message : saved.messages)
        std::cout << "message: " << message << '\n';
    const kx::svg::LoadResult back = kx::svg::LoadBytes(saved.text);
    std::cout << "\nRead back, it is " << (back && kx::svg::TreesEqual(*back.document, copy) ? "" : "not ")
              << "the same tree.\n";
    return saved ? 0 : 1;
}
