#include "shell/PopoverWindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace moritane {

PopoverWindow::PopoverWindow(std::unique_ptr<QWidget> content, std::function<void()> didClose)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint), m_didClose(std::move(didClose)) {
    // The click on the status item that closes the popover must not reach the item again and
    // open a new one.
    setAttribute(Qt::WA_NoMouseReplay);
    auto* layout = new QVBoxLayout(this);
    // Room for the edge, which sets the popover off from whatever lies under it.
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(content.release());
}

QPoint PopoverWindow::placement(const QSize& size, const QRect& anchor, const QRect& available) {
    constexpr int kGap = 4;
    int x = anchor.left() + anchor.width() / 2 - size.width() / 2;
    int y = anchor.bottom() + 1 + kGap;
    if (y + size.height() > available.bottom() + 1 && anchor.top() - kGap - size.height() >= available.top()) {
        y = anchor.top() - kGap - size.height();
    }
    x = std::clamp(x, available.left(), std::max(available.left(), available.right() + 1 - size.width()));
    y = std::clamp(y, available.top(), std::max(available.top(), available.bottom() + 1 - size.height()));
    return {x, y};
}

void PopoverWindow::showRelativeTo(const QRect& anchor) {
    const QRect place = anchor.isValid() ? anchor : QRect(QCursor::pos(), QSize(1, 1));
    const QScreen* screen = QGuiApplication::screenAt(place.center());
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    adjustSize();
    move(placement(sizeHint(), place,
                   screen != nullptr ? screen->availableGeometry() : QRect(place.topLeft(), sizeHint())));
    show();
    raise();
    activateWindow();
}

void PopoverWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PopoverWindow::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().window());
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void PopoverWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (m_didClose) {
        m_didClose();
    }
}

}  // namespace moritane
