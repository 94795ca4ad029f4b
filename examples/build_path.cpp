// build_path.cpp - assemble a path with PathBuilder and save a document.
//
// Usage: kxsvg_example_build_path out.svg
//
// Shows writing: the builder picks the shortest command forms (absolute or
// relative, H and V where possible) and can chain loose pieces into one
// closed contour.
#include <kx/svg/Svg.h>

#include <iostream>
#include <memory>

using namespace kx::svg;
using Point = Wm4::Vector2<float>;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " out.svg\n";
        return 2;
    }
    PathBuilder builder;
    // A closed contour from pieces given in any order and direction: with
    // reordering on, each piece is chained to the nearest free end.
    builder.startContour(true);
    builder.appendLine(Point(0, 0), Point(40, 0));
    builder.appendLine(Point(40, 30), Point(0, 30)); // joined to (40, 0) by a line
    builder.endContour();                            // closes with "Z"
    // A rectangle outside any contour is written at once.
    builder.appendRect(Point(50, 5), Point(20, 20));

    auto document = std::make_shared<Document>();
    document->editViewbox() = BoundingBox(Point(-5, -5), Point(75, 35));
    ItemInterfacePointer<Path> path = builder.createPathItem(true);
    path->editRenderingProperties().fill = "teal";
    path->editRenderingProperties().stroke = "#333";
    document->addChild(path, true);

    SaveTextOptions options;
    options.save.formatOutput = true; // indented, spaced path data
    options.save.author = "build_path example";
    const SaveResult saved = SaveFile(*document, argv[1], options);
    for (const std::string& message : saved.messages) std::cerr << "message: " << message << "\n";
    std::cout << (saved ? "saved " : "could not save ") << argv[1] << "\n";
    return saved ? 0 : 1;
}
