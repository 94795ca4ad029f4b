#include <kx/svg/Simple.h>
#include <iostream>

int main(int argc, char** argv)
{
    const kx::svg::LoadResult loaded = kx::svg::LoadFile(argc > 1 ? argv[1] : "drawing.svg");
    double area = 0.0;
    if (loaded) for (const kx::svg::SegmentedItem& item : kx::svg::Segment(*loaded.document).items) area += kx::svg::FillArea(item.primitive);
    std::cout << "filled area: " << area << "\n";
    return loaded ? 0 : 1;
}
