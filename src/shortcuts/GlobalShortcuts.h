#pragma once

#include "shortcuts/CarbonGlobalShortcuts.h"
#include "shortcuts/HotKeyService.h"
#include "shortcuts/Shortcut.h"
#include "support/Defaults.h"
#include "support/NotificationCenter.h"
#include "support/RunLoop.h"
#include "support/Uuid.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moritane::GlobalShortcuts {

enum class EventType { keyDown, keyUp };

class Registry;

/// The presses of one name, buffered without bound until taken. Ending the stream (or dropping
/// it) detaches it on the main queue.
class EventStream {
public:
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;
    EventStream(EventStream&&) = delete;
    EventStream& operator=(EventStream&&) = delete;
    ~EventStream() { finish(); }

    /// The oldest event not yet taken.
    std::optional<EventType> next();
    void finish();

private:
    friend class Registry;
    explicit EventStream(std::function<void()> onFinish) : m_onFinish(std::move(onFinish)) {}

    std::deque<EventType> m_buffer;
    std::function<void()> m_onFinish;
};

/// The shortcuts of the application's names: their store in the user defaults, which survives
/// restarts, and the registry that makes stored shortcuts work whichever program has the keyboard
/// and runs the actions attached to each name. One per process. Main thread.
class Registry : public std::enable_shared_from_this<Registry> {
public:
    using Action = std::function<void()>;

    struct Dependencies {
        Defaults& defaults;
        NotificationCenter& notificationCenter;
        RunLoop& mainQueue;
        HotKeyService& hotKeyService;
    };

    static constexpr std::string_view shortcutByNameDidChange = "GlobalShortcuts_shortcutByNameDidChange";
    static constexpr std::string_view menuDidBeginTracking = "NSMenuDidBeginTrackingNotification";
    static constexpr std::string_view menuDidEndTracking = "NSMenuDidEndTrackingNotification";

    static std::shared_ptr<Registry> create(Dependencies dependencies);

    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;
    Registry(Registry&&) = delete;
    Registry& operator=(Registry&&) = delete;
    ~Registry();

    // The store.

    /// Makes a name; a default reaches the store only if nothing at all is stored for it yet.
    Name makeName(std::string rawValue, std::optional<Shortcut> defaultShortcut = std::nullopt);
    [[nodiscard]] std::optional<Shortcut> getShortcut(const Name& name) const;
    void setShortcut(const std::optional<Shortcut>& shortcut, const Name& name);
    /// Brings each name back to its default, or to none.
    void reset(const std::vector<Name>& names);
    /// The defaults key of `name`: "GlobalShortcuts_" and its raw value.
    static std::string key(const Name& name);

    // The registry.

    void onKeyDown(const Name& name, Action action);
    void onKeyUp(const Name& name, Action action);
    void removeAllHandlers();
    void enable(const std::vector<Name>& names);
    void disable(const std::vector<Name>& names);
    void registerIfNeeded(const Shortcut& shortcut);
    void unregister(const Shortcut& shortcut);

    /// The presses of `name`, of both kinds or of one.
    std::shared_ptr<EventStream> events(const Name& name, std::optional<EventType> only = std::nullopt);

    [[nodiscard]] bool isEnabled() const { return m_mode.isEnabled; }
    void setEnabled(bool enabled);
    /// Set while a recorder records: presses then run nothing.
    [[nodiscard]] bool isPaused() const { return m_isPaused; }
    void setPaused(bool paused) { m_isPaused = paused; }
    [[nodiscard]] bool isMenuOpen() const { return m_mode.isMenuOpen; }
    [[nodiscard]] const std::set<Shortcut>& registeredShortcuts() const { return m_registeredShortcuts; }
    [[nodiscard]] const CarbonGlobalShortcuts& carbon() const { return m_carbon; }

private:
    using ActionTable = std::vector<std::pair<Name, std::vector<Action>>>;
    using StreamTable = std::vector<std::pair<Name, std::map<Uuid, std::function<void()>>>>;

    explicit Registry(Dependencies dependencies)
        : m_dependencies(dependencies), m_carbon(dependencies.hotKeyService, m_mode) {}

    void storeShortcut(const Shortcut& shortcut, const Name& name);
    void postChange(const Name& name);
    void startMenuTracking();
    void setMenuOpen(bool open);
    void attach(ActionTable& table, const Name& name, Action action);
    void dispatch(const Shortcut& pressed, EventType type);
    void addStream(const Uuid& id, const Name& name, std::optional<EventType> only,
                   const std::weak_ptr<EventStream>& stream);
    void removeStream(const Uuid& id, const Name& name);
    [[nodiscard]] bool isHeldByAnyName(const Shortcut& shortcut) const;

    Dependencies m_dependencies;
    CarbonGlobalShortcuts::Mode m_mode;
    CarbonGlobalShortcuts m_carbon;
    bool m_isPaused = false;
    bool m_isInitialized = false;
    std::set<Shortcut> m_registeredShortcuts;
    ActionTable m_keyDownActions;
    ActionTable m_keyUpActions;
    StreamTable m_keyDownStreamHandlers;
    StreamTable m_keyUpStreamHandlers;
    std::vector<ObserverToken> m_menuObservers;
};

}  // namespace moritane::GlobalShortcuts
