#include "platform/linux/X11HotKeyService.h"

#include "platform/linux/X11KeyCodes.h"
#include "shortcuts/Shortcut.h"

#include <fmt/format.h>
#include <xcb/xcb.h>
// The XKB header names a member "explicit", a word of C++.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_  // NOLINT(cppcoreguidelines-macro-usage)
#include <xcb/xkb.h>
#undef explicit
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdlib>

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

/// Asks the server to send one release, not a release and a press, for each repeat of a held
/// key, so that holding a shortcut reads as one press and one release.
bool makeAutoRepeatDetectable(xcb_connection_t* connection) {
    const Freed extension(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
    if (extension.value == nullptr || extension.value->supported == 0U) {
        return false;
    }
    const auto flag = static_cast<std::uint32_t>(XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT);
    const Freed flags(xcb_xkb_per_client_flags_reply(
        connection, xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0), nullptr));
    return flags.value != nullptr && (flags.value->value & flag) != 0U;
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
    m_connection = connection;
    m_root = screens.data->root;
    if (!makeAutoRepeatDetectable(m_connection)) {
        m_log.write("Shortcuts: the X server cannot tell repeated keys apart; holding a shortcut may run it again");
    }
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
    if ((carbonModifiers & CarbonModifiers::control) != 0U) {
        mask |= XCB_MOD_MASK_CONTROL;
    }
    if ((carbonModifiers & CarbonModifiers::option) != 0U) {
        mask |= XCB_MOD_MASK_1;
    }
    if ((carbonModifiers & CarbonModifiers::command) != 0U) {
        mask |= XCB_MOD_MASK_4;
    }
    if ((carbonModifiers & CarbonModifiers::shift) != 0U) {
        mask |= XCB_MOD_MASK_SHIFT;
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
    // Checking the grabs may have read key events off the socket: let the reader see them.
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(m_stopEvent, &one, sizeof one);
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
    m_held.erase(hotKey);
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
    return noErr;
}

OSStatus X11HotKeyService::removeEventTypesFromHandler(EventHandlerRef /*handler*/,
                                                       const std::vector<EventTypeSpec>& types) {
    for (const auto& type : types) {
        m_handledKinds.erase(type.eventKind);
    }
    return noErr;
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
            if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
                const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event.value);
                m_mainQueue.post([this, alive = std::weak_ptr<int>(m_alive), keyCode = key->detail, state = key->state,
                                  press = type == XCB_KEY_PRESS] {
                    if (alive.lock()) {
                        deliver(keyCode, state, press);
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

void X11HotKeyService::deliver(std::uint8_t keyCode, std::uint16_t state, bool press) {
    for (const auto& [reference, grabbed] : m_grabs) {
        // A release counts for the held key whatever the modifiers: people let go of them first.
        const bool ours =
            grabbed.keyCode == keyCode && (press ? matches(state, grabbed.mask) : m_held.contains(reference));
        if (!ours) {
            continue;
        }
        if (press && !m_held.insert(reference).second) {
            return;  // the key is held: a repeat
        }
        if (!press) {
            m_held.erase(reference);
        }
        const auto kind = press ? EventKind::hotKeyPressed : EventKind::hotKeyReleased;
        if (m_handler && m_handledKinds.contains(kind)) {
            const KeyboardEvent event{kind, grabbed.id, std::nullopt, std::nullopt};
            m_handler(&event);
        }
        return;
    }
}

}  // namespace moritane
