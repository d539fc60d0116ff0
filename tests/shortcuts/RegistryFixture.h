#pragma once

#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "shortcuts/GlobalShortcuts.h"

#include <gtest/gtest.h>

#include <memory>

namespace moritane::GlobalShortcuts {

/// The defaults and main queue of a registry that needs nothing more.
struct RegistryGround : ::testing::Test {
    MemoryDefaults defaults;
    ManualRunLoop loop;
};

/// A registry on a fake hot-key service, over the `defaults` and `loop` of `Base`.
template <typename Base = RegistryGround>
class RegistryFixture : public Base {
protected:
    NotificationCenter center;
    FakeHotKeyService service;
    std::shared_ptr<Registry> registry = Registry::create({this->defaults, center, this->loop, service});
};

}  // namespace moritane::GlobalShortcuts
