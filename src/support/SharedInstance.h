#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace moritane {

/// The one object of a kind that the process shares, made by its factory at the first use,
/// under a run-once guarantee, and kept as long as this holder lives.
template <typename T>
class SharedInstance {
public:
    using Factory = std::function<std::shared_ptr<T>()>;

    explicit SharedInstance(Factory factory) : m_factory(std::move(factory)) {}

    T& get() { return *pointer(); }

    /// For holders that keep a weak reference to the instance.
    std::shared_ptr<T> pointer() {
        std::call_once(m_once, [this] {
            m_instance = m_factory();
            m_made = true;
        });
        return m_instance;
    }

    [[nodiscard]] bool isMade() const { return m_made; }

private:
    Factory m_factory;
    std::once_flag m_once;
    std::shared_ptr<T> m_instance;
    std::atomic<bool> m_made = false;
};

}  // namespace moritane
