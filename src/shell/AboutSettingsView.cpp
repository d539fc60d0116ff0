#include "shell/AboutSettingsView.h"

#include "shell/Symbols.h"
#include "shell/Widgets.h"
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
constexpr double kTitleScale = 1.3;
constexpr double kCalloutScale = 0.92;
constexpr double kFootnoteScale = 0.85;

QString qt(const std::string& text) {
    return QString::fromStdString(text);
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

    auto* header = new Header(QIcon(symbols::file(m_iconDirectory, "moritane")));
    auto* headerRow = new QHBoxLayout(header);
    headerRow->setContentsMargins(kIconSide + kHeaderSpacing, 0, 0, 0);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(kHeaderTextSpacing);
    texts->addWidget(
        widgets::label(qt(content.applicationName), widgets::scaled(font(), kTitleScale, QFont::DemiBold)));
    auto* version = widgets::label(qt(content.versionLine), widgets::scaled(font(), kCalloutScale), secondary);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    texts->addWidget(version);
    auto* copyright = widgets::label(qt(content.copyrightLine), widgets::scaled(font(), kFootnoteScale), secondary);
    copyright->setContentsMargins(0, kCopyrightTopPadding, 0, 0);
    texts->addWidget(copyright);
    headerRow->addLayout(texts, 1);
    header->setMinimumHeight(kIconSide);
    layout->addWidget(header);
    layout->addWidget(widgets::divider());

    const auto section = [&](const std::string& heading) {
        auto* widget = new QWidget;
        layout->addWidget(widget);
        auto* into = stack(widget, kSectionSpacing);
        into->addWidget(widgets::label(qt(heading), widgets::scaled(font(), 1.0, QFont::Bold)));
        return into;
    };
    auto* documents = section(content.documentsHeading);
    for (const auto& row : content.documentRows) {
        documents->addWidget(makeLink(row.title, row.url, hint, true), 0, Qt::AlignLeft);
    }
    layout->addWidget(widgets::divider());

    auto* openSource = section(content.openSourceHeading);
    for (const auto& dependency : content.dependencies) {
        auto* entry = new QWidget;
        auto* lines = stack(entry, kEntrySpacing);
        if (dependency.link) {
            lines->addWidget(makeLink(dependency.name, *dependency.link, hint, false), 0, Qt::AlignLeft);
        } else {
            lines->addWidget(widgets::label(qt(dependency.name), font()));
        }
        lines->addWidget(widgets::label(qt(dependency.footnote), widgets::scaled(font(), kFootnoteScale), secondary));
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
    auto* link = new widgets::LinkButton(
        qt(title), withSymbol ? QIcon(symbols::file(m_iconDirectory, "arrow.up.forward.square")) : QIcon());
    link->setAccessibleDescription(hint);
    link->setToolTip(qt(url));
    connect(link, &QAbstractButton::clicked, this, [this, url] { m_workspace.openURL(url); });
    return link;
}

}  // namespace moritane
