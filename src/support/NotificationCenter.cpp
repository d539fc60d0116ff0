#include "support/NotificationCenter.h"

#include <algorithm>

namespace moritane {

ObserverToken NotificationCenter::addObserver(std::string name, Action action) {
    const std::scoped_lock lock(m_mutex);
    const auto id = m_nextId++;
    m_observers.push_back({id, std::move(name), std::make_shared<Action>(std::move(action))});
    return ObserverToken{id};
}

void NotificationCenter::removeObserver(ObserverToken token) {
    const std::scoped_lock lock(m_mutex);
    std::erase_if(m_observers, [&](const Observer& observer) { return observer.id == token.id; });
}

void NotificationCenter::post(std::string_view name, UserInfo userInfo) {
    std::vector<std::shared_ptr<Action>> actions;
    {
        const std::scoped_lock lock(m_mutex);
        for (const auto& observer : m_observers) {
            if (observer.name == name) {
                actions.push_back(observer.action);
            }
        }
    }
    // Outside the lock: an observer may add or remove observers, or post again.
    const Notification notification{std::string(name), std::move(userInfo)};
    for (const auto& action : actions) {
        (*action)(notification);
    }
}

}  // namespace moritane
