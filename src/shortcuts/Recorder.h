#pragma once

#include "shortcuts/GlobalShortcuts.h"
#include "shortcuts/KeyboardLayout.h"
#include "shortcuts/MenuItem.h"
#include "shortcuts/Shortcut.h"
#include "shortcuts/SymbolicHotKeys.h"
#include "support/Localization.h"
#include "support/NotificationCenter.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The shortcut recorder without its toolkit: which event does what while it records, and the
/// states of the field that shows and edits one name's shortcut.
namespace moritane::GlobalShortcuts {

/// The special keys that the recording rules tell apart, as the platform's events name them.
namespace SpecialKey {
inline constexpr std::uint32_t backspace = 0x08;
inline constexpr std::uint32_t tab = 0x09;
inline constexpr std::uint32_t delete_ = 0x7F;
inline constexpr std::uint32_t deleteForward = 0xF728;
inline constexpr std::uint32_t f1 = 0xF704;
}  // namespace SpecialKey

/// The special key of a key code's key: tab, delete, forward delete or F1 to F20. Other special
/// keys (arrows, home, return...) are left out: the rules treat them as keys with none.
std::optional<std::uint32_t> specialKey(std::int64_t keyCode);

/// Modifier flags without caps lock, numeric pad and function, which never make a shortcut.
std::int64_t plainModifiers(std::int64_t modifierFlags);

/// Whether a point, in the field's own coordinates, lies in its bounds grown by 3 points on each side.
bool isNearField(double x, double y, double width, double height);

/// An event that the recorder sees while it records.
struct RecorderEvent {
    enum class Type { keyDown, leftMouseUp, rightMouseUp };

    Type type = Type::keyDown;
    std::int64_t keyCode = 0;
    /// In event form.
    std::int64_t modifierFlags = 0;
    std::optional<std::uint32_t> specialKey;
    /// For a mouse up: whether it is near the field (see `isNearField`).
    bool isNearField = false;

    static RecorderEvent keyDown(const KeyEvent& event) {
        return {Type::keyDown, event.keyCode, event.modifierFlags, GlobalShortcuts::specialKey(event.keyCode), false};
    }
};

/// What the recorder does with an event, and whether the event goes on to its target.
struct RecorderDecision {
    enum class Action { nothing, blur, clickClearButton, beep, menuConflictAlert, systemConflictAlert, save };

    Action action = Action::nothing;
    bool swallowed = true;
    /// For the alerts and saving.
    std::optional<Shortcut> shortcut;
    /// For the menu conflict.
    std::string menuItemTitle;

    friend bool operator==(const RecorderDecision&, const RecorderDecision&) = default;
};

/// Where a recorded shortcut may already be in use.
struct ShortcutUsers {
    const KeyboardLayout& keyboardLayout;
    const SymbolicHotKeys& symbolicHotKeys;
    /// None where the application has no main menu.
    const Menu* mainMenu;
};

/// The recording rules, in their order; the first that applies decides.
RecorderDecision decide(const RecorderEvent& event, bool fieldExists, const ShortcutUsers& users);

/// An alert of the recorder: its title, its message if any, and its buttons in order; no
/// buttons means the toolkit's default one.
struct RecorderAlert {
    static constexpr int firstButton = 1000;
    static constexpr int secondButton = 1001;

    std::string title;
    std::optional<std::string> message;
    std::vector<std::string> buttons;
};

/// What the recorder asks of the control on screen.
class RecorderField {
public:
    virtual ~RecorderField() = default;
    [[nodiscard]] virtual std::string text() const = 0;
    virtual void setText(const std::string& text) = 0;
    virtual void setPlaceholder(const std::string& placeholder) = 0;
    virtual void setClearButtonShown(bool shown) = 0;
    /// Recording hides the caret and sees every key press and mouse up first, until it ends.
    virtual void setRecording(bool recording) = 0;
    /// Gives up the keyboard, which ends recording.
    virtual void blur() = 0;
    /// Takes the keyboard, which starts recording.
    virtual void focus() = 0;
    virtual void beep() = 0;
    /// Runs `alert` modally and gives the answer: `RecorderAlert::firstButton` or `secondButton`.
    virtual int runAlert(const RecorderAlert& alert) = 0;
};

/// The states of one recorder: it shows the stored shortcut of its name and, while it has the
/// keyboard, records. The field tells it what happens on screen; it may go away at any time, even
/// in the middle of an alert, and says so with `detachField`.
class RecorderController : public std::enable_shared_from_this<RecorderController> {
public:
    using OnChange = std::function<void(const std::optional<Shortcut>&)>;

    struct Dependencies {
        Registry& registry;
        ShortcutUsers users;
        /// The subsystem's own table.
        const Localization& localization;
        NotificationCenter& notificationCenter;
    };

    static std::shared_ptr<RecorderController> create(Dependencies dependencies, Name name, OnChange onChange,
                                                      RecorderField& field);

    RecorderController(const RecorderController&) = delete;
    RecorderController& operator=(const RecorderController&) = delete;
    RecorderController(RecorderController&&) = delete;
    RecorderController& operator=(RecorderController&&) = delete;
    ~RecorderController();

    [[nodiscard]] bool isRecording() const { return m_isRecording; }

    /// The field has the keyboard now.
    void startRecording();
    /// The field has lost the keyboard, its window or its window's key status.
    void endRecording();
    /// Applies the rules to an event seen while recording; gives whether it is swallowed.
    bool handle(const RecorderEvent& event);
    /// The clear button, by the mouse or by the delete key: it exists only while there is text.
    void clickClearButton();
    /// The field is going; from now on nothing reaches it.
    void detachField();

private:
    RecorderController(Dependencies dependencies, Name name, OnChange onChange, RecorderField& field);

    void refresh();
    void showClearButton();
    void save(const Shortcut& shortcut);
    /// Blurs, asks, and takes the keyboard again; none when the field went away meanwhile.
    std::optional<int> alertThenFocus(const RecorderAlert& alert);

    Dependencies m_dependencies;
    Name m_name;
    OnChange m_onChange;
    RecorderField* m_field;
    bool m_isRecording = false;
    ObserverToken m_observer;
};

}  // namespace moritane::GlobalShortcuts
