// FreshRun.cpp - runs programs on one file, each in a fresh process,
// alternating between them round after round, and prints per program the
// median whole-process wall time, the median CPU time (user and system) and
// the median peak resident set that wait4 reports.
//
//   kxsvg_fresh_run ROUNDS FILE PROGRAM [ARG]... [-- PROGRAM [ARG]...]...
//
// Output: one line per program, "<wall s> <CPU s> <peak KiB> <failures>".
//
// The peak resident set of a child counts the pages of the process it was
// forked from as well (Linux keeps the larger of the two across exec), so
// this runner stays small: it is started on its own, not forked from a
// program that holds large inputs.
#include "Clock.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using kxcompare::Median;
using kxcompare::WallSeconds;

struct Program {
    std::vector<char*> argv; // the command, the file, then nullptr
    std::vector<double> seconds, cpuSeconds, peakKb;
    int failures = 0;
};

// Runs one program to its end; false when it could not be started or failed.
bool RunOnce(Program& program)
{
    const double start = WallSeconds();
    const pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        execv(program.argv[0], program.argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) return false;
    program.seconds.push_back(WallSeconds() - start);
    program.cpuSeconds.push_back(double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                                 1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec));
    program.peakKb.push_back(double(usage.ru_maxrss));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s ROUNDS FILE PROGRAM [ARG]... [-- PROGRAM [ARG]...]...\n", argv[0]);
        return 2;
    }
    const int rounds = std::max(1, std::atoi(argv[1]));
    char* file = argv[2];
    std::vector<Program> programs(1);
    for (int i = 3; i < argc; ++i) {
        if (std::string(argv[i]) == "--") {
            programs.emplace_back();
            continue;
        }
        programs.back().argv.push_back(argv[i]);
    }
    for (Program& program : programs) {
        if (program.argv.empty()) return 2;
        program.argv.push_back(file);
        program.argv.push_back(nullptr);
    }
    // One unmeasured round brings the programs and the file into the page cache.
    for (Program& program : programs) RunOnce(program);
    for (Program& program : programs) {
        program.seconds.clear();
        program.cpuSeconds.clear();
        program.peakKb.clear();
    }
    for (int r = 0; r < rounds; ++r)
        for (Program& program : programs)
            if (!RunOnce(program)) ++program.failures;
    for (const Program& program : programs)
        std::printf("%.6f %.6f %.0f %d\n", Median(program.seconds), Median(program.cpuSeconds), Median(program.peakKb),
                    program.failures);
    return 0;
}
