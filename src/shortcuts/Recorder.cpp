#include "shortcuts/Recorder.h"

#include "shortcuts/ShortcutDisplay.h"

#include <algorithm>
#include <array>
#include <utility>

namespace moritane::GlobalShortcuts {

namespace {

constexpr std::int64_t kEscapeKeyCode = 53;
constexpr std::int64_t kNeverPlain = ModifierFlags::capsLock | ModifierFlags::numericPad | ModifierFlags::function;
constexpr double kNearness = 3.0;
constexpr std::array kFunctionKeys{Key::f1,  Key::f2,  Key::f3,  Key::f4,  Key::f5,  Key::f6,  Key::f7,
                                   Key::f8,  Key::f9,  Key::f10, Key::f11, Key::f12, Key::f13, Key::f14,
                                   Key::f15, Key::f16, Key::f17, Key::f18, Key::f19, Key::f20};
constexpr std::array kClearingKeys{SpecialKey::delete_, SpecialKey::deleteForward, SpecialKey::backspace};

}  // namespace

std::optional<std::uint32_t> specialKey(std::int64_t keyCode) {
    if (keyCode == Key::tab.rawValue) {
        return SpecialKey::tab;
    }
    if (keyCode == Key::delete_.rawValue) {
        return SpecialKey::delete_;
    }
    if (keyCode == Key::deleteForward.rawValue) {
        return SpecialKey::deleteForward;
    }
    for (std::uint32_t index = 0; index < kFunctionKeys.size(); ++index) {
        if (kFunctionKeys[index].rawValue == keyCode) {
            return SpecialKey::f1 + index;
        }
    }
    return std::nullopt;
}

std::int64_t plainModifiers(std::int64_t modifierFlags) {
    return modifierFlags & 0xFFFF0000 & ~kNeverPlain;
}

bool isNearField(double x, double y, double width, double height) {
    return x >= -kNearness && x < width + kNearness && y >= -kNearness && y < height + kNearness;
}

RecorderDecision decide(const RecorderEvent& event, bool fieldExists, const ShortcutUsers& users) {
    using Action = RecorderDecision::Action;
    if (!fieldExists) {
        return {};
    }
    if (event.type != RecorderEvent::Type::keyDown) {
        return event.isNearField ? RecorderDecision{} : RecorderDecision{Action::blur, false, {}, {}};
    }
    const auto plain = plainModifiers(event.modifierFlags);
    if (plain == 0) {
        if (event.specialKey == SpecialKey::tab) {
            // Passed on, so that the focus moves on.
            return {Action::blur, false, {}, {}};
        }
        if (event.keyCode == kEscapeKeyCode) {
            return {Action::blur, true, {}, {}};
        }
        if (event.specialKey && std::ranges::find(kClearingKeys, *event.specialKey) != kClearingKeys.end()) {
            return {Action::clickClearButton, true, {}, {}};
        }
    }
    if ((plain & ~ModifierFlags::shift) == 0 && !(event.specialKey && functionKeys().contains(*event.specialKey))) {
        return {Action::beep, true, {}, {}};
    }
    const auto shortcut = Shortcut::make(Key{event.keyCode}, event.modifierFlags);
    if (const auto* item = takenByMainMenu(shortcut, users.mainMenu, users.keyboardLayout)) {
        return {Action::menuConflictAlert, true, shortcut, item->title()};
    }
    if (isTakenBySystem(shortcut, users.symbolicHotKeys)) {
        return {Action::systemConflictAlert, true, shortcut, {}};
    }
    return {Action::save, true, shortcut, {}};
}

std::shared_ptr<RecorderController> RecorderController::create(Dependencies dependencies, Name name, OnChange onChange,
                                                               RecorderField& field) {
    std::shared_ptr<RecorderController> controller(
        new RecorderController(dependencies, std::move(name), std::move(onChange), field));
    controller->m_observer = dependencies.notificationCenter.addObserver(
        std::string(Registry::shortcutByNameDidChange),
        [weak = std::weak_ptr(controller)](const Notification& notification) {
            const auto self = weak.lock();
            const auto changed = notification.userInfo.find("name");
            if (self && changed != notification.userInfo.end() && changed->second == self->m_name.rawValue) {
                self->refresh();
            }
        });
    return controller;
}

RecorderController::RecorderController(Dependencies dependencies, Name name, OnChange onChange, RecorderField& field)
    : m_dependencies(dependencies), m_name(std::move(name)), m_onChange(std::move(onChange)), m_field(&field) {
    field.setPlaceholder(m_dependencies.localization.string(LocalizedKey::recordShortcut));
    refresh();
}

RecorderController::~RecorderController() {
    m_dependencies.notificationCenter.removeObserver(m_observer);
    if (m_isRecording) {
        m_dependencies.registry.setPaused(false);
    }
}

void RecorderController::startRecording() {
    if (m_field == nullptr || m_isRecording) {
        return;
    }
    m_isRecording = true;
    m_field->setPlaceholder(m_dependencies.localization.string(LocalizedKey::pressShortcut));
    showClearButton();
    m_field->setRecording(true);
    m_dependencies.registry.setPaused(true);
}

void RecorderController::endRecording() {
    if (!m_isRecording) {
        return;
    }
    m_isRecording = false;
    if (m_field != nullptr) {
        m_field->setRecording(false);
        m_field->setPlaceholder(m_dependencies.localization.string(LocalizedKey::recordShortcut));
        showClearButton();
    }
    m_dependencies.registry.setPaused(false);
}

bool RecorderController::handle(const RecorderEvent& event) {
    using Action = RecorderDecision::Action;
    // An alert runs a nested event loop, in which whoever owns us may let us go.
    const auto self = shared_from_this();
    const auto decision = decide(event, m_field != nullptr, m_dependencies.users);
    const auto& strings = m_dependencies.localization;
    switch (decision.action) {
    case Action::nothing:
        break;
    case Action::blur:
        m_field->blur();
        break;
    case Action::clickClearButton:
        clickClearButton();
        break;
    case Action::beep:
        m_field->beep();
        break;
    case Action::menuConflictAlert:
        alertThenFocus({Localization::format(strings.string(LocalizedKey::usedByMenuItem), {decision.menuItemTitle}),
                        std::nullopt,
                        {}});
        break;
    case Action::systemConflictAlert:
        if (alertThenFocus({strings.string(LocalizedKey::usedBySystem),
                            strings.string(LocalizedKey::canBeChanged),
                            {strings.string(LocalizedKey::ok), strings.string(LocalizedKey::forceUseShortcut)}}) ==
            RecorderAlert::secondButton) {
            save(*decision.shortcut);
        }
        break;
    case Action::save:
        save(*decision.shortcut);
        break;
    }
    return decision.swallowed;
}

void RecorderController::clickClearButton() {
    if (m_field == nullptr || m_field->text().empty()) {
        return;
    }
    m_field->setText({});
    m_dependencies.registry.setShortcut(std::nullopt, m_name);
    if (m_onChange) {
        m_onChange(std::nullopt);
    }
    if (m_field != nullptr) {
        showClearButton();
        // So that it goes on recording.
        m_field->focus();
    }
}

void RecorderController::detachField() {
    m_field = nullptr;
}

void RecorderController::refresh() {
    if (m_field == nullptr) {
        return;
    }
    const auto shortcut = m_dependencies.registry.getShortcut(m_name);
    m_field->setText(shortcut ? description(*shortcut, m_dependencies.users.keyboardLayout) : std::string());
    showClearButton();
}

void RecorderController::showClearButton() {
    m_field->setClearButtonShown(!m_field->text().empty());
}

void RecorderController::save(const Shortcut& shortcut) {
    if (m_field == nullptr) {
        return;
    }
    m_field->setText(description(shortcut, m_dependencies.users.keyboardLayout));
    m_field->setClearButtonShown(true);
    m_dependencies.registry.setShortcut(shortcut, m_name);
    if (m_onChange) {
        m_onChange(shortcut);
    }
    if (m_field != nullptr) {
        m_field->blur();
    }
}

std::optional<int> RecorderController::alertThenFocus(const RecorderAlert& alert) {
    m_field->blur();
    const int answer = m_field->runAlert(alert);
    if (m_field == nullptr) {
        return std::nullopt;
    }
    m_field->focus();
    return answer;
}

}  // namespace moritane::GlobalShortcuts
