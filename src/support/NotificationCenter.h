#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

using UserInfo = std::map<std::string, std::string, std::less<>>;

/// Posted on the main thread each time the application comes to the front.
inline constexpr std::string_view applicationDidBecomeActiveNotification = "NSApplicationDidBecomeActiveNotification";

struct Notification {
    std::string name;
    UserInfo userInfo;
};

/// Identifies one observer for its removal. Dropping a token does not remove the observer.
struct ObserverToken {
    std::uint64_t id = 0;
    friend bool operator==(const ObserverToken&, const ObserverToken&) = default;
};

/// Named notifications, delivered synchronously on the posting thread to the observers of that
/// name, in the order they were added. Safe to use from any thread.
class NotificationCenter {
public:
    using Action = std::function<void(const Notification&)>;

    ObserverToken addObserver(std::string name, Action action);
    /// Removing an observer that is gone already does nothing.
    void removeObserver(ObserverToken token);
    void post(std::string_view name, UserInfo userInfo = {});

private:
    struct Observer {
        std::uint64_t id;
        std::string name;
        std::shared_ptr<Action> action;
    };

    std::mutex m_mutex;
    std::uint64_t m_nextId = 1;
    std::vector<Observer> m_observers;
};

}  // namespace moritane
