// CompareFreshLoad.cpp - one load per freshly started process, as a command
// such as `kxsvg info` pays it: a small program per library loads one file
// and exits; kxsvg_fresh_run starts them alternately and reports the whole
// process's wall time and peak resident set (wait4).
#include "Compare.h"

#include <algorithm>
#include <cstdio>

namespace kxcompare {
namespace {

struct FreshFigures {
    bool ok = false;
    double seconds[3] = {0, 0, 0}; // wall; libkxSvg, librsvg, reading only
    double cpu[3] = {0, 0, 0};
    double peakMb[3] = {0, 0, 0};
    int failures[3] = {0, 0, 0};
};

FreshFigures RunFresh(const std::string& file, int rounds)
{
    FreshFigures figures;
    std::fflush(stdout);
    const std::string command = std::string("'") + KXCMP_FRESH_RUN + "' " + std::to_string(rounds) + " '" + file +
                                "' '" + KXCMP_LOAD_ONCE_KXSVG + "' -- '" + KXCMP_LOAD_ONCE_RSVG + "' -- '" +
                                KXCMP_LOAD_ONCE_KXSVG + "' --read";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return figures;
    int lines = 0;
    for (; lines < 3; ++lines) {
        double kb = 0;
        if (std::fscanf(pipe, "%lf %lf %lf %d", &figures.seconds[lines], &figures.cpu[lines], &kb,
                        &figures.failures[lines]) != 4)
            break;
        figures.peakMb[lines] = kb / 1024.0;
    }
    figures.ok = pclose(pipe) == 0 && lines == 3;
    return figures;
}

} // namespace

void CompareFreshLoad(const std::vector<LargeFile>& files)
{
    const int rounds = std::max(3, gRounds);
    std::printf("\n== load, one per fresh process (%d rounds) ==\n", rounds);
    double ours = 0, rsvg = 0, oursCpu = 0, rsvgCpu = 0;
    for (const LargeFile& f : files) {
        const FreshFigures g = RunFresh(f.path, rounds);
        if (!g.ok) {
            AddRow("fresh load", f.name, "n/a", "", 0, "the fresh-process runner failed");
            continue;
        }
        ours += g.seconds[0];
        rsvg += g.seconds[1];
        oursCpu += g.cpu[0];
        rsvgCpu += g.cpu[1];
        const std::string failed = g.failures[0] || g.failures[1] ? "A LOAD FAILED; " : "";
        AddRow("fresh load", f.name + ": libkxSvg, whole process (ms)", Fixed(1e3 * g.seconds[0], 1), "", 0,
               failed + "CPU " + Fixed(1e3 * g.cpu[0], 1) + " ms");
        AddRow("fresh load", f.name + ": librsvg, whole process (ms)", Fixed(1e3 * g.seconds[1], 1), "", 0,
               "CPU " + Fixed(1e3 * g.cpu[1], 1) + " ms; reading only: " + Fixed(1e3 * g.seconds[2], 1) + " ms, CPU " +
                   Fixed(1e3 * g.cpu[2], 1) + " ms");
        const double speed = g.seconds[1] / g.seconds[0];
        AddRow("fresh load", f.name + ": libkxSvg / librsvg, wall time", Fixed(speed, 2) + "x", ">= 5x", Verdict(speed >= 5),
               "CPU time " + Fixed(g.cpu[1] / g.cpu[0], 2) + "x");
        const double oursNet = g.peakMb[0] - g.peakMb[2], rsvgNet = g.peakMb[1] - g.peakMb[2];
        AddRow("fresh load", f.name + ": peak memory libkxSvg / librsvg (MB)",
               Fixed(oursNet, 1) + " / " + Fixed(rsvgNet, 1), "<= 0.35", Verdict(oursNet <= 0.35 * rsvgNet),
               "over a process that reads the file (" + Fixed(g.peakMb[2], 1) + " MB); ratio " +
                   Fixed(oursNet / rsvgNet, 2) + "; whole processes " + Fixed(g.peakMb[0], 1) + " / " +
                   Fixed(g.peakMb[1], 1) + " MB");
    }
    if (ours > 0) {
        const double speed = rsvg / ours;
        AddRow("fresh load", "all large files: libkxSvg / librsvg, wall time", Fixed(speed, 2) + "x", ">= 5x",
               Verdict(speed >= 5), "CPU time " + Fixed(rsvgCpu / oursCpu, 2) + "x");
    }
}

} // namespace kxcompare
