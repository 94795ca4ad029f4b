// main.cpp - kxsvg_compare: runs libkxSvg and the tools users would pick
// instead on the same inputs, in one process, alternating between them round
// after round, and prints every figure with its goal and the ratios as Markdown.
//
//   kxsvg_compare [--rounds N] [--markdown FILE] [--corpus DIR] [--only AREA[,AREA...]]
//
// Times are CPU times (the machine may be shared); each figure is the median
// of the rounds. Peak memory is that of a freshly started process (this
// program again) loading one file, less that of one that only reads it.
// Comparators that may run for very long (GLU on star shapes) run in a forked
// child with a time limit.
#include "Compare.h"

#include <kx/system/kxLog.h>

#include "BenchSupport.h"

#include <libxml/parser.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace kxcompare;

int main(int argc, char** argv)
{
    gSelf = "/proc/self/exe";
    {
        char buffer[4096];
        const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
        if (n > 0) gSelf.assign(buffer, std::size_t(n));
    }
    if (argc == 4 && std::string(argv[1]) == "--child-load") {
        xmlInitParser();
        return ChildLoad(argv[2], argv[3]);
    }
    std::string markdown;
    std::string corpus = kxbench::corpusDir(); // icon outlines; the large files come from kxbench
    std::string only;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--rounds" && i + 1 < argc) gRounds = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--markdown" && i + 1 < argc) markdown = argv[++i];
        else if (arg == "--corpus" && i + 1 < argc) {
            corpus = argv[++i];
            setenv("KXSVG_CORPUS", corpus.c_str(), 1); // the large files are looked up there too
        }
        else if (arg == "--only" && i + 1 < argc) only = argv[++i];
        else {
            std::fprintf(stderr, "usage: %s [--rounds N] [--markdown FILE] [--corpus DIR] [--only AREA[,AREA...]] with AREA one of load|fresh|numbers|save|flatten|star|icons|crossings|crossing-shapes|triangulate\n", argv[0]);
            return 2;
        }
    }
    xmlInitParser();
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    const std::vector<LargeFile> files = LoadLargeFiles();
    if (files.empty())
        std::printf("no large files found (corpus \"%s\"; set KXSVG_CORPUS or --corpus): load, numbers and save "
                    "skipped\n",
                    corpus.c_str());
    // --only takes one area or several, separated by commas ("load,star").
    auto wanted = [&](const char* area) {
        return only.empty() || ("," + only + ",").find("," + std::string(area) + ",") != std::string::npos;
    };
    if (wanted("load") && !files.empty()) CompareLoad(files);
    if ((wanted("load") || wanted("fresh")) && !files.empty()) CompareFreshLoad(files);
    if (wanted("numbers") && !files.empty()) CompareNumbers(files);
    if (wanted("save") && !files.empty()) CompareSave(files);
    if (wanted("flatten")) CompareFlattening();
    if (wanted("triangulate") || wanted("star")) CompareStars();
    if (wanted("triangulate") || wanted("icons")) CompareIcons(corpus);
    if (wanted("triangulate") || wanted("crossings")) CompareCrossings(corpus);
    else if (wanted("crossing-shapes")) CompareCorpusCrossings(corpus);
    if (!markdown.empty()) WriteMarkdown(markdown);
    return 0;
}
