// CompareLoad.cpp - the load of the large drawings: libkxSvg, librsvg and
// libxml2's empty SAX parse in one process, round after round, and the peak
// memory of one load in a freshly started process.
#include "Compare.h"

#include "BenchSupport.h"

#include <algorithm>
#include <cstdio>

namespace kxcompare {
namespace {

// Runs this program as `--child-load <tool> <file>` and returns the peak
// resident set of that process (MB), which it reads from its own
// /proc/self/status (VmHWM counts only the pages of the new program, unlike
// ru_maxrss, which keeps the peak of the process image before the exec).
double PeakRssOfChildLoad(const char* tool, const std::string& file)
{
    std::fflush(stdout);
    const std::string command = "'" + gSelf + "' --child-load " + tool + " '" + file + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return 0.0;
    double kb = 0.0;
    if (std::fscanf(pipe, "%lf", &kb) != 1) kb = 0.0;
    pclose(pipe);
    return kb / 1024.0;
}

} // namespace

int ChildLoad(const std::string& tool, const std::string& file)
{
    std::string bytes;
    if (!kxbench::readFile(file, bytes)) return 1;
    bool ok = true;
    if (tool == "ours") {
        ItemInterfacePointer<ItemInterface> root;
        ok = OurLoad(bytes, root);
    } else if (tool == "rsvg") {
        ok = RsvgLoad(bytes);
    }
    std::printf("%.0f\n", PeakRssOfThisProcessKb());
    return ok ? 0 : 1;
}

void CompareLoad(const std::vector<LargeFile>& files)
{
    std::printf("\n== load (%d rounds) ==\n", gRounds);
    double totalBytes = 0;
    std::vector<double> oursTotal(gRounds, 0.0), saxTotal(gRounds, 0.0), rsvgTotal(gRounds, 0.0);
    bool rsvgFailed = false;
    for (const LargeFile& f : files) {
        totalBytes += double(f.bytes.size());
        std::vector<double> ours, sax, rsvg;
        for (int r = 0; r < gRounds; ++r) {
            double t = CpuSeconds();
            SaxEmptyParse(f.bytes);
            sax.push_back(CpuSeconds() - t);
            t = CpuSeconds();
            {
                ItemInterfacePointer<ItemInterface> root;
                OurLoad(f.bytes, root);
            }
            ours.push_back(CpuSeconds() - t);
            t = CpuSeconds();
            if (!RsvgLoad(f.bytes)) rsvgFailed = true;
            rsvg.push_back(CpuSeconds() - t);
            oursTotal[r] += ours.back();
            saxTotal[r] += sax.back();
            rsvgTotal[r] += rsvg.back();
        }
        const double mb = double(f.bytes.size()) / 1e6;
        const double o = mb / Median(ours), s = mb / Median(sax), v = mb / Median(rsvg);
        AddRow("load", f.name + ": libkxSvg (MB/s)", Fixed(o, 1), ">= 80", Verdict(o >= 80));
        AddRow("load", f.name + ": libxml2 SAX, empty callbacks (MB/s)", Fixed(s, 1), "", 0,
               "ours at " + Fixed(100.0 * o / s, 0) + "% of the floor");
        AddRow("load", f.name + ": librsvg (MB/s)", Fixed(v, 1), "", 0, "");
        AddRow("load", f.name + ": libkxSvg / librsvg", Fixed(o / v, 2) + "x", ">= 6x", Verdict(o / v >= 6));
    }
    const double mb = totalBytes / 1e6;
    const double o = mb / Median(oursTotal), s = mb / Median(saxTotal), v = mb / Median(rsvgTotal);
    AddRow("load", "all large files: libkxSvg (MB/s)", Fixed(o, 1), ">= 80", Verdict(o >= 80));
    AddRow("load", "all large files: libxml2 SAX, empty callbacks (MB/s)", Fixed(s, 1), "", 0);
    AddRow("load", "all large files: librsvg (MB/s)", Fixed(v, 1), "", 0, rsvgFailed ? "librsvg refused a file" : "");
    AddRow("load", "all large files: libkxSvg / librsvg", Fixed(o / v, 2) + "x", ">= 6x", Verdict(o / v >= 6));

    // Peak memory: each load alone in a freshly started process (this
    // program again), against a process that only reads the file.
    for (const LargeFile& f : files) {
        std::vector<double> ours, rsvg;
        for (int r = 0; r < std::min(gRounds, 3); ++r) {
            const double base = PeakRssOfChildLoad("none", f.path);
            ours.push_back(PeakRssOfChildLoad("ours", f.path) - base);
            rsvg.push_back(PeakRssOfChildLoad("rsvg", f.path) - base);
        }
        const double oursMb = Median(ours), rsvgMb = Median(rsvg);
        AddRow("load memory", f.name + ": peak memory libkxSvg / librsvg (MB)",
               Fixed(oursMb, 1) + " / " + Fixed(rsvgMb, 1), "below", Verdict(oursMb < rsvgMb),
               "over reading the " + Fixed(double(f.bytes.size()) / 1e6, 1) + " MB file; ratio " +
                   Fixed(oursMb / rsvgMb, 2));
    }
}

} // namespace kxcompare
