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
    LoadOptions options;
    options.ignoreUnsupported = true;
    const LoadResult loaded = LoadFile(argv[1], options);
    if (!loaded) {
        std::cerr << "cannot load " << argv[1] << (loaded.messages.empty() ? "" : ": " + loaded.messages.front())
                  << "\n";
        return 1;
    }

    // Transforms are composed and presentation attributes cascaded on the way
    // down the tree; a fill that cannot be built leaves its outline and is
    // flagged, and the items after it are still flattened.
    const SegmentResult flat = Segment(*loaded.document);
    if (!flat) std::cerr << flat.failedFills << " fill(s) could not be triangulated; their outlines are kept\n";

    std::ofstream obj(argv[2]);
    obj.imbue(std::locale::classic()); // numbers never depend on the user's locale
    std::size_t base = 1;              // OBJ indices start at 1
    for (const SegmentedItem& item : flat.items) {
        const SegmentedPrimitive& primitive = item.primitive;
        // Outline: one "l" per segment.
        for (const auto& p : primitive.points) obj << "v " << p.X() << " " << p.Y() << " 0\n";
        for (std::size_t i = 0; i + 1 < primitive.lineIndices.size(); i += 2)
            obj << "l " << base + primitive.lineIndices[i] << " " << base + primitive.lineIndices[i + 1] << "\n";
        base += primitive.points.size();
        // Fill: one "f" per triangle, with vertices of its own.
        for (const auto& p : primitive.trianglePoints) obj << "v " << p.X() << " " << p.Y() << " 0\n";
        for (std::size_t i = 0; i + 2 < primitive.triangleIndices.size(); i += 3)
            obj << "f " << base + primitive.triangleIndices[i] << " " << base + primitive.triangleIndices[i + 1]
                << " " << base + primitive.triangleIndices[i + 2] << "\n";
        base += primitive.trianglePoints.size();
    }
    std::cout << flat.items.size() << " primitives written to " << argv[2] << "\n";
    return 0;
}
