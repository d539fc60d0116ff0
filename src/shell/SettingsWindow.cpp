#include "shell/SettingsWindow.h"

#include "shell/Symbols.h"

#include <QAction>
#include <QFrame>
#include <QGuiApplication>
#include <QKeySequence>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

namespace moritane {

namespace {

QString text(const Localization& localization, std::string_view key) {
    return QString::fromStdString(localization.string(key));
}

QWidget* expandingSpacer() {
    auto* spacer = new QWidget;
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    return spacer;
}

}  // namespace

SettingsTabViewController::SettingsTabViewController(std::vector<SettingsTab> tabs, const Localization& localization,
                                                     const std::filesystem::path& iconDirectory, QWidget* parent)
    : QWidget(parent),
      m_tabs(std::move(tabs)),
      m_toolbar(new QToolBar),
      m_tabActions(new QActionGroup(this)),
      m_panes(new QStackedWidget) {
    // Labels under the symbols and the items in the middle: the look users know from preference
    // windows.
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_toolbar->setIconSize({24, 24});
    m_toolbar->setMovable(false);
    m_toolbar->addWidget(expandingSpacer());
    const QColor symbolColor = palette().color(QPalette::WindowText);
    for (std::size_t index = 0; index < m_tabs.size(); ++index) {
        const auto& tab = m_tabs[index];
        auto* action = m_toolbar->addAction(symbols::icon(iconDirectory, tab.symbol, symbolColor),
                                            text(localization, tab.labelKey));
        action->setCheckable(true);
        m_tabActions->addAction(action);
        connect(action, &QAction::triggered, this, [this, index] { selectTab(static_cast<int>(index)); });
        // Reachable with Tab, as every control of a window is.
        if (auto* button = qobject_cast<QToolButton*>(m_toolbar->widgetForAction(action))) {
            button->setFocusPolicy(Qt::TabFocus);
        }
        m_panes->addWidget(new QWidget);
    }
    m_toolbar->addWidget(expandingSpacer());

    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_toolbar);
    layout->addWidget(divider);
    layout->addWidget(m_panes, 1);

    // Control+Tab steps through the panes, as in other tabbed windows.
    const auto step = [this](int by) {
        const int count = static_cast<int>(m_tabs.size());
        selectTab((selectedTab() + by + count) % count);
    };
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Tab), this), &QShortcut::activated, this,
            [step] { step(1); });
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), this), &QShortcut::activated, this,
            [step] { step(-1); });

    if (!m_tabs.empty()) {
        selectTab(0);
    }
}

void SettingsTabViewController::selectTab(int index) {
    if (index < 0 || index >= static_cast<int>(m_tabs.size())) {
        return;
    }
    if (auto& make = m_tabs[static_cast<std::size_t>(index)].makeContent) {
        auto* placeholder = m_panes->widget(index);
        m_panes->insertWidget(index, make().release());
        m_panes->removeWidget(placeholder);
        delete placeholder;
        make = nullptr;
    }
    m_panes->setCurrentIndex(index);
    m_tabActions->actions().at(index)->setChecked(true);
}

void SettingsTabViewController::setPaneMinimumSize(QSize size) {
    m_panes->setMinimumSize(size);
}

SettingsWindow::SettingsWindow(std::vector<SettingsTab> tabs, const Localization& localization,
                               const std::filesystem::path& iconDirectory)
    : m_controller(new SettingsTabViewController(std::move(tabs), localization, iconDirectory)) {
    // Every pane has the same title, so the title does not change with the pane.
    setWindowTitle(text(localization, "settings.windowTitle"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                   Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_controller);

    // The sizes are those of the panes' area; the toolbar comes on top of them. The layout makes
    // the panes' minimum the window's.
    m_controller->setPaneMinimumSize(minimumContentSize);
    const int toolbarHeight = minimumSizeHint().height() - minimumContentSize.height();
    resize(contentSize.width(), contentSize.height() + toolbarHeight);

    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);

    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect placed(QPoint(), frameSize());
        placed.moveCenter(screen->availableGeometry().center());
        move(placed.topLeft());
    }
}

void SettingsWindow::bringForward() {
    if (isMinimized()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
    }
    show();
    raise();
    activateWindow();
}

}  // namespace moritane
