#include "support/SerialQueue.h"

namespace moritane {

SerialQueue::SerialQueue(std::string label) : m_label(std::move(label)), m_thread([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        const std::scoped_lock lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void SerialQueue::async(std::function<void()> work) {
    {
        const std::scoped_lock lock(m_mutex);
        if (m_stopping) {
            return;
        }
        m_work.push_back(std::move(work));
    }
    m_wake.notify_one();
}

void SerialQueue::run() {
    while (true) {
        std::function<void()> work;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_work.empty(); });
            if (m_work.empty()) {
                return;
            }
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
    }
}

}  // namespace moritane
