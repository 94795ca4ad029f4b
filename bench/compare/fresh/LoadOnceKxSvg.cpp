// LoadOnceKxSvg.cpp - loads one SVG file with libkxSvg's public interface and
// exits: what a program that opens one drawing pays, start-up included.
//
//   kxsvg_load_once FILE        exit status 0 when the load succeeded
//   kxsvg_load_once --read FILE only reads the file (the floor under any load)
#include <kx/svg/Options.h>
#include <kx/svg/Simple.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    if (argc == 3 && std::string(argv[1]) == "--read") {
        std::FILE* file = std::fopen(argv[2], "rb");
        if (!file) return 1;
        std::string bytes;
        char block[65536];
        for (std::size_t n; (n = std::fread(block, 1, sizeof block, file)) > 0;) bytes.append(block, n);
        std::fclose(file);
        return bytes.empty() ? 1 : 0;
    }
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s [--read] FILE\n", argv[0]);
        return 2;
    }
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = true; // the large drawings use elements outside the subset
    const kx::svg::LoadResult loaded = kx::svg::LoadFile(argv[1], options);
    return loaded ? 0 : 1;
}
