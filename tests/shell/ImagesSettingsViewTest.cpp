#include "shell/ImagesSettingsView.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeImageDecoder.h"
#include "platform/sim/SimulatedManagers.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>

namespace moritane {
namespace {

const auto kBeach = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kDesk = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");
const auto kHill = *Uuid::fromString("99999999-8888-4777-8666-555555555555");

struct DropAccess : QListWidget {
    using QListWidget::dropEvent;
};

class ImagesSettingsViewTest : public ::testing::Test {
protected:
    /// Before the view is made: three images, of which only the beach has a readable file.
    bool addLibrary() {
        decoder.define("beach", Frame::filled(60, 40, {0, 0, 255, 255}));
        testing::writeFile(managers.store.imagesDirectoryURL() / "beach.png", "beach");
        images.savedImages = {{kBeach, "Beach", "beach.png"}, {kDesk, "Desk", "desk.png"}, {kHill, "Hill", "hill.png"}};
        return true;
    }

    /// Runs the queued redraws and drops the rows they replaced.
    static void settle() {
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    [[nodiscard]] QWidget* row(int index) const { return list->itemWidget(list->item(index)); }
    [[nodiscard]] QWidget* part(int index, int item) const { return row(index)->layout()->itemAt(item)->widget(); }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> made;
        for (const auto& image : images.savedImages.value()) {
            made.push_back(image.name);
        }
        return made;
    }
    void drop(int dragged, int onto, bool lowerHalf) {
        list->setCurrentRow(dragged);
        const std::unique_ptr<QMimeData> data(list->model()->mimeData(list->selectionModel()->selectedIndexes()));
        const auto target = list->visualItemRect(list->item(onto));
        const QPointF at(target.center().x(), lowerHalf ? target.bottom() - 2 : target.top() + 2);
        QDropEvent event(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
        // Straight to the handler: the application routes a drop only to the target of a real drag.
        (list->*&DropAccess::dropEvent)(&event);
        EXPECT_NE(event.dropAction(), Qt::MoveAction) << "the dragging side would remove the rows";
        settle();
    }

    testing::TemporaryDirectory root;
    CapturingLog log;
    FakeImageDecoder decoder;
    SimulatedManagers managers{root.path(), decoder, log};
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

    drop(0, 2, true);
    EXPECT_EQ(names(), (std::vector<std::string>{"Desk", "Hill", "Beach"}));
    EXPECT_EQ(list->currentRow(), 2) << "the moved row stays selected";
    EXPECT_EQ(centreTop(2), QColor(Qt::red));

    log.clear();
    drop(0, 1, false);  // just after itself
    EXPECT_TRUE(log.lines().empty());

    list->setCurrentRow(2);
    QKeyEvent up(QEvent::KeyPress, Qt::Key_Up, Qt::AltModifier);
    QApplication::sendEvent(list, &up);
    settle();
    EXPECT_EQ(names(), (std::vector<std::string>{"Desk", "Beach", "Hill"}));
    EXPECT_EQ(list->currentRow(), 1);
}

TEST_F(ImagesSettingsViewTest, PencilAndDoubleClickBothOpenTheFieldWithTheNameAndTheFocus) {
    QMouseEvent doubleClick(QEvent::MouseButtonDblClick, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::LeftButton,
                            Qt::NoModifier);
    QApplication::sendEvent(part(0, 1), &doubleClick);
    row(2)->findChild<QToolButton*>()->click();
    settle();
    for (const auto index : {0, 2}) {
        auto* field = row(index)->findChild<QLineEdit*>();
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(field->text().toStdString(), names()[static_cast<std::size_t>(index)]);
    }
    EXPECT_EQ(view.focusWidget(), row(2)->findChild<QLineEdit*>()) << "the field last opened";
    EXPECT_EQ(row(1)->findChild<QLineEdit*>(), nullptr);

    auto* field = row(2)->findChild<QLineEdit*>();
    field->selectAll();
    field->insert(QStringLiteral("  Green hill \n"));
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(field, &enter);
    settle();
    EXPECT_EQ(names(), (std::vector<std::string>{"Beach", "Desk", "Green hill"}));
    EXPECT_EQ(row(2)->findChild<QLineEdit*>(), nullptr);
    EXPECT_NE(row(0)->findChild<QLineEdit*>(), nullptr) << "still being renamed";
}

TEST_F(ImagesSettingsViewTest, TheAddDialogRefusesATypedFileThatIsNoImageAndStaysOpen) {
    testing::writeFile(root / "notes.png", "no image\n");
    QImage picture(8, 8, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    picture.save(QString::fromStdString((root / "picture.data").string()), "PNG");
    std::vector<std::string> typed{(root / "notes.png").string(), (root / "picture.data").string()};
    std::vector<bool> openAfter;
    std::function<void()> type = [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            QTimer::singleShot(0, type);
            return;
        }
        // As a user types it: into the field that has the focus when the dialog opens.
        auto* field = qobject_cast<QLineEdit*>(dialog->focusWidget());
        if (field == nullptr || openAfter.size() == typed.size()) {
            dialog->reject();
            return;
        }
        field->setText(QString::fromStdString(typed[openAfter.size()]));
        QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
        QApplication::sendEvent(field, &enter);
        openAfter.push_back(dialog->isVisible());
        if (dialog->isVisible()) {
            QTimer::singleShot(0, type);
        }
    };
    QTimer::singleShot(0, type);
    view.findChild<QPushButton*>()->click();
    EXPECT_EQ(openAfter, (std::vector<bool>{true, false}));
    ASSERT_EQ(images.savedImages.value().size(), 4U);
    EXPECT_EQ(images.savedImages.value().back().name, "picture");
}

}  // namespace
}  // namespace moritane
