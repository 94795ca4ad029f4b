#include <kx/svg/Simple.h>
#include <iostream>

int main(int argc, char** argv)
{
    const kx::svg::PreflightResult preflighted = kx::svg::PreflightFile(argc > 1 ? argv[1] : "drawing.svg");
    const kx::svg::LoadResult loaded = kx::svg::LoadBytes(preflighted.text); // strict: the default
    std::cout << preflighted.report.toText();
    for (const std::string& message : loaded.messages) std::cout << message << "\n";
    return loaded ? 0 : 1;
}
