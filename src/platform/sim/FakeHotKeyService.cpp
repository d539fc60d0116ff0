#include "platform/sim/FakeHotKeyService.h"

#include <fmt/format.h>

namespace moritane {

using namespace GlobalShortcuts;

namespace {

std::string kinds(const std::vector<EventTypeSpec>& types) {
    std::string text;
    for (const auto& type : types) {
        text += (text.empty() ? "" : ",") + std::to_string(type.eventKind);
    }
    return text;
}

}  // namespace

OSStatus FakeHotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                                HotKeyRef& hotKey) {
    calls.push_back(fmt::format("register {} {} #{}", keyCode, modifiers, id.id));
    if (refused.contains({keyCode, modifiers})) {
        return -9878;  // eventHotKeyExistsErr
    }
    hotKey = m_nextReference++;
    registrations[hotKey] = {keyCode, modifiers, id};
    return noErr;
}

OSStatus FakeHotKeyService::unregisterEventHotKey(HotKeyRef hotKey) {
    const auto registration = registrations.find(hotKey);
    if (registration == registrations.end()) {
        calls.emplace_back("unregister none");
        return -50;  // paramErr
    }
    calls.push_back(fmt::format("unregister #{}", registration->second.id.id));
    registrations.erase(registration);
    return noErr;
}

OSStatus FakeHotKeyService::installEventHandler(EventHandler handler, EventHandlerRef& handlerRef) {
    calls.emplace_back("install");
    m_handler = std::move(handler);
    ++handlersInstalled;
    handlerRef = 1;
    return noErr;
}

OSStatus FakeHotKeyService::addEventTypesToHandler(EventHandlerRef /*handler*/,
                                                   const std::vector<EventTypeSpec>& types) {
    calls.push_back("add " + kinds(types));
    for (const auto& type : types) {
        handledKinds.insert(type.eventKind);
    }
    return noErr;
}

OSStatus FakeHotKeyService::removeEventTypesFromHandler(EventHandlerRef /*handler*/,
                                                        const std::vector<EventTypeSpec>& types) {
    calls.push_back("remove " + kinds(types));
    for (const auto& type : types) {
        handledKinds.erase(type.eventKind);
    }
    return noErr;
}

std::optional<ApplicationEvent> FakeHotKeyService::nextEvent() {
    if (applicationEvents.empty()) {
        return std::nullopt;
    }
    auto event = applicationEvents.front();
    applicationEvents.pop_front();
    return event;
}

void FakeHotKeyService::postEvent(ApplicationEvent event, bool atStart) {
    if (atStart) {
        applicationEvents.push_front(event);
    } else {
        applicationEvents.push_back(event);
    }
}

HotKeyService::RunLoopObserverRef FakeHotKeyService::createRunLoopObserver(std::function<void()> beforeSources) {
    const auto reference = m_nextReference++;
    m_observers[reference] = std::move(beforeSources);
    return reference;
}

void FakeHotKeyService::addRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) {
    calls.emplace_back("observe");
    m_observersInModes.insert({observer, mode});
}

void FakeHotKeyService::removeRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) {
    calls.emplace_back("stop observing");
    m_observersInModes.erase({observer, mode});
}

void FakeHotKeyService::runObservers(RunLoopMode mode) {
    for (const auto& [observer, observedMode] : std::set(m_observersInModes)) {
        if (observedMode == mode) {
            m_observers.at(observer)();
        }
    }
}

std::optional<OSStatus> FakeHotKeyService::press(std::uint32_t keyCode, std::uint32_t modifiers, bool down) {
    if (!m_handler) {
        return std::nullopt;
    }
    const auto hotKeyKind = down ? EventKind::hotKeyPressed : EventKind::hotKeyReleased;
    if (handledKinds.contains(hotKeyKind)) {
        for (const auto& [reference, registration] : registrations) {
            if (registration.keyCode == keyCode && registration.modifiers == modifiers) {
                const KeyboardEvent event{hotKeyKind, registration.id, std::nullopt, std::nullopt};
                return m_handler(&event);
            }
        }
    }
    const auto rawKind = down ? EventKind::rawKeyDown : EventKind::rawKeyUp;
    if (handledKinds.contains(rawKind)) {
        const KeyboardEvent event{rawKind, std::nullopt, keyCode, modifiers};
        return m_handler(&event);
    }
    return std::nullopt;
}

}  // namespace moritane
