#pragma once

#include "support/DispatchQueue.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace moritane {

/// A labelled queue with one worker thread of its own: work runs there one item at a time, in
/// the order it was queued. Destroying the queue runs what is queued, then ends the thread.
class SerialQueue final : public DispatchQueue {
public:
    explicit SerialQueue(std::string label);
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    SerialQueue(SerialQueue&&) = delete;
    SerialQueue& operator=(SerialQueue&&) = delete;
    ~SerialQueue() override;

    void async(std::function<void()> work) override;
    [[nodiscard]] const std::string& label() const override { return m_label; }

private:
    void run();

    const std::string m_label;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_work;
    bool m_stopping = false;
    std::thread m_thread;  // last, so that it starts after everything it uses
};

}  // namespace moritane
