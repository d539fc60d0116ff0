#include "shortcuts/CameraShortcuts.h"

#include "library/ImageManager.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane::GlobalShortcuts {
namespace {

using Constants::CameraMode;

/// The application's side of the shortcuts: a library, a camera manager reading it, the registry.
class CameraShortcutsTest : public ::testing::Test {
protected:
    CameraShortcutsTest() { shortcuts.attachActions(camera); }

    void tap(std::uint32_t keyCode) {
        service.press(keyCode, 0x1900, true);
        service.press(keyCode, 0x1900, false);
    }
    Uuid addImage(const std::string& name) {
        testing::writeFile(root / name, name);
        images.get().addImage(root / name);
        return images.get().savedImages.value().back().id;
    }
    SharedInstance<CameraManager>::Factory makeCamera() {
        return [this] {
            return CameraManager::create({store, defaults, loop, log, [this] {
                                              std::vector<Uuid> ids;
                                              for (const auto& image : images.get().savedImages.value()) {
                                                  ids.push_back(image.id);
                                              }
                                              return ids;
                                          }});
        };
    }

    testing::TemporaryDirectory root;
    FakeAppGroupContainer container{root.path(), root / "fixed"};
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    CapturingLog log;
    NotificationCenter center;
    FakeHotKeyService service;
    SharedInstance<CameraManager> camera{makeCamera()};
    SharedInstance<ImageManager> images{[this] { return ImageManager::create({store, camera, loop, log}); }};
    std::shared_ptr<Registry> registry = Registry::create({defaults, center, loop, service});
    CameraShortcuts shortcuts{*registry};
};

// The three names start with control, option and command, and 0, 1 and 2.
TEST_F(CameraShortcutsTest, ActionsRunAtTheReleaseAndTheLastImageIsShownAcrossARestartOrElseTheFirst) {
    service.press(18, 0x1900, true);
    EXPECT_FALSE(camera.isMade());  // held: nothing yet
    service.press(18, 0x1900, false);
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::camera);
    tap(19);  // with an empty library nothing changes
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::camera);

    const auto first = addImage("first.png");
    const auto second = addImage("second.png");
    tap(19);
    EXPECT_EQ(camera.get().selectedImageId.value(), first);  // none shown yet: the first
    camera.get().selectImage(second);
    tap(29);
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::off);
    const auto restarted = makeCamera()();  // a later start, over the same defaults and files
    restarted->showLastImage();
    EXPECT_EQ(restarted->currentMode.value(), CameraMode::image);
    EXPECT_EQ(restarted->selectedImageId.value(), second);
    tap(19);
    EXPECT_EQ(camera.get().selectedImageId.value(), second);

    images.get().deleteImages({1});
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::off);
    tap(19);
    EXPECT_EQ(camera.get().selectedImageId.value(), first);
    registry->setPaused(true);
    tap(29);
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::image);
}

}  // namespace
}  // namespace moritane::GlobalShortcuts
