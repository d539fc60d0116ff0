#pragma once

#include "support/DispatchQueue.h"

#include <deque>
#include <mutex>

namespace moritane {

/// A queue for tests: work waits until the test runs it, on the test's own thread.
class ManualDispatchQueue final : public DispatchQueue {
public:
    explicit ManualDispatchQueue(std::string label) : m_label(std::move(label)) {}

    void async(std::function<void()> work) override;
    [[nodiscard]] const std::string& label() const override { return m_label; }

    /// Runs queued work, including work queued meanwhile, until none is left; returns how much ran.
    std::size_t runAll();
    /// Runs the oldest item, if any; returns whether one ran.
    bool runOne();
    [[nodiscard]] std::size_t pending() const;

private:
    const std::string m_label;
    mutable std::mutex m_mutex;
    std::deque<std::function<void()>> m_work;
};

}  // namespace moritane
