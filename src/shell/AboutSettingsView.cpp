#include "shell/AboutSettingsView.h"

#include "shell/model/AboutModel.h"

#include <QAbstractButton>
#include <QFrame>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScrollArea>
#include <QVBoxLayout>

namespace moritane {

namespace {

constexpr int kPadding = 20;
constexpr int kStackSpacing = 20;
constexpr int kHeaderSpacing = 16;
constexpr int kHeaderTextSpacing = 4;
constexpr int kSectionSpacing = 8;
constexpr int kEntrySpacing = 2;
constexpr int kCopyrightTopPadding = 2;
constexpr int kIconSide = 64;
constexpr int kSymbolSpacing = 6;
constexpr int kFocusMarkSpace = 2;
constexpr double kTitleScale = 1.3;
constexpr double kCalloutScale = 0.92;
constexpr double kFootnoteScale = 0.85;

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QFont scaled(QFont font, double factor, QFont::Weight weight = QFont::Normal) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else {
        font.setPixelSize(qRound(font.pixelSize() * factor));
    }
    font.setWeight(weight);
    return font;
}

QIcon icon(const std::filesystem::path& directory, const char* symbol) {
    const auto file = QString::fromStdString((directory / (std::string(symbol) + ".svg")).string());
    return QIcon(file);
}

QLabel* label(const std::string& text, const QFont& font, std::optional<QColor> colour = std::nullopt) {
    auto* made = new QLabel(qt(text));
    made->setFont(font);
    made->setWordWrap(true);
    if (colour) {
        auto palette = made->palette();
        palette.setColor(QPalette::WindowText, *colour);
        made->setPalette(palette);
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

QVBoxLayout* stack(QWidget* owner, int spacing) {
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

/// The application's icon, drawn rather than shown in a child so that screen readers pass over it.
class Header final : public QWidget {
public:
    explicit Header(QIcon icon) : m_icon(std::move(icon)) {}

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        m_icon.paint(&painter, QRect(0, 0, kIconSide, kIconSide));
    }

private:
    QIcon m_icon;
};

/// A text in the link colour that opens an address, optionally followed by the "opens outside"
/// symbol. Drawn in one piece, so the symbol is no separate object for screen readers.
class LinkButton final : public QAbstractButton {
public:
    LinkButton(const QString& title, QIcon symbol) : m_symbol(std::move(symbol)) {
        setText(title);
        setAccessibleName(title);
        setCursor(Qt::PointingHandCursor);
        // Clicks leave no focus mark behind; Tab reaches it.
        setFocusPolicy(Qt::TabFocus);
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    }

    [[nodiscard]] QSize sizeHint() const override {
        return {contentWidth(), fontMetrics().height() + 2 * kFocusMarkSpace};
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
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

    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            click();
            return;
        }
        QAbstractButton::keyPressEvent(event);
    }

    void enterEvent(QEnterEvent* event) override {
        update();
        QAbstractButton::enterEvent(event);
    }

    void leaveEvent(QEvent* event) override {
        update();
        QAbstractButton::leaveEvent(event);
    }

private:
    [[nodiscard]] int symbolSide() const { return fontMetrics().ascent(); }
    [[nodiscard]] int contentWidth() const {
        return fontMetrics().horizontalAdvance(text()) + (m_symbol.isNull() ? 0 : kSymbolSpacing + symbolSide());
    }

    // The symbol is a black mask; it takes the colour of the text beside it.
    [[nodiscard]] QImage tinted(int side, const QColor& colour) const {
        const qreal ratio = devicePixelRatioF();
        QImage image =
            m_symbol.pixmap(QSize(side, side), ratio).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), colour);
        return image;
    }

    QIcon m_symbol;
};

}  // namespace

AboutSettingsView::AboutSettingsView(Sources sources, QWidget* parent)
    : QWidget(parent), m_workspace(sources.workspace), m_iconDirectory(std::move(sources.iconDirectory)) {
    AboutState state;
    state.infoDictionary = std::move(sources.infoDictionary);
    state.preferredLocalizations = sources.localization.preferredLocalizations();
    const auto content = makeAboutContent(state, sources.localization);
    const QString hint = qt(content.linkHint);
    const QColor secondary = palette().color(QPalette::PlaceholderText);

    auto* page = new QWidget;
    auto* layout = stack(page, kStackSpacing);
    layout->setContentsMargins(kPadding, kPadding, kPadding, kPadding);

    auto* header = new Header(icon(m_iconDirectory, "moritane"));
    auto* headerRow = new QHBoxLayout(header);
    headerRow->setContentsMargins(kIconSide + kHeaderSpacing, 0, 0, 0);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(kHeaderTextSpacing);
    texts->addWidget(label(content.applicationName, scaled(font(), kTitleScale, QFont::DemiBold)));
    auto* version = label(content.versionLine, scaled(font(), kCalloutScale), secondary);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    texts->addWidget(version);
    auto* copyright = label(content.copyrightLine, scaled(font(), kFootnoteScale), secondary);
    copyright->setContentsMargins(0, kCopyrightTopPadding, 0, 0);
    texts->addWidget(copyright);
    headerRow->addLayout(texts, 1);
    header->setMinimumHeight(kIconSide);
    layout->addWidget(header);
    layout->addWidget(divider());

    const auto section = [&](const std::string& heading) {
        auto* widget = new QWidget;
        layout->addWidget(widget);
        auto* into = stack(widget, kSectionSpacing);
        into->addWidget(label(heading, scaled(font(), 1.0, QFont::Bold)));
        return into;
    };
    auto* documents = section(content.documentsHeading);
    for (const auto& row : content.documentRows) {
        documents->addWidget(makeLink(row.title, row.url, hint, true), 0, Qt::AlignLeft);
    }
    layout->addWidget(divider());

    auto* openSource = section(content.openSourceHeading);
    for (const auto& dependency : content.dependencies) {
        auto* entry = new QWidget;
        auto* lines = stack(entry, kEntrySpacing);
        if (dependency.link) {
            lines->addWidget(makeLink(dependency.name, *dependency.link, hint, false), 0, Qt::AlignLeft);
        } else {
            lines->addWidget(label(dependency.name, font()));
        }
        lines->addWidget(label(dependency.footnote, scaled(font(), kFootnoteScale), secondary));
        openSource->addWidget(entry);
    }
    layout->addStretch(1);

    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll->setWidget(page);
    stack(this, 0)->addWidget(scroll);
}

QWidget* AboutSettingsView::makeLink(const std::string& title, const std::string& url, const QString& hint,
                                     bool withSymbol) {
    auto* link = new LinkButton(qt(title), withSymbol ? icon(m_iconDirectory, "arrow.up.forward.square") : QIcon());
    link->setAccessibleDescription(hint);
    link->setToolTip(qt(url));
    connect(link, &QAbstractButton::clicked, this, [this, url] { m_workspace.openURL(url); });
    return link;
}

}  // namespace moritane
