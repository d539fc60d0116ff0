#include "shell/ImagesSettingsView.h"

#include "shell/FrameImage.h"
#include "shell/Symbols.h"

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QImageReader>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtMath>

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

namespace moritane {

namespace {

constexpr int kRowSpacing = 12;
constexpr int kRowPadding = 4;
constexpr int kRowInset = 8;
constexpr int kEmptyStateSpacing = 16;
constexpr int kEmptySymbolSide = 48;
constexpr int kPlaceholderSymbolSide = 20;
constexpr int kButtonSymbolSide = 16;
constexpr double kPlaceholderOpacity = 0.3;
constexpr double kCaptionScale = 0.85;
constexpr double kSelectionOpacity = 0.25;
const QColor kGray(142, 142, 147);
const QColor kRed(215, 58, 49);
const char* const kRowId = "imageId";
const char* const kControl = "imageRowControl";

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

std::optional<Uuid> idOf(const QWidget* widget) {
    for (; widget != nullptr; widget = widget->parentWidget()) {
        if (const auto id = widget->property(kRowId); id.isValid()) {
            return Uuid::fromString(id.toString().toStdString());
        }
    }
    return std::nullopt;
}

void setColour(QWidget* widget, const QColor& colour) {
    auto palette = widget->palette();
    palette.setColor(QPalette::WindowText, colour);
    palette.setColor(QPalette::Text, colour);
    widget->setPalette(palette);
}

QFont captionFont(QFont font) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * kCaptionScale);
    }
    return font;
}

/// One line of text, shortened with an ellipsis where it does not fit, whatever its script.
class ElidedLabel final : public QWidget {
public:
    ElidedLabel(QString text, Qt::TextElideMode mode) : m_mode(mode) {
        // Line breaks in a name would make a second line.
        for (auto& character : text) {
            if (character == u'\n' || character == u'\r' || character == QChar::LineSeparator ||
                character == QChar::ParagraphSeparator) {
                character = u' ';
            }
        }
        m_text = std::move(text);
        setAccessibleName(m_text);
        // The row's height, so that nothing below the baseline is cut off.
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    }

    std::function<void()> onDoubleClick;

    [[nodiscard]] QSize sizeHint() const override {
        return {fontMetrics().horizontalAdvance(m_text) + 1, fontMetrics().height()};
    }
    [[nodiscard]] QSize minimumSizeHint() const override {
        return {fontMetrics().horizontalAdvance(QStringLiteral("…")) * 2, fontMetrics().height()};
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         fontMetrics().elidedText(m_text, m_mode, width(), Qt::TextSingleLine));
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override {
        if (onDoubleClick) {
            onDoubleClick();
        } else {
            QWidget::mouseDoubleClickEvent(event);
        }
    }

private:
    QString m_text;
    Qt::TextElideMode m_mode;
};

/// The picture filling a circle, or a grey disc with a symbol when there is none.
class Thumbnail final : public QWidget {
public:
    /// `image` already cut to a square.
    Thumbnail(QImage image, QPixmap placeholder) : m_image(std::move(image)), m_placeholder(std::move(placeholder)) {
        setFixedSize(ImagesSettingsView::kThumbnailSide, ImagesSettingsView::kThumbnailSide);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        painter.setPen(Qt::NoPen);
        const QRectF circle(rect());
        if (!m_image.isNull()) {
            // A brush, not a clip: a clipped edge is not smoothed.
            QBrush picture(m_image);
            const qreal scale = circle.width() / m_image.width();
            picture.setTransform(QTransform::fromScale(scale, scale));
            painter.setBrush(picture);
            painter.drawEllipse(circle);
            return;
        }
        QColor disc = kGray;
        disc.setAlphaF(kPlaceholderOpacity);
        painter.setBrush(disc);
        painter.drawEllipse(circle);
        QRectF symbol(QPointF(), m_placeholder.deviceIndependentSize());
        symbol.moveCenter(circle.center());
        painter.drawPixmap(symbol, m_placeholder, QRectF(m_placeholder.rect()));
    }

private:
    QImage m_image;
    QPixmap m_placeholder;
};

}  // namespace

/// The rows of the library. Drops and Alt+Up and Alt+Down go to `onMove`, and the list never
/// reorders itself: the rows come back from the library in their new order.
class ImageList final : public QListWidget {
public:
    ImageList() {
        setSelectionMode(QAbstractItemView::SingleSelection);
        setDragDropMode(QAbstractItemView::InternalMove);
        setDefaultDropAction(Qt::MoveAction);
        setFrameShape(QFrame::NoFrame);
        setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        // Rows as wide as the list, their texts shortened to fit.
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setResizeMode(QListView::Adjust);
        // A light selection, under which the rows' own colours stay readable.
        auto colours = palette();
        QColor selection = colours.color(QPalette::Active, QPalette::Highlight);
        selection.setAlphaF(kSelectionOpacity);
        colours.setColor(QPalette::Highlight, selection);
        setPalette(colours);
    }

    /// The dragged positions and the position to put them, counted before the move.
    std::function<void(const std::set<std::size_t>&, std::size_t)> onMove;

    /// The position a drop at `point` of the viewport puts rows before.
    [[nodiscard]] std::size_t dropOffset(QPoint point) const {
        const auto index = indexAt(point);
        if (!index.isValid()) {
            return static_cast<std::size_t>(count());
        }
        return static_cast<std::size_t>(index.row() + (point.y() >= visualRect(index).center().y() ? 1 : 0));
    }

protected:
    void dropEvent(QDropEvent* event) override {
        std::set<std::size_t> dragged;
        for (const auto& index : selectionModel()->selectedIndexes()) {
            dragged.insert(static_cast<std::size_t>(index.row()));
        }
        const auto target = dropOffset(event->position().toPoint());
        // No move for the dragging side either: it would take the selected rows out of the list,
        // which by then may be the redrawn ones.
        event->setDropAction(Qt::IgnoreAction);
        event->accept();
        stopAutoScroll();
        setState(QAbstractItemView::NoState);
        viewport()->update();
        if (onMove) {
            onMove(dragged, target);
        }
    }

    void keyPressEvent(QKeyEvent* event) override {
        const int row = currentRow();
        const bool up = event->key() == Qt::Key_Up;
        if (event->modifiers() == Qt::AltModifier && (up || event->key() == Qt::Key_Down) && row >= 0) {
            if (onMove && ((up && row > 0) || (!up && row + 1 < count()))) {
                onMove({static_cast<std::size_t>(row)}, static_cast<std::size_t>(up ? row - 1 : row + 2));
            }
            return;
        }
        QListWidget::keyPressEvent(event);
    }
};

namespace {

/// Refuses a typed file that is no image by its content, and stays open for another choice.
class ImageFileDialog final : public QFileDialog {
public:
    ImageFileDialog(QWidget* parent, const QString& title, const QString& imageFiles, Log& log)
        : QFileDialog(parent, title), m_log(log) {
        setOption(QFileDialog::DontUseNativeDialog);
        setFileMode(QFileDialog::ExistingFile);
        setModal(true);
        // Where people keep their pictures, rather than wherever the program was started from.
        const QDir pictures(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
        setDirectory(pictures.exists() ? pictures : QDir::home());
        QStringList types;
        for (const auto& type : QImageReader::supportedMimeTypes()) {
            types.append(QString::fromLatin1(type));
        }
        if (!types.contains(QStringLiteral("image/gif"))) {
            types.append(QStringLiteral("image/gif"));
        }
        setMimeTypeFilters(types);
        // The dialog opens on the first filter: all of them at once.
        QStringList patterns;
        const QMimeDatabase database;
        for (const auto& type : types) {
            patterns.append(database.mimeTypeForName(type).globPatterns());
        }
        patterns.removeDuplicates();
        setNameFilters(QStringList{QStringLiteral("%1 (%2)").arg(imageFiles, patterns.join(u' '))} + nameFilters());
    }

    void accept() override {
        const auto files = selectedFiles();
        if (files.size() == 1 && QFileInfo(files.front()).isFile() && !isImage(files.front())) {
            m_log.write("ImagesSettingsView: not an image: " + files.front().toStdString());
            QApplication::beep();
            return;
        }
        QFileDialog::accept();
    }

private:
    static bool isImage(const QString& file) {
        const auto type = QMimeDatabase().mimeTypeForFile(file, QMimeDatabase::MatchContent);
        const auto isImageType = [](const QString& name) { return name.startsWith(QLatin1String("image/")); };
        const auto ancestors = type.allAncestors();
        return isImageType(type.name()) || std::any_of(ancestors.begin(), ancestors.end(), isImageType);
    }

    Log& m_log;
};

}  // namespace

ImagesSettingsView::ImagesSettingsView(Sources sources, QWidget* parent)
    : QWidget(parent),
      m_sources(std::move(sources)),
      m_main(new QStackedWidget),
      m_emptyState(new QWidget),
      m_list(new ImageList),
      m_addButton(new QPushButton) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* empty = new QVBoxLayout(m_emptyState);
    empty->setSpacing(kEmptyStateSpacing);
    empty->addStretch(1);
    auto* symbolLabel = new QLabel;
    symbolLabel->setPixmap(symbol("photo.on.rectangle.angled", kGray, kEmptySymbolSide).pixmap(kEmptySymbolSide));
    auto* title = new QLabel(text("settings.noImages"));
    setColour(title, kGray);
    auto* hint = new QLabel(text("settings.noImagesHint"));
    hint->setFont(captionFont(hint->font()));
    setColour(hint, palette().color(QPalette::PlaceholderText));
    for (auto* label : {symbolLabel, title, hint}) {
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        empty->addWidget(label);
    }
    empty->addStretch(1);

    m_list->onMove = [this](const std::set<std::size_t>& from, std::size_t to) {
        moveRows(m_sources.imageManager, from, to);
    };
    m_main->addWidget(m_emptyState);
    m_main->addWidget(m_list);
    layout->addWidget(m_main, 1);

    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    auto* bar = new QHBoxLayout;
    const int padding = style()->pixelMetric(QStyle::PM_LayoutLeftMargin);
    bar->setContentsMargins(padding, padding, padding, padding);
    bar->addStretch(1);
    m_addButton->setText(text("settings.addImage"));
    m_addButton->setIcon(symbol("plus", palette().color(QPalette::ButtonText), kButtonSymbolSide));
    connect(m_addButton, &QPushButton::clicked, this, [this] { addImage(); });
    bar->addWidget(m_addButton);
    layout->addLayout(bar);

    m_subscription =
        m_sources.imageManager.savedImages.subscribe([this](const auto& /*images*/) { m_redraw.request(); });
    m_redraw.now();
}

QString ImagesSettingsView::text(const char* key) const {
    return qt(m_sources.localization.string(key));
}

QIcon ImagesSettingsView::symbol(const std::string& name, const QColor& colour, int side) const {
    return {symbols::pixmap(m_sources.iconDirectory, name, side, colour, devicePixelRatioF())};
}

void ImagesSettingsView::rebuild() {
    const auto& images = m_sources.imageManager.savedImages.value();
    forgetMissingRows(m_editedNames, images);
    const auto content = makeImagesPaneContent({images, m_sources.store.imagesDirectoryURL(), m_editedNames});

    // Focus in a row follows the row; the list and the add button keep theirs anyway.
    QWidget* focused = window()->focusWidget();
    const auto focusedRow = focused != nullptr && m_list->isAncestorOf(focused) ? idOf(focused) : std::nullopt;
    std::optional<Control> focusedControl;
    if (focusedRow && focused->property(kControl).isValid()) {
        focusedControl = static_cast<Control>(focused->property(kControl).toInt());
    }
    // The row being opened for renaming becomes the selected one, else the selection stays.
    auto* current = m_list->currentItem();
    const auto selected =
        m_focusNameOf ? m_focusNameOf : (current != nullptr ? idOf(m_list->itemWidget(current)) : std::nullopt);
    const int scrolled = m_list->verticalScrollBar()->value();

    // Old row widgets go by deleteLater, never under a signal of theirs that is still running.
    m_list->clear();
    for (const auto& row : content.rows) {
        auto* item = new QListWidgetItem(m_list);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled);
        auto* widget = makeRow(row);
        item->setSizeHint({widget->minimumSizeHint().width(), widget->sizeHint().height()});
        m_list->setItemWidget(item, widget);
        if (row.id == selected) {
            m_list->setCurrentItem(item);
        }
    }
    m_main->setCurrentWidget(content.isEmpty ? m_emptyState : m_list);
    m_list->verticalScrollBar()->setValue(scrolled);
    orderTabs();
    if (m_focusNameOf) {
        restoreFocus(std::exchange(m_focusNameOf, std::nullopt), Control::name);
    } else if (focusedRow) {
        restoreFocus(focusedRow, focusedControl);
    }
}

QWidget* ImagesSettingsView::makeRow(const ImageRowModel& row) {
    auto* widget = new QWidget;
    widget->setProperty(kRowId, qt(row.id.uuidString()));
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins(kRowInset, kRowPadding, kRowInset, kRowPadding);
    layout->setSpacing(kRowSpacing);

    QImage picture;
    const qreal ratio = devicePixelRatioF();
    const int side = qCeil(kThumbnailSide * ratio);
    if (row.thumbnailFile) {
        if (const auto frame = m_sources.imageDecoder.decodeCovering(*row.thumbnailFile, side)) {
            // Filled with its proportions kept: the middle square, which also copies the pixels.
            const auto image =
                imageOf(*frame).scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
            picture = image.copy((image.width() - side) / 2, (image.height() - side) / 2, side, side);
        }
    }
    const auto placeholder =
        picture.isNull() ? symbol("photo", kGray, kPlaceholderSymbolSide).pixmap(kPlaceholderSymbolSide) : QPixmap();
    layout->addWidget(new Thumbnail(picture, placeholder));

    const auto id = row.id;
    if (row.isEditingName) {
        auto* field = new QLineEdit(qt(row.editedName));
        field->setPlaceholderText(text("settings.imageName"));
        field->setProperty(kControl, static_cast<int>(Control::name));
        connect(field, &QLineEdit::textEdited, this,
                [this, id](const QString& typed) { m_editedNames.insert_or_assign(id, typed.toStdString()); });
        connect(field, &QLineEdit::returnPressed, this, [this, id] { commit(id); });
        layout->addWidget(field, 1);
    } else {
        auto* name = new ElidedLabel(qt(row.name), Qt::ElideRight);
        name->onDoubleClick = [this, id] { start(id); };
        layout->addWidget(name, 1);
    }
    if (row.showsFileName) {
        auto* caption = new ElidedLabel(qt(row.fileName), Qt::ElideMiddle);
        caption->setFont(captionFont(caption->font()));
        setColour(caption, palette().color(QPalette::PlaceholderText));
        layout->addWidget(caption);
    }

    const auto button = [&](const char* symbolName, const QColor& colour, const char* help, Control control,
                            std::function<void()> action) {
        auto* made = new QToolButton;
        made->setAutoRaise(true);
        made->setFocusPolicy(Qt::StrongFocus);
        made->setIcon(symbol(symbolName, colour, kButtonSymbolSide));
        made->setIconSize({kButtonSymbolSide, kButtonSymbolSide});
        made->setToolTip(text(help));
        made->setAccessibleName(made->toolTip());
        made->setProperty(kControl, static_cast<int>(control));
        connect(made, &QToolButton::clicked, this, std::move(action));
        layout->addWidget(made);
    };
    const QColor foreground = palette().color(QPalette::WindowText);
    if (row.showsRename) {
        button("pencil", foreground, "settings.rename", Control::rename, [this, id] { start(id); });
    }
    if (row.showsDelete) {
        button("trash", kRed, "settings.delete", Control::remove,
               [this, id] { deleteImage(m_sources.imageManager, id); });
    }
    if (row.showsSave) {
        button("checkmark", foreground, "settings.save", Control::save, [this, id] { commit(id); });
    }
    return widget;
}

void ImagesSettingsView::restoreFocus(const std::optional<Uuid>& row, std::optional<Control> control) {
    QWidget* rowWidget = nullptr;
    for (int index = 0; index < m_list->count() && row; ++index) {
        auto* candidate = m_list->itemWidget(m_list->item(index));
        if (idOf(candidate) == row) {
            rowWidget = candidate;
        }
    }
    QWidget* target = nullptr;
    if (rowWidget != nullptr) {
        for (auto* child : rowWidget->findChildren<QWidget*>()) {
            const auto value = child->property(kControl);
            if (value.isValid() && (target == nullptr || (control && value.toInt() == static_cast<int>(*control)))) {
                target = child;
            }
        }
    }
    if (target == nullptr) {
        target = m_list->count() > 0 ? static_cast<QWidget*>(m_list) : m_addButton;
    }
    target->setFocus(Qt::OtherFocusReason);
}

void ImagesSettingsView::orderTabs() {
    QWidget* previous = m_list;
    for (int index = 0; index < m_list->count(); ++index) {
        for (auto* child : m_list->itemWidget(m_list->item(index))->findChildren<QWidget*>()) {
            if (child->property(kControl).isValid()) {
                setTabOrder(previous, child);
                previous = child;
            }
        }
    }
    setTabOrder(previous, m_addButton);
}

void ImagesSettingsView::start(const Uuid& id) {
    const auto& images = m_sources.imageManager.savedImages.value();
    const auto image =
        std::find_if(images.begin(), images.end(), [&](const SavedImage& saved) { return saved.id == id; });
    if (image == images.end()) {
        return;
    }
    startEditing(m_editedNames, *image);
    m_focusNameOf = id;
    m_redraw.request();
}

void ImagesSettingsView::commit(const Uuid& id) {
    commitEditing(m_editedNames, id, m_sources.imageManager);
    m_redraw.request();
}

void ImagesSettingsView::addImage() {
    ImageFileDialog dialog(this, text("settings.addImage"), text("settings.imageFiles"), m_sources.log);
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    const auto files = dialog.selectedFiles();
    if (files.size() == 1) {
        m_sources.imageManager.addImage(QFile::encodeName(files.front()).toStdString());
    }
}

void ImagesSettingsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (m_redraw.isPending()) {
        m_redraw.now();
    }
}

}  // namespace moritane
