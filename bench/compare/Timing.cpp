// Timing.cpp - process CPU and wall time, medians, resident-set figures, work
// in a forked child with a time limit, and the count of every operator new.
#include "Compare.h"

#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

// ------------------------------------------------------------------ allocation count
// Every operator new of the process is counted, so a run can show that a
// phase allocates nothing once its buffers have grown.
std::atomic<unsigned long long> kxcompare::gAllocations{0};

// These replace the global operators; pairing them with malloc/free is the point.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size)
{
    kxcompare::gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace kxcompare {

int gRounds = 5;
std::string gSelf;

long CurrentRssKb()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

double PeakRssOfThisProcessKb()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmHWM:") == 0) return std::atof(line.c_str() + 6);
    return 0.0;
}

ChildResult RunInChild(const std::function<double()>& work, int timeoutSeconds)
{
    ChildResult result;
    int fds[2];
    if (pipe(fds) != 0) return result;
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return result;
    }
    if (pid == 0) {
        close(fds[0]);
        const long baseKb = CurrentRssKb();
        const double start = CpuSeconds();
        const double value = work();
        const double seconds = CpuSeconds() - start;
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        double message[3] = {seconds, double(usage.ru_maxrss - baseKb) / 1024.0, value};
        ssize_t written = write(fds[1], message, sizeof message);
        (void)written;
        _exit(0);
    }
    close(fds[1]);
    pollfd p{fds[0], POLLIN, 0};
    const int ready = poll(&p, 1, timeoutSeconds * 1000);
    double message[3] = {0, 0, 0};
    if (ready > 0 && read(fds[0], message, sizeof message) == ssize_t(sizeof message)) {
        result.ok = true;
        result.seconds = message[0];
        result.peakMb = message[1];
        result.value = message[2];
    } else {
        result.timedOut = ready == 0;
        kill(pid, SIGKILL);
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return result;
}

} // namespace kxcompare
