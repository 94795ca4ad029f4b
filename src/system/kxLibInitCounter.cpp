// kxLibInitCounter.cpp - nesting counter for library start-up and shut-down.
#include "system/kxLibInitCounter.h"
#include <kx/system/kxLog.h>

namespace kx {
namespace impl {

LibInitCounter::LibInitCounter(const std::string& name, bool logUnbalanced)
    : m_name(name), m_logUnbalanced(logUnbalanced)
{
}

LibInitCounter::~LibInitCounter() = default;

bool LibInitCounter::incrementInitCounter()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_count;
    return m_count == 1;
}

bool LibInitCounter::decrementInitCounter()
{
    bool unbalanced = false;
    bool last = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_count == 0) {
            unbalanced = true;
        } else {
            --m_count;
            last = m_count == 0;
        }
    }
    if (unbalanced && m_logUnbalanced)
        kxLog::write(2, "init", "Library '" + m_name + "' terminated more often than initialised");
    return last;
}

int LibInitCounter::getCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

} // namespace impl
} // namespace kx
