// flatten_to_obj.cpp - flatten an SVG file into a Wavefront OBJ mesh.
//
// Usage: kxsvg_example_flatten_to_obj drawing.svg out.obj
//
// Shows segmentation: every line, rectangle, circle and path becomes an
// outline (points joined by index pairs) and, when filled, triangles.
#include <kx/svg/Svg.h>

#include <fstream>
#include <iostream>

using namespace kx::svg;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " drawing.svg out.obj\n";
        return 2;
    }
    initializeKxSvg();
    ItemInterfacePointer<ItemInterface> root;
    LoadOptions options;
    options.ignoreUnsupported = true;
    bool loaded = kxSvgIOManager::get()->loadSvg(root, argv[1], nullptr, &options, nullptr);
    // The segmenter walks a group; a loaded SVG file gives a Document, which is one.
    if (!loaded || !root || root->getType() != ItemType::Document) {
        std::cerr << "cannot load " << argv[1] << "\n";
        terminateKxSvg();
        return 1;
    }

    // All the work happens in the constructor: transforms are composed and
    // presentation attributes cascaded on the way down the tree.
    SegmenterVisitor visitor(static_cast<const Document&>(*root));
    if (visitor.hasError()) std::cerr << "a fill could not be triangulated; later items were skipped\n";

    std::ofstream obj(argv[2]);
    obj.imbue(std::locale::classic()); // numbers never depend on the user's locale
    std::size_t base = 1;              // OBJ indices start at 1
    for (const auto& primitive : visitor.getSegmentedPrimitives()) {
        // Outline: one "l" per segment.
        for (const auto& p : primitive->points) obj << "v " << p.X() << " " << p.Y() << " 0\n";
        for (std::size_t i = 0; i + 1 < primitive->lineIndices.size(); i += 2)
            obj << "l " << base + primitive->lineIndices[i] << " " << base + primitive->lineIndices[i + 1] << "\n";
        base += primitive->points.size();
        // Fill: one "f" per triangle, with vertices of its own.
        for (const auto& p : primitive->trianglePoints) obj << "v " << p.X() << " " << p.Y() << " 0\n";
        for (std::size_t i = 0; i + 2 < primitive->triangleIndices.size(); i += 3)
            obj << "f " << base + primitive->triangleIndices[i] << " " << base + primitive->triangleIndices[i + 1]
                << " " << base + primitive->triangleIndices[i + 2] << "\n";
        base += primitive->trianglePoints.size();
    }
    std::cout << visitor.getSegmentedPrimitives().size() << " primitives written to " << argv[2] << "\n";
    terminateKxSvg();
    return 0;
}
