#include "shell/Widgets.h"

#include <QFrame>
#include <QKeyEvent>
#include <QMetaObject>
#include <QPainter>

#include <utility>

namespace moritane::widgets {

namespace {

constexpr int kSymbolSpacing = 6;
constexpr int kFocusMarkSpace = 2;

}  // namespace

QFont scaled(QFont font, double factor, QFont::Weight weight) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else {
        font.setPixelSize(qRound(font.pixelSize() * factor));
    }
    font.setWeight(weight);
    return font;
}

QPalette withTextColour(QPalette palette, const QColor& colour) {
    // On a form's group, whose background is the base colour, labels draw in the text role.
    palette.setColor(QPalette::WindowText, colour);
    palette.setColor(QPalette::Text, colour);
    return palette;
}

QLabel* label(const QString& text, const QFont& font, std::optional<QColor> colour) {
    auto* made = new QLabel(text);
    made->setFont(font);
    // Names and messages are the user's or the system's, never markup.
    made->setTextFormat(Qt::PlainText);
    made->setWordWrap(true);
    if (colour) {
        made->setPalette(withTextColour(made->palette(), *colour));
    }
    return made;
}

QWidget* divider() {
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setFixedHeight(1);
    auto palette = line->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::Mid));
    line->setPalette(palette);
    return line;
}

void LaterRedraw::request() {
    if (std::exchange(m_pending, true)) {
        return;
    }
    QMetaObject::invokeMethod(
        &m_view,
        [this] {
            if (m_pending && m_view.isVisible()) {
                now();
            }
        },
        Qt::QueuedConnection);
}

void LaterRedraw::now() {
    m_pending = false;
    m_redraw();
}

LinkButton::LinkButton(const QString& title, QIcon symbol) : m_symbol(std::move(symbol)) {
    setText(title);
    setAccessibleName(title);
    setCursor(Qt::PointingHandCursor);
    // Clicks leave no focus mark behind; Tab reaches it.
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize LinkButton::sizeHint() const {
    return {contentWidth(), fontMetrics().height() + 2 * kFocusMarkSpace};
}

void LinkButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor colour = palette().color(QPalette::Link);
    // No room for a ring around the text without leaving the leading edge: a thick underline.
    if (hasFocus()) {
        painter.fillRect(QRect(0, height() - kFocusMarkSpace, contentWidth(), kFocusMarkSpace),
                         palette().color(QPalette::Highlight));
    }
    QFont font = this->font();
    font.setUnderline(underMouse());
    painter.setFont(font);
    painter.setPen(colour);
    const int textWidth = fontMetrics().horizontalAdvance(text());
    const QRect line(0, kFocusMarkSpace, textWidth, fontMetrics().height());
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, text());
    if (!m_symbol.isNull()) {
        const int side = symbolSide();
        const QRect place(textWidth + kSymbolSpacing, line.center().y() - side / 2 + 1, side, side);
        painter.drawImage(place, tinted(side, colour));
    }
}

void LinkButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void LinkButton::enterEvent(QEnterEvent* event) {
    update();
    QAbstractButton::enterEvent(event);
}

void LinkButton::leaveEvent(QEvent* event) {
    update();
    QAbstractButton::leaveEvent(event);
}

int LinkButton::contentWidth() const {
    return fontMetrics().horizontalAdvance(text()) + (m_symbol.isNull() ? 0 : kSymbolSpacing + symbolSide());
}

QImage LinkButton::tinted(int side, const QColor& colour) const {
    // The symbol is a black mask; it takes the colour of the text beside it.
    const qreal ratio = devicePixelRatioF();
    QImage image =
        m_symbol.pixmap(QSize(side, side), ratio).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    return image;
}

}  // namespace moritane::widgets
