#include "platform/sim/ManualDispatchQueue.h"

namespace moritane {

void ManualDispatchQueue::async(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_work.push_back(std::move(work));
}

bool ManualDispatchQueue::runOne() {
    std::function<void()> work;
    {
        const std::scoped_lock lock(m_mutex);
        if (m_work.empty()) {
            return false;
        }
        work = std::move(m_work.front());
        m_work.pop_front();
    }
    work();
    return true;
}

std::size_t ManualDispatchQueue::runAll() {
    std::size_t count = 0;
    while (runOne()) {
        ++count;
    }
    return count;
}

std::size_t ManualDispatchQueue::pending() const {
    const std::scoped_lock lock(m_mutex);
    return m_work.size();
}

}  // namespace moritane
