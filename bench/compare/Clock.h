// Clock.h - process CPU time, wall time and medians, shared by the comparison
// program and its fresh-process runner.
#ifndef KX_BENCH_COMPARE_CLOCK_H
#define KX_BENCH_COMPARE_CLOCK_H

#include <time.h>

#include <algorithm>
#include <vector>

namespace kxcompare {

/// CPU time of this process (s).
inline double CpuSeconds()
{
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

/// Wall-clock time (s, monotonic).
inline double WallSeconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

/// Median of the values; 0 when empty.
inline double Median(std::vector<double> v)
{
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

} // namespace kxcompare

#endif
