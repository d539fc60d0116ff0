#include "shell/model/StatusPopoverModel.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

using Constants::CameraMode;
using Item = PopoverItem;
using Status = SystemExtensionInstaller::Status;

const auto kBeach = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kDesk = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

// Keys without a text come back as themselves, so most titles below are keys.
const Localization kLocalization(
    {{"en", {{"camera.continuitySuffix", {"%@ (Continuity)", ""}}, {"extensionStatus.failed", {"Failed: %@", ""}}}}},
    {"en"});

PopoverState library() {
    PopoverState state;
    state.savedImages = {{kBeach, "Beach", "beach.png"}, {kDesk, "Desk", "desk.png"}};
    state.imagesDirectory = "/shared/Images";
    state.extensionStatus = Status::activated();
    return state;
}

template <typename Row>
std::vector<bool> checks(const std::vector<Row>& rows) {
    std::vector<bool> made;
    for (const auto& row : rows) {
        made.push_back(row.isChecked);
    }
    return made;
}

TEST(StatusPopoverModelTest, TheStackHasItsBlocksInOrderAndTwoDividersWithoutImages) {
    auto empty = library();
    empty.savedImages.clear();
    auto everything = library();
    everything.isPermissionDenied = true;
    everything.extensionStatus = Status::idle();
    EXPECT_EQ(makePopoverContent(empty, kLocalization).items,
              (std::vector{Item::preview, Item::divider, Item::modeBlock, Item::divider, Item::divider,
                           Item::applicationBlock}));
    EXPECT_EQ(
        makePopoverContent(everything, kLocalization).items,
        (std::vector{Item::preview, Item::divider, Item::permissionBlock, Item::divider, Item::modeBlock, Item::divider,
                     Item::imageBlock, Item::divider, Item::applicationBlock, Item::divider, Item::extensionBlock}));
}

TEST(StatusPopoverModelTest, OnlyTheRowOfTheModeOnShowIsChecked) {
    struct Case {
        CameraMode mode;
        std::optional<Uuid> image;
        std::vector<bool> modeChecks;
        std::vector<bool> imageChecks;
        std::string preview;
    };
    const std::vector<Case> cases{
        {CameraMode::off, std::nullopt, {true, false}, {false, false}, "a11y.preview.off"},
        {CameraMode::camera, std::nullopt, {false, true}, {false, false}, "a11y.preview.camera"},
        {CameraMode::image, kDesk, {false, false}, {false, true}, "a11y.preview.image"},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.mode = test.mode;
        state.selectedImageId = test.image;
        const auto content = makePopoverContent(state, kLocalization);
        EXPECT_EQ(checks(content.modeRows), test.modeChecks) << test.preview;
        EXPECT_EQ(checks(content.imageRows), test.imageChecks) << test.preview;
        EXPECT_EQ(content.previewAccessibilityLabel, test.preview);
    }
}

TEST(StatusPopoverModelTest, TheCameraMenuChecksTheChosenCameraOnlyWhenItIsListed) {
    const std::vector<CameraInfo> attached{{"desk", "Desk Camera", false}, {"phone", "Phone", true}};
    struct Case {
        std::vector<CameraInfo> cameras;
        std::optional<std::string> chosen;
        std::vector<bool> checks;
    };
    const std::vector<Case> cases{
        {attached, std::nullopt, {true, false, false}},
        {attached, "phone", {false, false, true}},
        {attached, "gone", {false, false, false}},
        {{}, std::nullopt, {true}},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.cameras = test.cameras;
        state.selectedCameraId = test.chosen;
        const auto menu = makePopoverContent(state, kLocalization).cameraMenu;
        EXPECT_EQ(checks(menu.items), test.checks) << test.chosen.value_or("default");
        EXPECT_EQ(menu.hasDivider, !test.cameras.empty());
        if (test.chosen == "phone") {
            EXPECT_EQ(menu.items[2], (CameraMenuItem{"Phone (Continuity)", true, "phone"}));
        }
    }
}

TEST(StatusPopoverModelTest, TheExtensionBlockShowsUntilActivatedAndInstallWaitsWhileRequesting) {
    struct Case {
        Status status;
        std::string caption;  // empty: no block
        bool installEnabled = false;
    };
    const std::vector<Case> cases{
        {Status::activated(), "", false},
        {Status::idle(), "extensionStatus.idle", true},
        {Status::requesting(), "extensionStatus.requesting", false},
        {Status::needsUserApproval(), "extensionStatus.needsUserApproval", true},
        {Status::failed({"It broke.", "domain #1", false, true}), "Failed: It broke.", true},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.extensionStatus = test.status;
        const auto block = makePopoverContent(state, kLocalization).extensionBlock;
        EXPECT_EQ(block ? block->caption : "", test.caption);
        EXPECT_EQ(block && block->row.isEnabled, test.installEnabled) << test.caption;
    }
}

TEST(StatusPopoverModelTest, ChoosingACameraEndsInCameraModeWritingTwiceFromAnotherMode) {
    testing::TemporaryDirectory root;
    FakeAppGroupContainer container{root.path(), root / "fixed"};
    const SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    CapturingLog log;
    const auto manager = CameraManager::create({store, defaults, loop, log});
    log.clear();
    chooseCamera(*manager, "phone");
    chooseCamera(*manager, "phone");
    chooseCamera(*manager, std::nullopt);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "CameraManager: wrote state mode=off image=nil camera=phone",
                               "CameraManager: wrote state mode=camera image=nil camera=phone",
                               "CameraManager: wrote state mode=camera image=nil camera=phone",
                               "CameraManager: wrote state mode=camera image=nil camera=nil",
                           }));
}

}  // namespace
}  // namespace moritane
