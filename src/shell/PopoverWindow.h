#pragma once

#include <QRect>
#include <QWidget>

#include <functional>
#include <memory>

namespace moritane {

/// The popover: a frameless window that closes at a click outside it or at Escape, and tells
/// `didClose` however it closed.
class PopoverWindow final : public QWidget {
public:
    PopoverWindow(std::unique_ptr<QWidget> content, std::function<void()> didClose);

    /// Shows the window under `anchor` (the status item's place on screen) or, when the tray does
    /// not tell it, at the pointer, inside the available area of that screen.
    void showRelativeTo(const QRect& anchor);
    void performClose() { close(); }

    /// Where a window of `size` goes for `anchor` on a screen whose free area is `available`:
    /// centred under the anchor, above it when there is no room below, never outside the area.
    static QPoint placement(const QSize& size, const QRect& anchor, const QRect& available);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    std::function<void()> m_didClose;
};

}  // namespace moritane
