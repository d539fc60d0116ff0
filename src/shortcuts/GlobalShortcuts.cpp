#include "shortcuts/GlobalShortcuts.h"

#include <algorithm>

namespace moritane::GlobalShortcuts {

std::optional<EventType> EventStream::next() {
    if (m_buffer.empty()) {
        return std::nullopt;
    }
    const auto event = m_buffer.front();
    m_buffer.pop_front();
    return event;
}

void EventStream::finish() {
    if (auto onFinish = std::exchange(m_onFinish, nullptr)) {
        onFinish();
    }
}

std::shared_ptr<Registry> Registry::create(Dependencies dependencies) {
    return std::shared_ptr<Registry>(new Registry(dependencies));
}

Registry::~Registry() {
    for (const auto token : m_menuObservers) {
        m_dependencies.notificationCenter.removeObserver(token);
    }
}

std::string Registry::key(const Name& name) {
    return "GlobalShortcuts_" + name.rawValue;
}

Name Registry::makeName(std::string rawValue, std::optional<Shortcut> defaultShortcut) {
    Name name{std::move(rawValue), defaultShortcut};
    // Anything stored, even a value that does not decode, is the user's: the default comes once.
    if (defaultShortcut && std::holds_alternative<std::monostate>(m_dependencies.defaults.object(key(name)))) {
        setShortcut(defaultShortcut, name);
    }
    if (!m_isInitialized) {
        startMenuTracking();
    }
    return name;
}

std::optional<Shortcut> Registry::getShortcut(const Name& name) const {
    const auto text = m_dependencies.defaults.string(key(name));
    return text ? decodeShortcut(*text) : std::nullopt;
}

void Registry::setShortcut(const std::optional<Shortcut>& shortcut, const Name& name) {
    if (shortcut) {
        storeShortcut(*shortcut, name);
        return;
    }
    const auto current = getShortcut(name);
    if (!current) {
        return;
    }
    if (name.defaultShortcut) {
        m_dependencies.defaults.setObject(key(name), false);  // keeps the default from coming back
    } else {
        m_dependencies.defaults.removeObject(key(name));
    }
    unregister(*current);
    postChange(name);
}

void Registry::storeShortcut(const Shortcut& shortcut, const Name& name) {
    auto text = encode(shortcut);
    if (const auto current = getShortcut(name)) {
        unregister(*current);
    }
    registerIfNeeded(shortcut);
    m_dependencies.defaults.setObject(key(name), std::move(text));
    postChange(name);
}

void Registry::reset(const std::vector<Name>& names) {
    for (const auto& name : names) {
        if (name.defaultShortcut) {
            storeShortcut(*name.defaultShortcut, name);
            continue;
        }
        const auto current = getShortcut(name);
        if (!current) {
            continue;
        }
        m_dependencies.defaults.removeObject(key(name));
        unregister(*current);
        postChange(name);
    }
}

void Registry::postChange(const Name& name) {
    m_dependencies.notificationCenter.post(shortcutByNameDidChange, {{"name", name.rawValue}});
}

void Registry::startMenuTracking() {
    auto& center = m_dependencies.notificationCenter;
    for (const auto& [notification, open] : {std::pair{menuDidBeginTracking, true}, {menuDidEndTracking, false}}) {
        m_menuObservers.push_back(
            center.addObserver(std::string(notification), [weak = weak_from_this(), open = open](const Notification&) {
                if (auto self = weak.lock()) {
                    self->setMenuOpen(open);
                }
            }));
    }
    m_isInitialized = true;
}

void Registry::setMenuOpen(bool open) {
    if (m_mode.isMenuOpen == open) {
        return;
    }
    m_mode.isMenuOpen = open;
    m_carbon.updateEventHandler();
}

void Registry::setEnabled(bool enabled) {
    if (m_mode.isEnabled == enabled) {
        return;
    }
    m_mode.isEnabled = enabled;
    m_carbon.updateEventHandler();
}

void Registry::onKeyDown(const Name& name, Action action) {
    attach(m_keyDownActions, name, std::move(action));
}

void Registry::onKeyUp(const Name& name, Action action) {
    attach(m_keyUpActions, name, std::move(action));
}

void Registry::attach(ActionTable& table, const Name& name, Action action) {
    auto entry = std::find_if(table.begin(), table.end(), [&](const auto& row) { return row.first == name; });
    if (entry == table.end()) {
        table.emplace_back(name, std::vector<Action>{});
        entry = std::prev(table.end());
    }
    entry->second.push_back(std::move(action));
    if (const auto shortcut = getShortcut(name)) {
        registerIfNeeded(*shortcut);
    }
}

void Registry::enable(const std::vector<Name>& names) {
    for (const auto& name : names) {
        if (const auto shortcut = getShortcut(name)) {
            registerIfNeeded(*shortcut);
        }
    }
}

void Registry::disable(const std::vector<Name>& names) {
    for (const auto& name : names) {
        if (const auto shortcut = getShortcut(name)) {
            unregister(*shortcut);
        }
    }
}

void Registry::registerIfNeeded(const Shortcut& shortcut) {
    if (m_registeredShortcuts.contains(shortcut)) {
        return;
    }
    const auto entry = [weak = weak_from_this()](EventType type) {
        return [weak, type](const Shortcut& pressed) {
            if (auto self = weak.lock()) {
                self->dispatch(pressed, type);
            }
        };
    };
    m_carbon.registerShortcut(shortcut, entry(EventType::keyDown), entry(EventType::keyUp));
    // Kept even when the service refused, so that no further attempt is made.
    m_registeredShortcuts.insert(shortcut);
}

void Registry::unregister(const Shortcut& shortcut) {
    m_carbon.unregister(shortcut);
    m_registeredShortcuts.erase(shortcut);
}

void Registry::dispatch(const Shortcut& pressed, EventType type) {
    if (m_isPaused) {
        return;
    }
    // Copies, read afresh at each press: an action may attach, set or remove shortcuts.
    const auto actions = type == EventType::keyDown ? m_keyDownActions : m_keyUpActions;
    for (const auto& [name, list] : actions) {
        if (getShortcut(name) == pressed) {
            for (const auto& action : list) {
                action();
            }
        }
    }
    const auto streams = type == EventType::keyDown ? m_keyDownStreamHandlers : m_keyUpStreamHandlers;
    for (const auto& [name, handlers] : streams) {
        if (getShortcut(name) == pressed) {
            for (const auto& [id, handler] : handlers) {
                handler();
            }
        }
    }
}

void Registry::removeAllHandlers() {
    std::set<Shortcut> withActions;
    std::set<Shortcut> withStreams;
    for (const auto* table : {&m_keyDownActions, &m_keyUpActions}) {
        for (const auto& [name, actions] : *table) {
            if (const auto shortcut = getShortcut(name)) {
                withActions.insert(*shortcut);
            }
        }
    }
    for (const auto* table : {&m_keyDownStreamHandlers, &m_keyUpStreamHandlers}) {
        for (const auto& [name, handlers] : *table) {
            if (const auto shortcut = getShortcut(name)) {
                withStreams.insert(*shortcut);
            }
        }
    }
    for (const auto& shortcut : withActions) {
        if (!withStreams.contains(shortcut)) {
            unregister(shortcut);
        }
    }
    m_keyDownActions.clear();
    m_keyUpActions.clear();
}

std::shared_ptr<EventStream> Registry::events(const Name& name, std::optional<EventType> only) {
    const auto id = Uuid::random();
    auto& mainQueue = m_dependencies.mainQueue;
    std::shared_ptr<EventStream> stream(new EventStream([&mainQueue, weak = weak_from_this(), id, name] {
        mainQueue.post([weak, id, name] {
            if (auto self = weak.lock()) {
                self->removeStream(id, name);
            }
        });
    }));
    mainQueue.post([weak = weak_from_this(), id, name, only, weakStream = std::weak_ptr<EventStream>(stream)] {
        if (auto self = weak.lock()) {
            self->addStream(id, name, only, weakStream);
        }
    });
    return stream;
}

void Registry::addStream(const Uuid& id, const Name& name, std::optional<EventType> only,
                         const std::weak_ptr<EventStream>& stream) {
    for (const auto type : {EventType::keyDown, EventType::keyUp}) {
        if (only && *only != type) {
            continue;
        }
        auto& table = type == EventType::keyDown ? m_keyDownStreamHandlers : m_keyUpStreamHandlers;
        auto entry = std::find_if(table.begin(), table.end(), [&](const auto& row) { return row.first == name; });
        if (entry == table.end()) {
            table.emplace_back(name, std::map<Uuid, std::function<void()>>{});
            entry = std::prev(table.end());
        }
        entry->second[id] = [stream, type] {
            if (auto alive = stream.lock()) {
                alive->m_buffer.push_back(type);
            }
        };
    }
    if (const auto shortcut = getShortcut(name)) {
        registerIfNeeded(*shortcut);
    }
}

void Registry::removeStream(const Uuid& id, const Name& name) {
    for (auto* table : {&m_keyDownStreamHandlers, &m_keyUpStreamHandlers}) {
        for (auto& [tableName, handlers] : *table) {
            handlers.erase(id);
        }
        std::erase_if(*table, [](const auto& row) { return row.second.empty(); });
    }
    if (const auto shortcut = getShortcut(name); shortcut && !isHeldByAnyName(*shortcut)) {
        unregister(*shortcut);
    }
}

bool Registry::isHeldByAnyName(const Shortcut& shortcut) const {
    const auto holds = [&](const Name& name) { return getShortcut(name) == shortcut; };
    for (const auto* table : {&m_keyDownActions, &m_keyUpActions}) {
        for (const auto& [name, actions] : *table) {
            if (!actions.empty() && holds(name)) {
                return true;
            }
        }
    }
    for (const auto* table : {&m_keyDownStreamHandlers, &m_keyUpStreamHandlers}) {
        for (const auto& [name, handlers] : *table) {
            if (!handlers.empty() && holds(name)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace moritane::GlobalShortcuts
