#include "shell/StatusPopoverView.h"

#include "shell/PopoverRow.h"
#include "testsupport/ManagersFixture.h"
#include "testsupport/QtWait.h"

#include <gtest/gtest.h>
#include <QMenu>
#include <QTest>

namespace moritane {
namespace {

using Status = SystemExtensionInstaller::Status;

const auto kBeach = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kDesk = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

class StatusPopoverViewTest : public testing::ManagersFixture {
protected:
    /// Before the view is made: two images, one of whose files is missing.
    bool addLibrary() {
        decoder.define("beach", Frame::black(40, 30));
        testing::writeFile(managers.store.imagesDirectoryURL() / "beach.png", "beach");
        managers.images.get().savedImages = {{kBeach, "Beach", "beach.png"}, {kDesk, "Desk", "missing.png"}};
        return true;
    }

    static std::vector<std::string> rows(const QWidget& view) {
        std::vector<std::string> made;
        for (const auto* row : view.findChildren<PopoverRow*>()) {
            made.push_back((row->isChecked() ? "* " : "") + row->text().toStdString() +
                           (row->isEnabled() ? "" : " (disabled)"));
        }
        return made;
    }
    static PopoverRow* row(const QWidget& view, const char* title) {
        const auto all = view.findChildren<PopoverRow*>();
        const auto found = std::find_if(all.begin(), all.end(), [&](auto* row) { return row->text() == title; });
        return found == all.end() ? nullptr : *found;
    }

    int quits = 0;
    const bool hasLibrary = addLibrary();
    StatusPopoverView view{
        {*managers.camera, managers.images.get(), *managers.cameras, *managers.installer, *managers.preview,
         *managers.permission, managers.workspace, managers.localization, managers.store, decoder},
        {[] {}, [] {}, [] {}, false, [this] { ++quits; }}};
    // Shown, as in an open popover: a hidden one does not redraw.
    const bool shown = (view.show(), true);
};

TEST_F(StatusPopoverViewTest, RowsFollowTheStateAndCallTheManagers) {
    EXPECT_EQ(rows(view), (std::vector<std::string>{"* menu.cameraOff", "menu.cameraOn", "menu.selectCamera", "Beach",
                                                    "Desk", "menu.settings", "menu.checkForUpdates (disabled)",
                                                    "menu.quit", "menu.installExtension"}));
    EXPECT_TRUE(row(view, "Beach")->hasThumbnail());
    EXPECT_FALSE(row(view, "Desk")->hasThumbnail());  // its file is missing, yet it can be chosen

    row(view, "Desk")->click();
    testing::settle();
    EXPECT_EQ(managers.camera->selectedImageId.value(), kDesk);
    EXPECT_TRUE(row(view, "Desk")->isChecked());
    EXPECT_FALSE(row(view, "menu.cameraOff")->isChecked());

    QTest::keyClick(row(view, "menu.quit"), Qt::Key_Return);
    EXPECT_EQ(quits, 1);

    managers.cameras->cameras = {{"desk", "Desk Camera", false}};
    testing::settle();
    row(view, "menu.selectCamera")->findChild<QMenu*>()->actions().back()->trigger();
    EXPECT_EQ(managers.camera->selectedCameraId.value(), "desk");
    EXPECT_EQ(managers.camera->currentMode.value(), Constants::CameraMode::camera);
}

TEST_F(StatusPopoverViewTest, BlocksComeAndGoWithTheirStatus) {
    managers.installer->status = Status::activated();
    testing::settle();
    EXPECT_EQ(row(view, "menu.installExtension"), nullptr);
    EXPECT_EQ(row(view, "menu.cameraPermission.openSettings"), nullptr);
    managers.permission->status = AuthorizationStatus::denied;
    testing::settle();
    EXPECT_NE(row(view, "menu.cameraPermission.openSettings"), nullptr);
}

TEST_F(StatusPopoverViewTest, FramesRepaintThePreviewWithoutRebuildingTheRows) {
    const auto before = view.findChildren<PopoverRow*>();
    managers.preview->currentFrame = Frame::black(320, 180);
    testing::settle();
    EXPECT_EQ(view.findChildren<PopoverRow*>(), before);
}

}  // namespace
}  // namespace moritane
