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

// Keys without a text come back as themselves, so the titles below are keys.
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

std::vector<std::string> titles(const std::vector<PopoverRowModel>& rows) {
    std::vector<std::string> made;
    for (const auto& row : rows) {
        made.push_back(row.title);
    }
    return made;
}

TEST(StatusPopoverModelTest, TheStackHasItsBlocksInOrderAndTwoDividersWithoutImages) {
    auto empty = library();
    empty.savedImages.clear();
    auto everything = library();
    everything.isPermissionDenied = true;
    everything.extensionStatus = Status::idle();
    struct Case {
        const char* name;
        PopoverState state;
        std::vector<Item> items;
    };
    const std::vector<Case> cases{
        {"no images",
         empty,
         {Item::preview, Item::divider, Item::modeBlock, Item::divider, Item::divider, Item::applicationBlock}},
        {"images",
         library(),
         {Item::preview, Item::divider, Item::modeBlock, Item::divider, Item::imageBlock, Item::divider,
          Item::applicationBlock}},
        {"everything",
         everything,
         {Item::preview, Item::divider, Item::permissionBlock, Item::divider, Item::modeBlock, Item::divider,
          Item::imageBlock, Item::divider, Item::applicationBlock, Item::divider, Item::extensionBlock}},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(makePopoverContent(test.state, kLocalization).items, test.items) << test.name;
    }
    const auto content = makePopoverContent(everything, kLocalization);
    EXPECT_EQ(content.permissionBlock->caption, "menu.cameraPermission.denied");
    EXPECT_EQ(content.permissionBlock->row.action, PopoverAction::openCameraPrivacySettings);
    EXPECT_FALSE(makePopoverContent(empty, kLocalization).permissionBlock.has_value());
}

TEST(StatusPopoverModelTest, OnlyTheRowOfTheModeOnShowIsChecked) {
    struct Case {
        CameraMode mode;
        std::optional<Uuid> image;
        std::vector<bool> checks;  // off, on, Beach, Desk
        const char* preview;
    };
    const std::vector<Case> cases{
        {CameraMode::off, std::nullopt, {true, false, false, false}, "a11y.preview.off"},
        {CameraMode::camera, std::nullopt, {false, true, false, false}, "a11y.preview.camera"},
        {CameraMode::image, kDesk, {false, false, false, true}, "a11y.preview.image"},
        // A selection left over from image mode checks nothing in another mode.
        {CameraMode::off, kDesk, {true, false, false, false}, "a11y.preview.off"},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.mode = test.mode;
        state.selectedImageId = test.image;
        const auto content = makePopoverContent(state, kLocalization);
        std::vector<bool> checks;
        for (const auto* rows : {&content.modeRows, &content.imageRows}) {
            for (const auto& row : *rows) {
                checks.push_back(row.isChecked);
            }
        }
        EXPECT_EQ(checks, test.checks) << test.preview;
        EXPECT_EQ(content.previewAccessibilityLabel, test.preview);
    }
}

TEST(StatusPopoverModelTest, ImageRowsCarryTheirIdAndThumbnailFileInListOrder) {
    auto state = library();
    state.savedImages.push_back({kBeach, "Sneaky", "../outside.png"});
    const auto rows = makePopoverContent(state, kLocalization).imageRows;
    EXPECT_EQ(titles(rows), (std::vector<std::string>{"Beach", "Desk", "Sneaky"}));
    EXPECT_EQ(rows[1].action, PopoverAction::selectImage);
    EXPECT_EQ(rows[1].imageId, kDesk);
    EXPECT_EQ(rows[1].thumbnailFile, std::filesystem::path("/shared/Images/desk.png"));
    EXPECT_EQ(rows[2].thumbnailFile, std::nullopt);  // listed, but no file outside the folder is read
}

TEST(StatusPopoverModelTest, TheCameraMenuChecksTheChosenCameraOnlyWhenItIsListed) {
    const std::vector<CameraInfo> attached{{"desk", "Desk Camera", false}, {"phone", "Phone", true}};
    struct Case {
        const char* name;
        std::vector<CameraInfo> cameras;
        std::optional<std::string> chosen;
        std::vector<bool> checks;
    };
    const std::vector<Case> cases{
        {"default", attached, std::nullopt, {true, false, false}},
        {"listed", attached, "phone", {false, false, true}},
        {"not attached", attached, "gone", {false, false, false}},
        {"no cameras", {}, std::nullopt, {true}},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.cameras = test.cameras;
        state.selectedCameraId = test.chosen;
        const auto menu = makePopoverContent(state, kLocalization).cameraMenu;
        std::vector<bool> checks;
        for (const auto& item : menu.items) {
            checks.push_back(item.isChecked);
        }
        EXPECT_EQ(checks, test.checks) << test.name;
        EXPECT_EQ(menu.hasDivider, !test.cameras.empty()) << test.name;
        EXPECT_EQ(menu.label, "menu.selectCamera");
    }
    auto state = library();
    state.cameras = attached;
    EXPECT_EQ(makePopoverContent(state, kLocalization).cameraMenu.items,
              (std::vector<CameraMenuItem>{{"camera.default", true, std::nullopt},
                                           {"Desk Camera", false, "desk"},
                                           {"Phone (Continuity)", false, "phone"}}));
}

TEST(StatusPopoverModelTest, TheExtensionBlockShowsUntilActivatedAndInstallWaitsWhileRequesting) {
    struct Case {
        Status status;
        std::optional<std::string> caption;
        bool installEnabled = false;
    };
    const std::vector<Case> cases{
        {Status::activated(), std::nullopt, false},
        {Status::idle(), "extensionStatus.idle", true},
        {Status::requesting(), "extensionStatus.requesting", false},
        {Status::needsUserApproval(), "extensionStatus.needsUserApproval", true},
        {Status::failed({"It broke.", "domain #1", false, true}), "Failed: It broke.", true},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.extensionStatus = test.status;
        const auto block = makePopoverContent(state, kLocalization).extensionBlock;
        ASSERT_EQ(block.has_value(), test.caption.has_value());
        if (block) {
            EXPECT_EQ(block->caption, *test.caption);
            EXPECT_EQ(block->row.title, "menu.installExtension");
            EXPECT_EQ(block->row.action, PopoverAction::installExtension);
            EXPECT_EQ(block->row.isEnabled, test.installEnabled) << block->caption;
        }
    }
}

TEST(StatusPopoverModelTest, CheckForUpdatesIsThereOnlyWhenGivenAndEnabledFromTheCopy) {
    struct Case {
        bool given;
        bool canCheck;
        std::vector<std::string> titles;
        std::vector<bool> enabled;
    };
    const std::vector<Case> cases{
        {false, true, {"menu.settings", "menu.quit"}, {true, true}},
        {true, false, {"menu.settings", "menu.checkForUpdates", "menu.quit"}, {true, false, true}},
        {true, true, {"menu.settings", "menu.checkForUpdates", "menu.quit"}, {true, true, true}},
    };
    for (const auto& test : cases) {
        auto state = library();
        state.hasCheckForUpdates = test.given;
        state.canCheckForUpdates = test.canCheck;
        const auto rows = makePopoverContent(state, kLocalization).applicationRows;
        std::vector<bool> enabled;
        for (const auto& row : rows) {
            enabled.push_back(row.isEnabled);
        }
        EXPECT_EQ(titles(rows), test.titles);
        EXPECT_EQ(enabled, test.enabled);
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
