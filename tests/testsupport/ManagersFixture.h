#pragma once

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeImageDecoder.h"
#include "platform/sim/SimulatedManagers.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane::testing {

/// Every manager the windows read, on fakes over a fresh shared directory; images decode by name.
class ManagersFixture : public ::testing::Test {
protected:
    TemporaryDirectory root;
    CapturingLog log;
    FakeImageDecoder decoder;
    SimulatedManagers managers{root.path(), decoder, log};
};

}  // namespace moritane::testing
