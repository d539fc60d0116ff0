#pragma once

#include <functional>
#include <utility>

namespace moritane {

/// Ends a subscription when dropped or cancelled; move-only. An owner keeps its handles for as
/// long as it wants to hear.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> cancel) : m_cancel(std::move(cancel)) {}
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    Subscription(Subscription&& other) noexcept : m_cancel(std::exchange(other.m_cancel, {})) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            cancel();
            m_cancel = std::exchange(other.m_cancel, {});
        }
        return *this;
    }
    ~Subscription() { cancel(); }

    void cancel() {
        if (auto cancel = std::exchange(m_cancel, {})) {
            cancel();
        }
    }

private:
    std::function<void()> m_cancel;
};

}  // namespace moritane
