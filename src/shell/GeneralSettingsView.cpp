#include "shell/GeneralSettingsView.h"

#include "camera/Constants.h"
#include "shell/Widgets.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QMetaObject>
#include <QScrollArea>

namespace moritane {

namespace {

constexpr int kMargin = 20;
constexpr int kSectionSpacing = 18;
constexpr int kHeaderSpacing = 6;
constexpr int kRowSpacing = 10;
constexpr int kGroupPadding = 12;
constexpr double kCalloutScale = 0.92;
constexpr double kCaptionScale = 0.85;

/// A section's rows on the grouped background of a form.
QFrame* group() {
    auto* frame = new QFrame;
    frame->setFrameShape(QFrame::StyledPanel);
    frame->setAutoFillBackground(true);
    frame->setBackgroundRole(QPalette::Base);
    auto* rows = new QVBoxLayout(frame);
    rows->setContentsMargins(kGroupPadding, kGroupPadding, kGroupPadding, kGroupPadding);
    rows->setSpacing(kRowSpacing);
    return frame;
}

QVBoxLayout* rowsOf(QFrame* frame) {
    return static_cast<QVBoxLayout*>(frame->layout());  // NOLINT(cppcoreguidelines-pro-type-static-cast-downcast)
}

}  // namespace

GeneralSettingsView::GeneralSettingsView(Sources sources, QWidget* parent)
    : QWidget(parent),
      m_sources(std::move(sources)),
      m_launchAtLogin(new QCheckBox(text("settings.launchAtLogin"))),
      m_extensionStatus(new QLabel),
      m_extensionStatusColumn(new QVBoxLayout),
      m_reinstall(new QPushButton(text("settings.extension.reinstall"))) {
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    auto* content = new QWidget;
    auto* sections = new QVBoxLayout(content);
    sections->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    sections->setSpacing(kSectionSpacing);

    // No choice here: the program speaks the system's language, and this only says so.
    auto* language = group();
    rowsOf(language)->addWidget(widgets::label(text("settings.language.systemFollow"), font(), secondary));
    addSection(sections, GeneralSection::language, language);

    auto* startup = group();
    rowsOf(startup)->addWidget(m_launchAtLogin);
    addSection(sections, GeneralSection::startup, startup);
    // The box shows what the system says after the change, which a refusal leaves as it was.
    connect(m_launchAtLogin, &QCheckBox::clicked, this, [this](bool checked) {
        m_sources.loginItemManager.setEnabled(checked);
        m_launchAtLogin->setChecked(m_sources.loginItemManager.isEnabled.value());
    });

    auto* extension = group();
    auto* statusRow = new QHBoxLayout;
    statusRow->setSpacing(kRowSpacing);
    statusRow->addWidget(new QLabel(text("settings.extension.statusLabel")), 0, Qt::AlignTop);
    statusRow->addStretch();
    m_extensionStatus->setWordWrap(true);
    m_extensionStatus->setAlignment(Qt::AlignRight | Qt::AlignTop);
    m_extensionStatus->setPalette(widgets::withTextColour(m_extensionStatus->palette(), secondary));
    m_extensionStatusColumn->addWidget(m_extensionStatus);
    statusRow->addLayout(m_extensionStatusColumn, 1);
    rowsOf(extension)->addLayout(statusRow);
    auto* reinstallRow = new QHBoxLayout;
    reinstallRow->addWidget(m_reinstall);
    reinstallRow->addStretch();
    rowsOf(extension)->addLayout(reinstallRow);
    addSection(sections, GeneralSection::extension, extension);
    connect(m_reinstall, &QPushButton::clicked, this, [this] { reinstallExtension(m_sources.extensionInstaller); });

    auto* permission = group();
    rowsOf(permission)
        ->addWidget(widgets::label(text("settings.cameraPermission.denied"), widgets::scaled(font(), kCalloutScale),
                                   secondary));
    auto* openPrivacy = new QPushButton(text("settings.cameraPermission.openSettings"));
    connect(openPrivacy, &QPushButton::clicked, this, [this] { openCameraPrivacySettings(m_sources.workspace); });
    rowsOf(permission)->addWidget(openPrivacy, 0, Qt::AlignLeft);
    m_permissionSection = addSection(sections, GeneralSection::cameraPermission, permission);

    auto* onboarding = group();
    auto* showOnboarding = new QPushButton(text("settings.onboarding.show"));
    connect(showOnboarding, &QPushButton::clicked, this, [this] { m_sources.showOnboardingWindow(); });
    rowsOf(onboarding)->addWidget(showOnboarding, 0, Qt::AlignLeft);
    addSection(sections, GeneralSection::onboarding, onboarding);

    auto* shortcuts = group();
    const std::array<std::string_view, 3> titles{"settings.shortcuts.cameraOff", "settings.shortcuts.cameraOn",
                                                 "settings.shortcuts.showLastImage"};
    for (std::size_t index = 0; index < titles.size() && index < m_sources.shortcutNames.size(); ++index) {
        rowsOf(shortcuts)->addWidget(m_sources.makeRecorder(m_sources.shortcutNames[index], titles[index]).release());
    }
    rowsOf(shortcuts)->addWidget(
        widgets::label(text("settings.shortcuts.hint"), widgets::scaled(font(), kCaptionScale), secondary));
    addSection(sections, GeneralSection::shortcuts, shortcuts);
    sections->addStretch();

    auto* scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll);

    const auto redraw = [this](const auto& /*value*/) { m_redraw.request(); };
    m_subscriptions.push_back(m_sources.loginItemManager.isEnabled.subscribe(redraw));
    m_subscriptions.push_back(m_sources.extensionInstaller.status.subscribe(redraw));
    m_subscriptions.push_back(m_sources.cameraPermission.status.subscribe(redraw));
    m_redraw.now();
}

QString GeneralSettingsView::text(std::string_view key) const {
    return QString::fromStdString(m_sources.localization.string(key));
}

QWidget* GeneralSettingsView::addSection(QVBoxLayout* layout, GeneralSection section, QWidget* body) {
    auto* holder = new QWidget;
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(kHeaderSpacing);
    auto* header = new QLabel(text(sectionHeaderKey(section)));
    header->setFont(widgets::scaled(font(), 1.0, QFont::DemiBold));
    column->addWidget(header);
    column->addWidget(body);
    layout->addWidget(holder);
    return holder;
}

GeneralPaneState GeneralSettingsView::state() const {
    return {
        .isLoginItemEnabled = m_sources.loginItemManager.isEnabled.value(),
        .extensionStatus = m_sources.extensionInstaller.status.value(),
        .isCameraPermissionDenied = m_sources.cameraPermission.isDenied(),
        .supportURL = Constants::websiteURL("support", m_sources.localization.preferredLocalizations()),
    };
}

void GeneralSettingsView::render(const GeneralPaneContent& content) {
    m_launchAtLogin->setChecked(content.launchAtLogin);
    m_permissionSection->setVisible(std::find(content.sections.begin(), content.sections.end(),
                                              GeneralSection::cameraPermission) != content.sections.end());
    m_reinstall->setEnabled(content.isReinstallEnabled);
    m_extensionStatus->setText(QString::fromStdString(content.extensionStatus));
    m_extensionStatus->setVisible(!content.extensionFailure);
    // Made anew only when it changed, so that a selection in it or the focus on its buttons stays.
    if (content.extensionFailure != m_shownFailure) {
        delete m_failureBlock;
        m_failureBlock = nullptr;
        m_shownFailure = content.extensionFailure;
        if (m_shownFailure) {
            m_failureBlock = makeFailureBlock(*m_shownFailure);
            m_extensionStatusColumn->addWidget(m_failureBlock);
        }
    }
}

QWidget* GeneralSettingsView::makeFailureBlock(const ExtensionFailureBlock& failure) {
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    auto* block = new QWidget;
    auto* column = new QVBoxLayout(block);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(
        widgets::label(QString::fromStdString(failure.text), widgets::scaled(font(), kCalloutScale), secondary));
    auto* actions = new QHBoxLayout;
    actions->setSpacing(12);
    if (failure.showsOpenSettings) {
        auto* openSettings = new QPushButton(text("settings.extension.openSystemSettings"));
        connect(openSettings, &QPushButton::clicked, this, [this] { openExtensionSettings(m_sources.workspace); });
        actions->addWidget(openSettings);
    }
    if (failure.supportURL) {
        auto* support = new widgets::LinkButton(text("about.link.support"), QIcon());
        connect(support, &QAbstractButton::clicked, this,
                [this, url = *failure.supportURL] { m_sources.workspace.openURL(url); });
        actions->addWidget(support);
    }
    actions->addStretch();
    column->addLayout(actions);
    // Selectable, so that it can be copied into a support request.
    auto* diagnostic =
        widgets::label(QString::fromStdString(failure.diagnostic), widgets::scaled(font(), kCaptionScale), secondary);
    diagnostic->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    column->addWidget(diagnostic);
    return block;
}

void GeneralSettingsView::showEvent(QShowEvent* event) {
    // Each appearance reads the login item and the extension again: either may have changed outside.
    m_sources.loginItemManager.refresh();
    m_sources.extensionInstaller.refreshStatus();
    QWidget::showEvent(event);
    if (m_redraw.isPending()) {
        m_redraw.now();
    }
}

}  // namespace moritane
