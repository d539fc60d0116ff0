#include "shell/OnboardingWindow.h"

#include "camera/AppDelegate.h"
#include "shell/Symbols.h"
#include "shell/Widgets.h"

#include <QCloseEvent>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QVBoxLayout>

namespace moritane {

namespace {

constexpr int kMargin = 28;
constexpr int kMarkSide = 26;
constexpr int kRowSpacing = 14;
constexpr int kTextSpacing = 6;
const QColor kGreen(52, 168, 83);

// Sizes in points of a body text of 13, scaled to the desktop's own font so that the window
// follows the user's choice of text size.
constexpr double kBodySize = 13;
constexpr double kLargeTitleSize = 26;
constexpr double kTitle3Size = 20;
constexpr double kSubheadlineSize = 11.5;
constexpr double kMarkNumberSize = 15;

QString text(const Localization& localization, std::string_view key) {
    return QString::fromStdString(localization.string(key));
}

/// `font` at the size `size` of the design.
QFont sized(const QFont& font, double size, QFont::Weight weight = QFont::Normal) {
    return widgets::scaled(font, size / kBodySize, weight);
}

QVBoxLayout* column(QWidget* owner, int spacing) {
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

/// The number of an open step, white on a disc of the accent colour.
QPixmap numberMark(const QString& number, const QFont& font, const QColor& accent, qreal scale) {
    QPixmap painted(QSize(kMarkSide, kMarkSide) * scale);
    painted.setDevicePixelRatio(scale);
    painted.fill(Qt::transparent);
    QPainter painter(&painted);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(accent);
    painter.drawEllipse(QRectF(0, 0, kMarkSide, kMarkSide));
    painter.setPen(Qt::white);
    painter.setFont(font);
    painter.drawText(QRectF(0, 0, kMarkSide, kMarkSide), Qt::AlignCenter, number);
    return painted;
}

}  // namespace

OnboardingWindow::OnboardingWindow(Sources sources) : m_sources(std::move(sources)) {
    const auto& localization = m_sources.localization;
    setWindowTitle(text(localization, "onboarding.windowTitle"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                   Qt::WindowMinimizeButtonHint);
    setFixedSize(contentSize);
    m_cameraAuthorized = m_sources.cameraAuthorization.authorizationStatus() == AuthorizationStatus::authorized;

    const QFont body = font();
    const QColor secondary = palette().color(QPalette::PlaceholderText);

    auto* header = new QWidget;
    auto* headerLayout = column(header, kTextSpacing);
    headerLayout->setContentsMargins(kMargin, kMargin, kMargin, 20);
    headerLayout->addWidget(
        widgets::label(text(localization, "onboarding.title"), sized(body, kLargeTitleSize, QFont::Bold)));
    headerLayout->addWidget(widgets::label(text(localization, "onboarding.subtitle"), body, secondary));

    auto* steps = new QWidget;
    auto* stepsLayout = column(steps, 24);
    stepsLayout->setContentsMargins(kMargin, 24, kMargin, 24);
    const auto models = makeOnboardingSteps(m_status, m_cameraAuthorized);
    for (std::size_t index = 0; index < models.size(); ++index) {
        stepsLayout->addWidget(makeStepRow(models[index], m_steps.at(index)));
    }
    auto* usageDivider = new QWidget;
    auto* usageDividerLayout = column(usageDivider, 0);
    usageDividerLayout->setContentsMargins(0, 4, 0, 0);
    usageDividerLayout->addWidget(widgets::divider());
    stepsLayout->addWidget(usageDivider);
    stepsLayout->addWidget(makeUsageSection());
    stepsLayout->addStretch(1);

    auto* scroll = new QScrollArea;
    scroll->setWidget(steps);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Its own colour, not the base of editable lists.
    scroll->viewport()->setAutoFillBackground(false);

    m_done = new QPushButton(text(localization, "onboarding.done"));
    m_done->setDefault(true);
    connect(m_done, &QPushButton::clicked, this, &QWidget::close);
    auto* footer = new QWidget;
    auto* footerLayout = new QHBoxLayout(footer);
    footerLayout->setContentsMargins(kMargin, 16, kMargin, 16);
    footerLayout->addStretch(1);
    footerLayout->addWidget(m_done);

    auto* layout = column(this, 0);
    layout->addWidget(header);
    layout->addWidget(widgets::divider());
    layout->addWidget(scroll, 1);
    layout->addWidget(widgets::divider());
    layout->addWidget(footer);

    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);

    m_statusSubscription = m_sources.extensionInstaller.status.subscribe([this](const auto& status) {
        // Told before it is stored: draw from the value given.
        m_status = status;
        redraw();
    });

    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect placed(QPoint(), frameSize());
        placed.moveCenter(screen->availableGeometry().center());
        move(placed.topLeft());
    }
}

OnboardingWindow::~OnboardingWindow() {
    stopPermissionTimer();
}

QWidget* OnboardingWindow::makeStepRow(const OnboardingStep& step, StepWidgets& widgets) {
    const auto& localization = m_sources.localization;
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(kRowSpacing);

    widgets.mark = new QLabel;
    widgets.mark->setFixedSize(kMarkSide, kMarkSide);
    widgets.mark->setAlignment(Qt::AlignCenter);
    layout->addWidget(widgets.mark, 0, Qt::AlignTop);

    auto* texts = new QWidget;
    auto* textsLayout = column(texts, kTextSpacing);
    textsLayout->addWidget(widgets::label(text(localization, step.titleKey), sized(font(), kBodySize, QFont::Bold)));
    textsLayout->addWidget(
        widgets::label(text(localization, step.detailKey), sized(font(), kSubheadlineSize), secondary));
    widgets.action = new QPushButton(text(localization, step.actionKey));
    widgets.action->setAutoDefault(true);
    connect(widgets.action, &QPushButton::clicked, this, [this, action = step.action] { perform(action); });
    auto* actionRow = new QHBoxLayout;
    actionRow->setContentsMargins(0, 2, 0, 0);
    actionRow->addWidget(widgets.action);
    actionRow->addStretch(1);
    textsLayout->addLayout(actionRow);
    // Without its button the last step's texts stay together at the top.
    textsLayout->addStretch(1);
    layout->addWidget(texts, 1);
    return row;
}

QWidget* OnboardingWindow::makeUsageSection() {
    const auto& localization = m_sources.localization;
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    auto* section = new QWidget;
    auto* layout = column(section, kTextSpacing);
    layout->addWidget(
        widgets::label(text(localization, "onboarding.usage.heading"), sized(font(), kTitle3Size, QFont::DemiBold)));

    auto* row = new QHBoxLayout;
    row->setSpacing(kRowSpacing);
    auto* symbol = new QLabel;
    symbol->setFixedSize(kMarkSide, kMarkSide);
    symbol->setAlignment(Qt::AlignCenter);
    symbol->setPixmap(symbols::pixmap(m_sources.iconDirectory, "video.fill.badge.checkmark", 22,
                                      palette().color(QPalette::Highlight), devicePixelRatioF()));
    row->addWidget(symbol, 0, Qt::AlignTop);
    auto* texts = new QWidget;
    auto* textsLayout = column(texts, kTextSpacing);
    textsLayout->addWidget(
        widgets::label(text(localization, "onboarding.step4.title"), sized(font(), kBodySize, QFont::Bold)));
    textsLayout->addWidget(
        widgets::label(text(localization, "onboarding.step4.detail"), sized(font(), kSubheadlineSize), secondary));
    row->addWidget(texts, 1);
    layout->addLayout(row);
    return section;
}

void OnboardingWindow::perform(OnboardingAction action) {
    switch (action) {
    case OnboardingAction::activateExtension:
        m_sources.extensionInstaller.activateIfNeeded();
        break;
    case OnboardingAction::openExtensionSettings:
        if (!openExtensionSettingsPane(m_sources.workspace, m_sources.log)) {
            QMessageBox alert(QMessageBox::Warning, windowTitle(),
                              text(m_sources.localization, "onboarding.openSettingsFailed.title"), QMessageBox::Ok,
                              this);
            alert.setInformativeText(text(m_sources.localization, "onboarding.openSettingsFailed.message"));
            alert.exec();
        }
        break;
    case OnboardingAction::cameraStep:
        runCameraStep(m_sources.cameraAuthorization, m_sources.workspace, m_sources.mainQueue,
                      [self = QPointer(this)](bool granted) {
                          if (self) {
                              self->setCameraAuthorized(granted);
                          }
                      });
        break;
    }
}

void OnboardingWindow::setCameraAuthorized(bool authorized) {
    m_cameraAuthorized = authorized;
    redraw();
}

void OnboardingWindow::readCameraAuthorization() {
    setCameraAuthorized(m_sources.cameraAuthorization.authorizationStatus() == AuthorizationStatus::authorized);
}

void OnboardingWindow::stopPermissionTimer() {
    if (m_permissionTimer) {
        m_permissionTimer->invalidate();
        m_permissionTimer.reset();
    }
}

void OnboardingWindow::redraw() {
    const auto models = makeOnboardingSteps(m_status, m_cameraAuthorized);
    const QFont numberFont = sized(font(), kMarkNumberSize, QFont::DemiBold);
    const qreal scale = devicePixelRatioF();
    for (std::size_t index = 0; index < models.size(); ++index) {
        const auto& model = models[index];
        auto& widgets = m_steps.at(index);
        const auto number = QString::fromStdString(Localization::format(
            m_sources.localization.string("onboarding.stepNumber"), {static_cast<std::int64_t>(model.number)}));
        widgets.mark->setPixmap(
            model.isComplete
                ? symbols::pixmap(m_sources.iconDirectory, "checkmark.circle.fill", kMarkSide, kGreen, scale)
                : numberMark(number, numberFont, palette().color(QPalette::Highlight), scale));
        widgets.mark->setAccessibleName(number);
        widgets.action->setVisible(model.showsAction);
        widgets.action->setEnabled(model.isActionEnabled);
    }
}

void OnboardingWindow::bringForward() {
    if (isMinimized()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
    }
    show();
    raise();
    activateWindow();
}

void OnboardingWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_sources.extensionInstaller.refreshStatus();
    readCameraAuthorization();
    stopPermissionTimer();
    // The permission changes in the system's settings, which tell no one: look every second.
    m_permissionTimer = m_sources.mainQueue.scheduleTimer(permissionPollInterval, true, TimerModes::defaultMode,
                                                          [self = QPointer(this)] {
                                                              if (self) {
                                                                  self->readCameraAuthorization();
                                                              }
                                                          });
}

void OnboardingWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    stopPermissionTimer();
}

void OnboardingWindow::closeEvent(QCloseEvent* event) {
    // Leaving by the close button counts as finishing: the next start does not lead through it
    // again.
    m_sources.defaults.setObject(AppDelegate::hasCompletedOnboardingKey, true);
    event->accept();
}

void OnboardingWindow::keyPressEvent(QKeyEvent* event) {
    // Return finishes unless a focused button took it, as a default button does in a dialog.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        m_done->click();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace moritane
