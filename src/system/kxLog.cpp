// kxLog.cpp - the process-wide log: level switches and a replaceable sink.
#include <kx/system/kxLog.h>

#include <array>
#include <cstdio>
#include <mutex>

namespace {

constexpr int kLevelCount = 5;

struct LogState {
    std::mutex mutex;
    std::array<bool, kLevelCount> enabled{{true, true, true, true, false}};
    kxLog::Sink sink;
};

// Function-local so that libraries constructed during static initialisation
// (init counters, element tables) can already log.
LogState& state()
{
    static LogState s;
    return s;
}

void writeToStandardError(int level, const std::string& tag, const std::string& message)
{
    std::fprintf(stderr, "kx[%d] %s: %s\n", level, tag.c_str(), message.c_str());
}

bool isValidLevel(int level) { return level >= 0 && level < kLevelCount; }

} // namespace

void kxLog::write(int level, const std::string& tag, const std::string& message)
{
    if (!isValidLevel(level))
        return;
    Sink sink;
    {
        LogState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.enabled[static_cast<size_t>(level)])
            return;
        sink = s.sink;
    }
    // The sink runs outside the lock, so that it may itself log or change the
    // switches without dead-locking.
    if (sink)
        sink(level, tag, message);
    else
        writeToStandardError(level, tag, message);
}

void kxLog::setLevelEnabled(int level, bool enabled)
{
    if (!isValidLevel(level))
        return;
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.enabled[static_cast<size_t>(level)] = enabled;
}

bool kxLog::isLevelEnabled(int level)
{
    if (!isValidLevel(level))
        return false;
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.enabled[static_cast<size_t>(level)];
}

void kxLog::setSink(Sink sink)
{
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.sink = std::move(sink);
}
