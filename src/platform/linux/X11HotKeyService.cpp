#include "platform/linux/X11HotKeyService.h"

#include "platform/linux/X11KeyCodes.h"
#include "platform/linux/XcbXkb.h"
#include "shortcuts/Shortcut.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

namespace moritane {

using namespace GlobalShortcuts;

namespace {

constexpr OSStatus kParamErr = -50;
constexpr OSStatus kEventHotKeyExistsErr = -9878;
constexpr OSStatus kEventHotKeyInvalidErr = -9879;
constexpr std::uint16_t kNumLock = XCB_MOD_MASK_2;
constexpr std::array<std::uint16_t, 4> kLockVariants{0, XCB_MOD_MASK_LOCK, kNumLock, XCB_MOD_MASK_LOCK | kNumLock};

/// Holds a reply or error that xcb hands over, and frees it.
template <typename T>
struct Freed {
    T* value;
    explicit Freed(T* given) : value(given) {}
    Freed(const Freed&) = delete;
    Freed& operator=(const Freed&) = delete;
    Freed(Freed&&) = delete;
    Freed& operator=(Freed&&) = delete;
    ~Freed() { std::free(value); }  // NOLINT(cppcoreguidelines-no-malloc): xcb allocates with malloc
};

/// Asks for the raw key events of every keyboard, sent to us whoever has the keyboard (XInput
/// 2.1 on); gives the extension's opcode, or none.
std::optional<std::uint8_t> selectRawKeys(xcb_connection_t* connection, xcb_window_t root) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (extension == nullptr || extension->present == 0U) {
        return std::nullopt;
    }
    const Freed version(
        xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
    if (version.value == nullptr || version.value->major_version < 2 ||
        (version.value->major_version == 2 && version.value->minor_version < 1)) {
        return std::nullopt;
    }
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
           XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE};
    const Freed error(
        xcb_request_check(connection, xcb_input_xi_select_events_checked(connection, root, 1, &mask.head)));
    if (error.value != nullptr) {
        return std::nullopt;
    }
    return extension->major_opcode;
}

/// Asks the server to repeat a held key with presses alone, as it otherwise sends a release
/// before each repeated press; true when it will.
bool askForDetectableAutoRepeat(xcb_connection_t* connection) {
    const Freed use(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
    if (use.value == nullptr || use.value->supported == 0U) {
        return false;
    }
    constexpr std::uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const Freed flags(xcb_xkb_per_client_flags_reply(
        connection, xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, detectable, detectable, 0, 0, 0),
        nullptr));
    return flags.value != nullptr && (flags.value->value & detectable) != 0U;
}

/// The service's modifiers and the X modifier bits they are held with, both ways.
constexpr std::array<std::pair<std::uint16_t, std::uint32_t>, 4> kModifierBits{{
    {XCB_MOD_MASK_CONTROL, CarbonModifiers::control},
    {XCB_MOD_MASK_1, CarbonModifiers::option},
    {XCB_MOD_MASK_4, CarbonModifiers::command},
    {XCB_MOD_MASK_SHIFT, CarbonModifiers::shift},
}};

/// Modifiers in service form for an X modifier state; the inverse of `modifierMask`.
std::uint32_t serviceModifiers(std::uint16_t state) {
    std::uint32_t modifiers = 0;
    for (const auto& [bit, modifier] : kModifierBits) {
        if ((state & bit) != 0U) {
            modifiers |= modifier;
        }
    }
    return modifiers;
}

}  // namespace

X11HotKeyService::X11HotKeyService(RunLoop& mainQueue, Log& log, const char* displayName)
    : m_mainQueue(mainQueue), m_log(log) {
    int screenNumber = 0;
    auto* connection = xcb_connect(displayName, &screenNumber);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        m_log.write("Shortcuts: no X display to take global shortcuts from; they are off");
        return;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int index = 0; index < screenNumber && screens.rem > 0; ++index) {
        xcb_screen_next(&screens);
    }
    m_stopEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (screens.rem == 0 || m_stopEvent < 0) {
        xcb_disconnect(connection);
        m_log.write("Shortcuts: the X display cannot be used; global shortcuts are off");
        return;
    }
    const auto opcode = selectRawKeys(connection, screens.data->root);
    if (!opcode) {
        xcb_disconnect(connection);
        m_log.write("Shortcuts: the X display has no XInput 2.1 to follow keys with; global shortcuts are off");
        return;
    }
    m_connection = connection;
    m_root = screens.data->root;
    m_xinputOpcode = *opcode;
    m_releasesAreReal = askForDetectableAutoRepeat(connection);
    // Keys held already, modifiers among them, come up later as raw events.
    const Freed keymap(xcb_query_keymap_reply(m_connection, xcb_query_keymap(m_connection), nullptr));
    if (keymap.value != nullptr) {
        for (unsigned key = 0; key < 256; ++key) {
            if ((keymap.value->keys[key / 8] & (1U << (key % 8))) != 0U) {
                m_down.insert(static_cast<std::uint8_t>(key));
            }
        }
    }
    readModifierMapping();
    m_reader = std::thread([this] { readEvents(); });
}

X11HotKeyService::~X11HotKeyService() {
    if (m_reader.joinable()) {
        m_stopping = true;
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(m_stopEvent, &one, sizeof one);
        m_reader.join();
    }
    if (m_stopEvent >= 0) {
        ::close(m_stopEvent);
    }
    if (m_connection != nullptr) {
        xcb_disconnect(m_connection);
    }
}

std::uint16_t X11HotKeyService::modifierMask(std::uint32_t carbonModifiers) {
    std::uint16_t mask = 0;
    for (const auto& [bit, modifier] : kModifierBits) {
        if ((carbonModifiers & modifier) != 0U) {
            mask |= bit;
        }
    }
    return mask;
}

bool X11HotKeyService::matches(std::uint16_t state, std::uint16_t mask) {
    constexpr std::uint16_t kModifiers = 0xFF;  // the higher bits are mouse buttons
    return (state & kModifiers & ~(XCB_MOD_MASK_LOCK | kNumLock)) == mask;
}

bool X11HotKeyService::hasEventDispatcherTarget() const {
    return m_connection != nullptr && xcb_connection_has_error(m_connection) == 0;
}

bool X11HotKeyService::grab(std::uint8_t keyCode, std::uint16_t mask) {
    std::array<xcb_void_cookie_t, kLockVariants.size()> cookies{};
    for (std::size_t index = 0; index < kLockVariants.size(); ++index) {
        cookies[index] = xcb_grab_key_checked(m_connection, 1, m_root, mask | kLockVariants[index], keyCode,
                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    bool granted = true;
    for (const auto cookie : cookies) {
        // BadAccess: another client holds this combination.
        const Freed error(xcb_request_check(m_connection, cookie));
        granted = granted && error.value == nullptr;
    }
    // A connection that broke meanwhile answers no check with an error.
    granted = granted && xcb_connection_has_error(m_connection) == 0;
    if (!granted) {
        ungrab(keyCode, mask);
    }
    return granted;
}

void X11HotKeyService::ungrab(std::uint8_t keyCode, std::uint16_t mask) {
    for (const auto variant : kLockVariants) {
        xcb_ungrab_key(m_connection, keyCode, m_root, mask | variant);
    }
    xcb_flush(m_connection);
}

OSStatus X11HotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                               HotKeyRef& hotKey) {
    if (!hasEventDispatcherTarget()) {
        return kParamErr;
    }
    const auto x11KeyCode = x11keycodes::fromVirtualKeyCode(keyCode);
    if (!x11KeyCode) {
        return kEventHotKeyInvalidErr;
    }
    const auto mask = modifierMask(modifiers);
    const bool granted = grab(*x11KeyCode, mask);
    wakeReader();
    if (!granted) {
        return kEventHotKeyExistsErr;
    }
    hotKey = m_nextReference++;
    m_grabs[hotKey] = Grab{*x11KeyCode, mask, id};
    return noErr;
}

OSStatus X11HotKeyService::unregisterEventHotKey(HotKeyRef hotKey) {
    const auto grabbed = m_grabs.find(hotKey);
    if (grabbed == m_grabs.end()) {
        return kParamErr;
    }
    if (hasEventDispatcherTarget()) {
        ungrab(grabbed->second.keyCode, grabbed->second.mask);
    }
    m_grabs.erase(grabbed);
    return noErr;
}

OSStatus X11HotKeyService::installEventHandler(EventHandler handler, EventHandlerRef& handlerRef) {
    m_handler = std::move(handler);
    handlerRef = 1;
    return noErr;
}

OSStatus X11HotKeyService::addEventTypesToHandler(EventHandlerRef /*handler*/,
                                                  const std::vector<EventTypeSpec>& types) {
    for (const auto& type : types) {
        m_handledKinds.insert(type.eventKind);
    }
    if (m_handledKinds.contains(EventKind::rawKeyDown) && hasEventDispatcherTarget()) {
        readModifierMapping();  // may have changed since
        wakeReader();
    }
    return noErr;
}

OSStatus X11HotKeyService::removeEventTypesFromHandler(EventHandlerRef /*handler*/,
                                                       const std::vector<EventTypeSpec>& types) {
    for (const auto& type : types) {
        m_handledKinds.erase(type.eventKind);
    }
    return noErr;
}

void X11HotKeyService::wakeReader() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(m_stopEvent, &one, sizeof one);
}

void X11HotKeyService::readModifierMapping() {
    const Freed mapping(xcb_get_modifier_mapping_reply(m_connection, xcb_get_modifier_mapping(m_connection), nullptr));
    if (mapping.value == nullptr) {
        return;
    }
    m_modifierKeys.clear();
    const auto* keys = xcb_get_modifier_mapping_keycodes(mapping.value);
    const auto perModifier = mapping.value->keycodes_per_modifier;
    for (unsigned modifier = 0; modifier < 8; ++modifier) {
        for (unsigned index = 0; index < perModifier; ++index) {
            if (const auto key = keys[modifier * perModifier + index]; key != 0) {
                m_modifierKeys[key] |= static_cast<std::uint16_t>(1U << modifier);
            }
        }
    }
}

void X11HotKeyService::readEvents() {
    std::array<pollfd, 2> watched{{{xcb_get_file_descriptor(m_connection), POLLIN, 0}, {m_stopEvent, POLLIN, 0}}};
    while (!m_stopping) {
        while (true) {
            const Freed event(xcb_poll_for_event(m_connection));
            if (event.value == nullptr) {
                break;
            }
            const auto type = event.value->response_type & 0x7FU;
            const auto alive = std::weak_ptr<int>(m_alive);
            if (type == XCB_KEY_PRESS) {
                const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event.value);
                m_mainQueue.post([this, alive, keyCode = key->detail, state = key->state] {
                    if (alive.lock()) {
                        deliverPress(keyCode, state);
                    }
                });
            }
            // While a grab of ours holds the keyboard, the server may keep the raw releases from
            // us (it does while one of the program's own windows has the focus), but the releases
            // themselves come to the grabbing client: they count as the raw ones would, once
            // the server no longer sends one for each repeat of a held key.
            if (type == XCB_KEY_RELEASE && m_releasesAreReal) {
                const auto* key = reinterpret_cast<const xcb_key_release_event_t*>(event.value);
                m_mainQueue.post([this, alive, keyCode = key->detail] {
                    if (alive.lock()) {
                        deliverRawKey(keyCode, false);
                    }
                });
            }
            const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.value);
            if (type == XCB_GE_GENERIC && generic->extension == m_xinputOpcode &&
                (generic->event_type == XCB_INPUT_RAW_KEY_PRESS || generic->event_type == XCB_INPUT_RAW_KEY_RELEASE)) {
                const auto* raw = reinterpret_cast<const xcb_input_raw_key_press_event_t*>(event.value);
                m_mainQueue.post([this, alive, keyCode = static_cast<std::uint8_t>(raw->detail),
                                  press = generic->event_type == XCB_INPUT_RAW_KEY_PRESS] {
                    if (alive.lock()) {
                        deliverRawKey(keyCode, press);
                    }
                });
            }
        }
        if (xcb_connection_has_error(m_connection) != 0) {
            m_log.write("Shortcuts: lost the connection to the X display; global shortcuts are off");
            return;
        }
        if (::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(m_stopEvent, &count, sizeof count);
    }
}

void X11HotKeyService::report(const KeyboardEvent& event) {
    if (m_handler && m_handledKinds.contains(event.kind)) {
        m_handler(&event);
    }
}

void X11HotKeyService::deliverPress(std::uint8_t keyCode, std::uint16_t state) {
    for (const auto& [reference, grabbed] : m_grabs) {
        if (grabbed.keyCode != keyCode || !matches(state, grabbed.mask)) {
            continue;
        }
        if (m_held.try_emplace(reference, grabbed).second) {  // else a repeat of the held key
            report({EventKind::hotKeyPressed, grabbed.id, std::nullopt, std::nullopt});
        }
        return;
    }
}

void X11HotKeyService::deliverRawKey(std::uint8_t keyCode, bool press) {
    const bool changed = press ? m_down.insert(keyCode).second : m_down.erase(keyCode) > 0;
    if (!press) {
        // Whatever the modifiers by now: people let go of them first.
        for (auto held = m_held.begin(); held != m_held.end();) {
            if (held->second.keyCode == keyCode) {
                const auto id = held->second.id;
                held = m_held.erase(held);
                report({EventKind::hotKeyReleased, id, std::nullopt, std::nullopt});
            } else {
                ++held;
            }
        }
    }
    const auto virtualKeyCode = x11keycodes::toVirtualKeyCode(keyCode);
    if (!changed || !virtualKeyCode) {
        return;
    }
    std::uint16_t state = 0;
    for (const auto key : m_down) {
        if (const auto modifier = m_modifierKeys.find(key); modifier != m_modifierKeys.end()) {
            state |= modifier->second;
        }
    }
    report({press ? EventKind::rawKeyDown : EventKind::rawKeyUp, std::nullopt,
            static_cast<std::uint32_t>(*virtualKeyCode), serviceModifiers(state)});
}

}  // namespace moritane
