#include "shell/PopoverRow.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <algorithm>

namespace moritane {

namespace {

constexpr int kHorizontalPadding = 6;
constexpr int kVerticalPadding = 3;
constexpr int kSpacing = 6;
constexpr int kCheckColumn = 12;
constexpr int kIndicatorWidth = 8;
constexpr double kCornerRadius = 5;
constexpr double kHighlightOpacity = 0.18;

}  // namespace

PopoverRow::PopoverRow(const QString& title, QWidget* parent) : QAbstractButton(parent) {
    setText(title);
    setToolTip(title);
    setAccessibleName(title);
    setCheckable(true);
    // Clicks must not leave a highlight behind once the pointer has gone.
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void PopoverRow::setThumbnail(const QImage& thumbnail) {
    // A deep copy: the image given may only borrow its pixels.
    const qreal ratio = devicePixelRatioF();
    const int side = qCeil(kThumbnailSide * ratio);
    m_thumbnail = thumbnail.isNull()
                      ? QImage()
                      : thumbnail.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation).copy();
    m_thumbnail.setDevicePixelRatio(ratio);
    updateGeometry();
    update();
}

void PopoverRow::setShowsMenuIndicator(bool shows) {
    m_showsMenuIndicator = shows;
    update();
}

QSize PopoverRow::sizeHint() const {
    const int leading = kHorizontalPadding + kCheckColumn + kSpacing + (hasThumbnail() ? kThumbnailSide + kSpacing : 0);
    const int height = std::max(fontMetrics().height(), kThumbnailSide) + 2 * kVerticalPadding;
    return {leading + fontMetrics().horizontalAdvance(text()) + kHorizontalPadding, height};
}

QSize PopoverRow::minimumSizeHint() const {
    return {kHorizontalPadding * 2 + kCheckColumn, sizeHint().height()};
}

void PopoverRow::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor foreground = palette().color(group, QPalette::WindowText);

    if (isEnabled() && (underMouse() || m_hasKeyboardFocus)) {
        QColor highlight = palette().color(QPalette::Active, QPalette::Highlight);
        highlight.setAlphaF(kHighlightOpacity);
        QPainterPath background;
        background.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
        painter.fillPath(background, highlight);
    }

    const QRect content = rect().adjusted(kHorizontalPadding, kVerticalPadding, -kHorizontalPadding, -kVerticalPadding);
    int x = content.left();
    // Always laid out, so that titles stay aligned whether checked or not.
    if (isChecked()) {
        const QRectF box(x, content.center().y() - kCheckColumn / 2.0, kCheckColumn, kCheckColumn);
        QPainterPath mark;
        mark.moveTo(box.left() + box.width() * 0.15, box.top() + box.height() * 0.55);
        mark.lineTo(box.left() + box.width() * 0.4, box.top() + box.height() * 0.8);
        mark.lineTo(box.left() + box.width() * 0.88, box.top() + box.height() * 0.22);
        painter.setPen(QPen(foreground, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(mark);
    }
    x += kCheckColumn + kSpacing;

    if (hasThumbnail()) {
        const QRect frame(x, content.center().y() - kThumbnailSide / 2 + 1, kThumbnailSide, kThumbnailSide);
        QRectF placed(QPointF(), m_thumbnail.deviceIndependentSize());
        placed.moveCenter(QRectF(frame).center());
        painter.drawImage(placed, m_thumbnail);
        x += kThumbnailSide + kSpacing;
    }

    int right = content.right();
    if (m_showsMenuIndicator) {
        const QPointF tip(right - kIndicatorWidth / 2.0, content.center().y() + 2.5);
        QPainterPath chevron;
        chevron.moveTo(tip.x() - kIndicatorWidth / 2.0, tip.y() - 4);
        chevron.lineTo(tip);
        chevron.lineTo(tip.x() + kIndicatorWidth / 2.0, tip.y() - 4);
        painter.setPen(QPen(foreground, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(chevron);
        right -= kIndicatorWidth + kSpacing;
    }

    const QRect titleRect(x, content.top(), right - x + 1, content.height());
    painter.setPen(foreground);
    painter.drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(text(), Qt::ElideRight, titleRect.width()));
}

void PopoverRow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void PopoverRow::enterEvent(QEnterEvent* event) {
    update();
    QAbstractButton::enterEvent(event);
}

void PopoverRow::leaveEvent(QEvent* event) {
    update();
    QAbstractButton::leaveEvent(event);
}

void PopoverRow::focusInEvent(QFocusEvent* event) {
    m_hasKeyboardFocus = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    QAbstractButton::focusInEvent(event);
}

void PopoverRow::focusOutEvent(QFocusEvent* event) {
    m_hasKeyboardFocus = false;
    QAbstractButton::focusOutEvent(event);
}

}  // namespace moritane
