#include <kx/svg/Simple.h>
#include <iostream>

int main()
{
    const kx::svg::LoadResult loaded = kx::svg::LoadBytes(R"(<svg xmlns="http://www.w3.org/2000/svg"><rect width="330.2" height="20"/></svg>)");
    kx::svg::SaveTextOptions options;
    options.shortestNumbers = true; // "330.2", not "330.200012"
    if (loaded) std::cout << kx::svg::SaveString(*loaded.document, options).text;
    return loaded ? 0 : 1;
}
