#pragma once

#include "support/RunLoop.h"
#include "support/Subscription.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace moritane {

/// A stored value with subscribers. Every assignment, changed or not, tells every subscriber the
/// new value before the stored value changes, so a subscriber that needs the new value takes it
/// from its argument. Subscribing delivers the present value at once. Main thread only.
template <typename T>
class Published {
public:
    using Action = std::function<void(const T&)>;

    explicit Published(T initial = T{}) : m_value(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    Published(Published&&) = delete;
    Published& operator=(Published&&) = delete;
    ~Published() = default;

    [[nodiscard]] const T& value() const { return m_value; }

    void set(T newValue) {
        // A copy, so that an action may subscribe or cancel while it is being told.
        const auto entries = m_registry->entries;
        for (const auto& entry : entries) {
            if (entry->active) {
                entry->deliver(newValue);
            }
        }
        m_value = std::move(newValue);
    }

    Published& operator=(T newValue) {
        set(std::move(newValue));
        return *this;
    }

    /// Tells `action` on the assigning thread, at once.
    [[nodiscard]] Subscription subscribe(Action action) {
        auto entry = std::make_shared<Entry>();
        entry->action = std::move(action);
        entry->deliver = [raw = entry.get()](const T& value) { raw->action(value); };
        return add(std::move(entry));
    }

    /// Tells `action` on a later turn of the main queue; the present value, too, arrives there.
    /// A value still queued when the subscription ends is not delivered.
    [[nodiscard]] Subscription subscribe(RunLoop& mainQueue, Action action) {
        auto entry = std::make_shared<Entry>();
        entry->action = std::move(action);
        entry->deliver = [&mainQueue, weak = std::weak_ptr<Entry>(entry)](const T& value) {
            mainQueue.post([weak, value] {
                if (auto alive = weak.lock(); alive && alive->active) {
                    alive->action(value);
                }
            });
        };
        return add(std::move(entry));
    }

private:
    struct Entry {
        bool active = true;
        Action action;
        std::function<void(const T&)> deliver;
    };
    struct Registry {
        std::vector<std::shared_ptr<Entry>> entries;
    };

    Subscription add(std::shared_ptr<Entry> entry) {
        m_registry->entries.push_back(entry);
        entry->deliver(m_value);
        return Subscription([registry = std::weak_ptr<Registry>(m_registry), weakEntry = std::weak_ptr<Entry>(entry)] {
            auto ended = weakEntry.lock();
            auto owner = registry.lock();
            if (!ended || !owner) {
                return;
            }
            ended->active = false;
            std::erase(owner->entries, ended);
        });
    }

    T m_value;
    std::shared_ptr<Registry> m_registry = std::make_shared<Registry>();
};

/// The latest values of several properties together: once each has delivered a value, every later
/// assignment to any of them tells `action` all of the latest values, on a later turn of the main
/// queue. Equal values are told again. Ends, queued deliveries included, when the handle is dropped.
template <typename... T>
[[nodiscard]] Subscription combineLatest(RunLoop& mainQueue,
                                         std::type_identity_t<std::function<void(const T&...)>> action,
                                         Published<T>&... sources) {
    struct State {
        std::tuple<std::optional<T>...> latest;
        std::function<void(const T&...)> action;
        bool active = true;
        std::vector<Subscription> upstream;
    };
    auto state = std::make_shared<State>();
    state->action = std::move(action);
    const std::weak_ptr<State> weak = state;
    const auto deliver = [&mainQueue, weak](State& current) {
        const bool complete =
            std::apply([](const auto&... value) { return (value.has_value() && ...); }, current.latest);
        if (!complete) {
            return;
        }
        mainQueue.post([weak, values = std::apply([](const auto&... value) { return std::make_tuple(*value...); },
                                                  current.latest)] {
            if (auto alive = weak.lock(); alive && alive->active) {
                std::apply(alive->action, values);
            }
        });
    };
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (state->upstream.push_back(sources.subscribe([weak, deliver](const auto& value) {
            if (auto alive = weak.lock()) {
                std::get<I>(alive->latest) = value;
                deliver(*alive);
            }
        })),
         ...);
    }
    (std::index_sequence_for<T...>{});
    return Subscription([state] {
        state->active = false;
        state->upstream.clear();
    });
}

}  // namespace moritane
