#pragma once

#include "camera/CameraManager.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "support/SharedInstance.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace moritane::testing {

/// A fresh shared directory in `root` and what the camera manager runs on, in virtual time. The
/// manager in `camera` is made at its first use.
class CoreFixture : public ::testing::Test {
protected:
    std::shared_ptr<CameraManager> makeCamera() {
        return CameraManager::create({store, defaults, loop, log, savedImageIds});
    }
    [[nodiscard]] std::string stateFile() const { return readFile(root / "state.json"); }
    void writeState(std::string_view json) const { writeFile(root / "state.json", json); }

    TemporaryDirectory root;
    FakeAppGroupContainer container{root.path(), root / "fixed"};
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    CapturingLog log;
    std::function<std::vector<Uuid>()> savedImageIds = [] { return std::vector<Uuid>{}; };
    SharedInstance<CameraManager> camera{[this] { return makeCamera(); }};
};

}  // namespace moritane::testing
