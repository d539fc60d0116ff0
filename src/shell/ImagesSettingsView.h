#pragma once

#include "camera/SharedStore.h"
#include "frames/ImageDecoder.h"
#include "library/ImageManager.h"
#include "shell/Widgets.h"
#include "shell/model/ImagesPaneModel.h"
#include "support/Localization.h"
#include "support/Log.h"
#include "support/Subscription.h"

#include <QWidget>

#include <filesystem>
#include <optional>
#include <string>

class QPushButton;
class QStackedWidget;

namespace moritane {

class ImageList;

/// The images pane of the settings window: the library's rows, to rename, reorder by drag or by
/// Alt+Up and Alt+Down, and delete, and the button that adds an image. It redraws at every change
/// of the library; its only state is which rows are being renamed.
class ImagesSettingsView final : public QWidget {
public:
    struct Sources {
        ImageManager& imageManager;
        /// For imagesDirectoryURL().
        const SharedStore& store;
        /// Reads the thumbnails, anew at every redraw.
        const ImageDecoder& imageDecoder;
        const Localization& localization;
        /// Where the symbols are, one "<symbol>.svg" each.
        std::filesystem::path iconDirectory;
        Log& log;
    };

    explicit ImagesSettingsView(Sources sources, QWidget* parent = nullptr);

    static constexpr int kThumbnailSide = 40;

protected:
    void showEvent(QShowEvent* event) override;

private:
    /// A control of a row, by what it does, for keeping the focus across redraws.
    enum class Control { name, rename, remove, save };

    void rebuild();
    QWidget* makeRow(const ImageRowModel& row);
    void restoreFocus(const std::optional<Uuid>& row, std::optional<Control> control);
    void orderTabs();
    void start(const Uuid& id);
    void commit(const Uuid& id);
    void addImage();
    [[nodiscard]] QString text(const char* key) const;
    [[nodiscard]] QIcon symbol(const std::string& name, const QColor& colour, int side) const;

    Sources m_sources;
    EditedNames m_editedNames;
    /// The row whose name field has just appeared and takes the focus.
    std::optional<Uuid> m_focusNameOf;
    QStackedWidget* m_main;
    QWidget* m_emptyState;
    ImageList* m_list;
    QPushButton* m_addButton;
    widgets::LaterRedraw m_redraw{*this, [this] { rebuild(); }};
    Subscription m_subscription;
};

}  // namespace moritane
