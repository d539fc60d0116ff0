#pragma once

#include <functional>
#include <string>

namespace moritane {

/// A labelled queue that runs work away from the main thread, one item at a time, in order.
class DispatchQueue {
public:
    virtual ~DispatchQueue() = default;
    /// Queues `work` and returns at once. Callable from any thread.
    virtual void async(std::function<void()> work) = 0;
    [[nodiscard]] virtual const std::string& label() const = 0;
};

}  // namespace moritane
