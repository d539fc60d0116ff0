#include "shell/ImagesSettingsView.h"

#include "testsupport/ManagersFixture.h"
#include "testsupport/QtWait.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QFileDialog>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <algorithm>

namespace moritane {
namespace {

struct DropAccess : QListWidget {
    using QListWidget::dropEvent;
};

class ImagesSettingsViewTest : public testing::ManagersFixture {
protected:
    /// Before the view is made: three images, of which only the beach has a readable file.
    bool addLibrary() {
        decoder.define("beach", Frame::filled(60, 40, {0, 0, 255, 255}));
        testing::writeFile(managers.store.imagesDirectoryURL() / "beach.png", "beach");
        images.savedImages = {{Uuid::random(), "Beach", "beach.png"},
                              {Uuid::random(), "Desk", "desk.png"},
                              {Uuid::random(), "Hill", "hill.png"}};
        return true;
    }

    [[nodiscard]] QWidget* row(int index) const { return list->itemWidget(list->item(index)); }
    [[nodiscard]] QWidget* part(int index, int item) const { return row(index)->layout()->itemAt(item)->widget(); }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> made;
        std::ranges::transform(images.savedImages.value(), std::back_inserter(made), &SavedImage::name);
        return made;
    }
    ImageManager& images = managers.images.get();
    const bool hasLibrary = addLibrary();
    ImagesSettingsView view{
        {images, managers.store, decoder, managers.localization, MORITANE_SOURCE_DIR "/resources/icons", log}};
    const bool shown = (view.show(), true);
    QListWidget* list = view.findChild<QListWidget*>();
};

TEST_F(ImagesSettingsViewTest, RowsShowTheirPictureOrThePlaceholderAndMoveThroughTheLibrary) {
    const auto centreTop = [&](int index) { return part(index, 0)->grab().toImage().pixelColor(20, 4); };
    EXPECT_EQ(centreTop(0), QColor(Qt::red));
    EXPECT_NE(centreTop(1), QColor(Qt::red));  // its file has gone

    // Beach dragged to the lower half of the last row, straight to the handler: the application
    // routes a drop only to the target of a real drag.
    list->setCurrentRow(0);
    const std::unique_ptr<QMimeData> data(list->model()->mimeData(list->selectionModel()->selectedIndexes()));
    const auto last = list->visualItemRect(list->item(2));
    QDropEvent drop(QPointF(last.center().x(), last.bottom() - 2), Qt::MoveAction, data.get(), Qt::LeftButton, {});
    (list->*&DropAccess::dropEvent)(&drop);
    EXPECT_NE(drop.dropAction(), Qt::MoveAction) << "the dragging side would remove the rows";
    testing::settle();
    EXPECT_EQ(names(), (std::vector<std::string>{"Desk", "Hill", "Beach"}));
    EXPECT_EQ(list->currentRow(), 2) << "the moved row stays selected";

    list->setCurrentRow(2);
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    testing::settle();
    EXPECT_EQ(names(), (std::vector<std::string>{"Desk", "Beach", "Hill"}));
}

TEST_F(ImagesSettingsViewTest, ADoubleClickOpensTheFieldWithTheNameAndTheFocusAndReturnCommits) {
    QTest::mouseDClick(part(2, 1), Qt::LeftButton, {}, QPoint(2, 2));
    testing::settle();
    auto* field = row(2)->findChild<QLineEdit*>();
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(field->text(), "Hill");
    EXPECT_EQ(view.focusWidget(), field);

    field->selectAll();
    field->insert(QStringLiteral("  Green hill \n"));
    QTest::keyClick(field, Qt::Key_Return);
    testing::settle();
    EXPECT_EQ(names(), (std::vector<std::string>{"Beach", "Desk", "Green hill"}));
    EXPECT_EQ(row(2)->findChild<QLineEdit*>(), nullptr);
}

TEST_F(ImagesSettingsViewTest, TheAddDialogRefusesATypedFileThatIsNoImageAndStaysOpen) {
    // The adding itself is driven end to end, through the real dialog.
    testing::writeFile(root / "notes.png", "no image\n");
    const std::vector<std::filesystem::path> typed{root / "notes.png"};
    std::vector<bool> openAfter;
    std::function<void()> type = [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        // As a user types it: into the field that has the focus when the dialog opens.
        auto* field = dialog != nullptr ? qobject_cast<QLineEdit*>(dialog->focusWidget()) : nullptr;
        if (field == nullptr || openAfter.size() == typed.size()) {
            return dialog != nullptr ? dialog->reject() : QTimer::singleShot(0, &view, type);
        }
        field->setText(QString::fromStdString(typed[openAfter.size()].string()));
        QTest::keyClick(field, Qt::Key_Return);
        openAfter.push_back(dialog->isVisible());
        QTimer::singleShot(0, &view, type);  // dropped with the view
    };
    QTimer::singleShot(0, &view, type);
    view.findChild<QPushButton*>()->click();
    EXPECT_EQ(openAfter, (std::vector<bool>{true}));
    EXPECT_EQ(names(), (std::vector<std::string>{"Beach", "Desk", "Hill"}));
}

}  // namespace
}  // namespace moritane
