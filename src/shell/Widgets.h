#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QFont>
#include <QIcon>
#include <QLabel>

#include <functional>
#include <optional>

namespace moritane::widgets {

/// `font` at `factor` times its size, with `weight`: the sizes of the windows' smaller and larger texts.
QFont scaled(QFont font, double factor, QFont::Weight weight = QFont::Normal);

/// `palette` with its text in `colour`.
QPalette withTextColour(QPalette palette, const QColor& colour);

/// A text that wraps, in `font` and, when given, `colour`.
QLabel* label(const QString& text, const QFont& font, std::optional<QColor> colour = std::nullopt);

/// A thin line across a stack.
QWidget* divider();

/// Redraws a view from the values stored by then, on a later turn of the event loop: subscribers
/// hear of a value before it is stored, and a control's own action may be what changed it, so a
/// redraw never runs under that control. Asked for many times before then, it draws once; a
/// hidden view waits until it is shown.
class LaterRedraw {
public:
    LaterRedraw(QWidget& view, std::function<void()> redraw) : m_view(view), m_redraw(std::move(redraw)) {}

    void request();
    /// Draws now; for the view's first drawing and its showing when a request waited.
    void now();
    [[nodiscard]] bool isPending() const { return m_pending; }

private:
    QWidget& m_view;
    std::function<void()> m_redraw;
    bool m_pending = false;
};

/// A text in the link colour that opens an address, optionally followed by the "opens outside"
/// symbol. Drawn in one piece, so the symbol is no separate object for screen readers.
class LinkButton final : public QAbstractButton {
public:
    LinkButton(const QString& title, QIcon symbol);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    [[nodiscard]] int symbolSide() const { return fontMetrics().ascent(); }
    [[nodiscard]] int contentWidth() const;
    [[nodiscard]] QImage tinted(int side, const QColor& colour) const;

    QIcon m_symbol;
};

}  // namespace moritane::widgets
