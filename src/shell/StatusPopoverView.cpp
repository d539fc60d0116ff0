#include "shell/StatusPopoverView.h"

#include "shell/FrameImage.h"
#include "shell/PopoverRow.h"

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QtMath>

#include <algorithm>
#include <optional>

namespace moritane {

namespace {

constexpr int kPadding = 12;
constexpr int kStackSpacing = 8;
constexpr int kBlockSpacing = 2;
constexpr int kCaptionedSpacing = 4;
constexpr double kCaptionScale = 0.85;
const QColor kWarningRed(215, 58, 49);

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QVBoxLayout* stack(QWidget* owner, int spacing) {
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

QLabel* caption(const std::string& text, const QColor& colour) {
    auto* label = new QLabel(qt(text));
    label->setWordWrap(true);
    auto font = label->font();
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * kCaptionScale);
    }
    label->setFont(font);
    auto palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    return label;
}

}  // namespace

/// The live picture: black with rounded corners, the frame fitted inside.
class PreviewView final : public QWidget {
public:
    static constexpr int kHeight = 135;
    static constexpr double kCornerRadius = 6;

    PreviewView() { setFixedHeight(kHeight); }

    void setFrame(const std::optional<Frame>& frame) {
        m_frame = frame;
        update();
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        QPainterPath shape;
        shape.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
        painter.fillPath(shape, Qt::black);
        if (!m_frame || m_frame->empty()) {
            return;
        }
        const QImage image = imageOf(*m_frame);
        QRectF target(QPointF(), QSizeF(image.size()).scaled(QSizeF(size()), Qt::KeepAspectRatio));
        target.moveCenter(QRectF(rect()).center());
        painter.setClipPath(shape);
        painter.drawImage(target, image);
    }

private:
    std::optional<Frame> m_frame;
};

StatusPopoverView::StatusPopoverView(Sources sources, Inputs inputs, QWidget* parent)
    : QWidget(parent),
      m_sources(sources),
      m_inputs(std::move(inputs)),
      m_layout(new QVBoxLayout(this)),
      m_preview(new PreviewView) {
    setFixedWidth(kWidth);
    m_layout->setContentsMargins(kPadding, kPadding, kPadding, kPadding);
    m_layout->setSpacing(kStackSpacing);
    m_layout->addWidget(m_preview);

    const auto redraw = [this](const auto& /*value*/) { m_redraw.request(); };
    auto& camera = m_sources.cameraManager;
    m_subscriptions.push_back(camera.currentMode.subscribe(redraw));
    m_subscriptions.push_back(camera.selectedImageId.subscribe(redraw));
    m_subscriptions.push_back(camera.selectedCameraId.subscribe(redraw));
    m_subscriptions.push_back(m_sources.imageManager.savedImages.subscribe(redraw));
    m_subscriptions.push_back(m_sources.cameraDevices.cameras.subscribe(redraw));
    m_subscriptions.push_back(m_sources.extensionInstaller.status.subscribe(redraw));
    m_subscriptions.push_back(m_sources.cameraPermission.status.subscribe(redraw));
    // Frames come up to 30 a second: they repaint the preview alone.
    m_subscriptions.push_back(m_sources.preview.currentFrame.subscribe(
        [this](const std::optional<Frame>& frame) { m_preview->setFrame(frame); }));
    m_redraw.now();
}

PopoverState StatusPopoverView::state() const {
    const auto& camera = m_sources.cameraManager;
    PopoverState state;
    state.mode = camera.currentMode.value();
    state.selectedImageId = camera.selectedImageId.value();
    state.selectedCameraId = camera.selectedCameraId.value();
    state.savedImages = m_sources.imageManager.savedImages.value();
    state.imagesDirectory = m_sources.store.imagesDirectoryURL();
    state.cameras = m_sources.cameraDevices.cameras.value();
    state.extensionStatus = m_sources.extensionInstaller.status.value();
    state.isPermissionDenied = m_sources.cameraPermission.isDenied();
    state.canCheckForUpdates = m_inputs.canCheckForUpdates;
    state.hasCheckForUpdates = static_cast<bool>(m_inputs.onCheckForUpdates);
    return state;
}

void StatusPopoverView::rebuild() {
    const auto focused = std::find(m_rows.begin(), m_rows.end(), QApplication::focusWidget());
    const auto focusIndex = focused == m_rows.end() ? -1 : focused - m_rows.begin();

    const auto content = makePopoverContent(state(), m_sources.localization);
    m_preview->setAccessibleName(qt(content.previewAccessibilityLabel));
    m_rows.clear();
    auto* body = makeBody(content);
    if (m_body != nullptr) {
        m_layout->removeWidget(m_body);
        m_body->hide();
        m_body->deleteLater();
    }
    m_body = body;
    m_layout->addWidget(m_body);
    if (focusIndex >= 0 && focusIndex < static_cast<std::ptrdiff_t>(m_rows.size())) {
        m_rows[static_cast<std::size_t>(focusIndex)]->setFocus(Qt::TabFocusReason);
    }
    adjustSize();
}

QWidget* StatusPopoverView::makeBody(const PopoverContent& content) {
    auto* body = new QWidget;
    auto* layout = stack(body, kStackSpacing);
    const auto block = [&](int spacing) {
        auto* widget = new QWidget;
        layout->addWidget(widget);
        return stack(widget, spacing);
    };
    const auto rows = [&](QVBoxLayout* into, const std::vector<PopoverRowModel>& models) {
        for (const auto& model : models) {
            into->addWidget(makeRow(model));
        }
    };
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    for (const auto item : content.items) {
        switch (item) {
        case PopoverItem::preview:
            break;
        case PopoverItem::divider:
            layout->addWidget(widgets::divider());
            break;
        case PopoverItem::permissionBlock: {
            auto* into = block(kCaptionedSpacing);
            into->addWidget(caption(content.permissionBlock->caption, kWarningRed));
            into->addWidget(makeRow(content.permissionBlock->row));
            break;
        }
        case PopoverItem::modeBlock: {
            auto* into = block(kBlockSpacing);
            rows(into, content.modeRows);
            into->addWidget(makeCameraMenu(content.cameraMenu));
            break;
        }
        case PopoverItem::imageBlock:
            rows(block(kBlockSpacing), content.imageRows);
            break;
        case PopoverItem::applicationBlock:
            rows(block(kBlockSpacing), content.applicationRows);
            break;
        case PopoverItem::extensionBlock: {
            auto* into = block(kCaptionedSpacing);
            into->addWidget(caption(content.extensionBlock->caption, secondary));
            into->addWidget(makeRow(content.extensionBlock->row));
            break;
        }
        }
    }
    return body;
}

PopoverRow* StatusPopoverView::makeRow(const PopoverRowModel& model) {
    auto* row = new PopoverRow(qt(model.title));
    row->setChecked(model.isChecked);
    row->setEnabled(model.isEnabled);
    if (model.thumbnailFile) {
        const int side = qCeil(PopoverRow::kThumbnailSide * devicePixelRatioF());
        if (const auto image = m_sources.imageDecoder.decodeCovering(*model.thumbnailFile, side)) {
            row->setThumbnail(imageOf(*image));
        }
    }
    connect(row, &QAbstractButton::clicked, this, [this, model] { perform(model); });
    m_rows.push_back(row);
    return row;
}

PopoverRow* StatusPopoverView::makeCameraMenu(const CameraMenuModel& model) {
    auto* button = new PopoverRow(qt(model.label));
    button->setShowsMenuIndicator(true);
    auto* menu = new QMenu(button);
    for (std::size_t index = 0; index < model.items.size(); ++index) {
        const auto& item = model.items[index];
        if (index == 1 && model.hasDivider) {
            menu->addSeparator();
        }
        auto* action = menu->addAction(qt(item.title));
        action->setCheckable(true);
        action->setChecked(item.isChecked);
        connect(action, &QAction::triggered, this,
                [this, id = item.cameraId] { chooseCamera(m_sources.cameraManager, id); });
    }
    connect(button, &QAbstractButton::clicked, menu,
            [button, menu] { menu->popup(button->mapToGlobal(QPoint(0, button->height()))); });
    m_rows.push_back(button);
    return button;
}

void StatusPopoverView::perform(const PopoverRowModel& row) {
    const auto call = [](const std::function<void()>& action) {
        if (action) {
            action();
        }
    };
    auto& camera = m_sources.cameraManager;
    switch (row.action) {
    case PopoverAction::openCameraPrivacySettings:
        openCameraPrivacySettings(m_sources.workspace);
        break;
    case PopoverAction::turnOff:
        camera.turnOff();
        break;
    case PopoverAction::switchToCamera:
        camera.switchToCamera();
        break;
    case PopoverAction::selectImage:
        camera.selectImage(*row.imageId);
        break;
    case PopoverAction::openSettings:
        call(m_inputs.onOpenSettings);
        break;
    case PopoverAction::checkForUpdates:
        call(m_inputs.onCheckForUpdates);
        break;
    case PopoverAction::quit:
        call(m_inputs.onQuit);
        break;
    case PopoverAction::installExtension:
        call(m_inputs.onInstallExtension);
        break;
    }
}

void StatusPopoverView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (m_redraw.isPending()) {
        m_redraw.now();
    }
}

}  // namespace moritane
