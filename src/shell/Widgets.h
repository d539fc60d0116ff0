#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QFont>
#include <QIcon>
#include <QLabel>

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
