#include <kx/svg/Simple.h>
#include <iostream>

int main(int argc, char** argv)
{
    const kx::svg::LoadResult loaded = kx::svg::LoadFile(argc > 1 ? argv[1] : "drawing.svg");
    for (const std::string& message : loaded.messages) std::cout << message << "\n";
    std::cout << (loaded ? "loaded\n" : "failed\n");
    return loaded ? 0 : 1;
}
