// print_tree.cpp - load an SVG file and print its item tree.
//
// Usage: kxsvg_example_print_tree drawing.svg
//
// Shows the basic reading workflow: load, look at the messages, then walk
// the tree of items.
#include <kx/svg/Svg.h>

#include <iostream>
#include <string>

using namespace kx::svg;

// Every item has a kind; groups (and the document) have children.
static void printItem(const ItemInterface& item, int depth)
{
    static const char* const names[] = {"svg", "g", "line", "rect", "circle", "path", "text", "image"};
    std::cout << std::string(depth * 2, ' ') << names[static_cast<int>(item.getType())];
    if (item.getId()) std::cout << " id=" << *item.getId();
    const RenderingProperties& props = item.getRenderingProperties();
    if (props.fill) std::cout << " fill=" << *props.fill; // colours stay as the text that was read
    if (item.getType() == ItemType::Path)
        std::cout << " (" << static_cast<const Path&>(item).getCommands().size() << " commands)";
    std::cout << "\n";

    if (item.getType() == ItemType::Node || item.getType() == ItemType::Document)
        for (const auto& child : static_cast<const Node&>(item).getChildren()) printItem(*child, depth + 1);
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " drawing.svg\n";
        return 2;
    }
    // Skip what the library does not support instead of failing on it.
    LoadOptions options;
    options.ignoreUnsupported = true;

    // Read as SVG whatever the file is called; the first call starts the library.
    const LoadResult loaded = LoadFile(argv[1], options);
    for (const std::string& message : loaded.messages) std::cerr << "message: " << message << "\n";

    if (loaded) printItem(*loaded.document, 0);
    return loaded ? 0 : 1;
}
