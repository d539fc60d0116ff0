#include "shortcuts/CameraShortcuts.h"

#include "library/ImageManager.h"
#include "shortcuts/RegistryFixture.h"
#include "testsupport/CoreFixture.h"

namespace moritane::GlobalShortcuts {
namespace {

using Constants::CameraMode;

/// The application's side of the shortcuts: a library, a camera manager reading it, the registry.
class CameraShortcutsTest : public RegistryFixture<testing::CoreFixture> {
protected:
    CameraShortcutsTest() {
        savedImageIds = [this] {
            std::vector<Uuid> ids;
            for (const auto& image : images.get().savedImages.value()) {
                ids.push_back(image.id);
            }
            return ids;
        };
        shortcuts.attachActions(camera);
    }

    void tap(std::uint32_t keyCode) {
        service.press(keyCode, 0x1900, true);
        service.press(keyCode, 0x1900, false);
    }
    Uuid addImage(const std::string& name) {
        testing::writeFile(root / name, name);
        images.get().addImage(root / name);
        return images.get().savedImages.value().back().id;
    }

    SharedInstance<ImageManager> images{[this] { return ImageManager::create({store, camera, loop, log}); }};
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
    const auto restarted = makeCamera();  // a later start, over the same defaults and files
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
