#include "app/Shared.h"

#include "camera/Constants.h"
#include "platform/linux/LinuxPaths.h"
#include "platform/linux/X11KeyEvents.h"
#include "shell/AboutSettingsView.h"
#include "shell/GeneralSettingsView.h"
#include "shell/ImagesSettingsView.h"
#include "shell/ShortcutRecorder.h"
#include "shell/StatusPopoverView.h"
#include "shortcuts/ShortcutDisplay.h"
#include "support/Bundle.h"
#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>

#include <chrono>
#include <future>
#include <utility>

namespace moritane {

namespace {

/// The tables in `directory`; without them the user reads the keys, and the log says why.
Localization loadLocalization(const std::filesystem::path& directory, Log& log) {
    const auto languages = linuxpaths::preferredLanguages();
    auto loaded = Localization::load(directory, languages);
    if (loaded) {
        return std::move(loaded).value();
    }
    log.write(fmt::format("Localization: cannot read the tables: {}", loaded.error().description));
    return {{}, languages};
}

std::string_view statusText(AuthorizationStatus status) {
    switch (status) {
    case AuthorizationStatus::notDetermined:
        return "not determined";
    case AuthorizationStatus::restricted:
        return "restricted";
    case AuthorizationStatus::denied:
        return "denied";
    case AuthorizationStatus::authorized:
        return "authorized";
    }
    return "unknown";
}

}  // namespace

Shared::Shared()
    : m_defaults(linuxpaths::defaultsFile(), m_log),
      m_container(XdgAppGroupContainer::Environment::current(), m_log),
      m_localization(loadLocalization(linuxpaths::resourceDirectory() / "l10n", m_log)),
      m_shortcutLocalization(loadLocalization(linuxpaths::resourceDirectory() / "l10n" / "GlobalShortcuts", m_log)),
      m_cameraManager([this] {
          return CameraManager::create({m_store, m_defaults, m_runLoop, m_log, [this] {
                                            std::vector<Uuid> ids;
                                            for (const auto& image : m_imageManager.get().savedImages.value()) {
                                                ids.push_back(image.id);
                                            }
                                            return ids;
                                        }});
      }),
      m_imageManager([this] {
          return ImageManager::create({m_store, m_cameraManager, m_runLoop, m_log});
      }),
      m_installer([this] { return makeInstaller(); }),
      m_cameraPermission([this] { return CameraPermission::create(m_cameraAuthorization, m_notificationCenter); }),
      m_shortcuts(GlobalShortcuts::Registry::create({m_defaults, m_notificationCenter, m_runLoop, m_hotKeyService})),
      m_symbolicHotKeys(linuxpaths::environmentVariable("XDG_CURRENT_DESKTOP")),
      m_cameraDeviceManager([this] {
          return CameraDeviceManager::create({m_captureDevices, m_notificationCenter, m_runLoop, [](std::string label) {
                                                  return std::make_unique<SerialQueue>(std::move(label));
                                              }});
      }),
      m_previewRenderer([this] {
          return PreviewRenderer::create(
              {m_cameraManager.get(), m_imageManager, m_store, m_videoCapture, m_imageDecoder, m_runLoop, m_log,
               [](std::string label) { return std::make_unique<SerialQueue>(std::move(label)); }});
      }),
      m_loginItemService(XdgAutostartLoginItemService::userAutostartDirectory(), linuxpaths::programPath()),
      m_loginItemManager([this] { return LoginItemManager::create(m_loginItemService, m_log); }) {
    if (m_qtTexts.load(QLocale(QString::fromStdString(m_localization.preferredLocalizations().front())), "qtbase", "_",
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(&m_qtTexts);
    }
    m_statusItemController.emplace(StatusItemController::Collaborators{
        .cameraManager = m_cameraManager,
        .extensionInstaller = m_installer,
        .preview = m_previewRenderer,
        .localization = m_localization,
        .iconDirectory = linuxpaths::resourceDirectory() / "icons",
        .makePopoverContent = [this](PopoverActions actions) { return makePopoverContent(std::move(actions)); },
        .showSettingsWindow = [this] { showSettingsWindow(); },
        .checkForUpdates = [this] { m_updater.checkForUpdates(); },
        .canCheckForUpdates = [this] { return m_appDelegate && m_appDelegate->canCheckForUpdates(); },
        .log = m_log,
    });
}

Shared::~Shared() {
    // A frame being handled on the capture queue holds the renderer: stop the preview and let the
    // queue run dry, so that the renderer does not end there, on the thread its queue would join.
    if (m_previewRenderer.isMade()) {
        auto& renderer = m_previewRenderer.get();
        renderer.stop();
        std::promise<void> drained;
        renderer.captureQueue().async([&drained] { drained.set_value(); });
        drained.get_future().wait();
    }
}

std::unique_ptr<QWidget> Shared::makePopoverContent(PopoverActions actions) {
    return std::make_unique<StatusPopoverView>(
        StatusPopoverView::Sources{m_cameraManager.get(), m_imageManager.get(), m_cameraDeviceManager.get(),
                                   m_installer.get(), m_previewRenderer.get(), m_cameraPermission.get(), m_workspace,
                                   m_localization, m_store, m_imageDecoder},
        StatusPopoverView::Inputs{std::move(actions.onOpenSettings), std::move(actions.onInstallExtension),
                                  std::move(actions.onCheckForUpdates), actions.canCheckForUpdates,
                                  [] { QApplication::quit(); }});
}

std::shared_ptr<SystemExtensionInstaller> Shared::makeInstaller() {
    auto installer = SystemExtensionInstaller::create(
        {m_extensionService, m_runLoop, m_log, m_localization, linuxpaths::resourceDirectory()});
    // The status is told in the log too, in the popover's words, for whoever reads the log.
    m_extensionStatusLog = installer->status.subscribe([this](const SystemExtensionInstaller::Status& status) {
        const auto text = m_localization.string(SystemExtensionInstaller::popoverKey(status.kind()));
        const auto& failure = status.failure();
        m_log.write(fmt::format(
            "SystemExtensionInstaller: {}",
            failure ? fmt::format("{} ({})", Localization::format(text, {failure->message}), failure->diagnostic)
                    : text));
    });
    return installer;
}

AppDelegate::Collaborators Shared::delegateCollaborators() {
    return AppDelegate::Collaborators{
        .cameraManager = m_cameraManager,
        .defaults = m_defaults,
        .cameraAuthorization = m_cameraAuthorization,
        .utilityQueue = m_utilityQueue,
        .mainQueue = m_runLoop,
        .log = m_log,
        .updaterCanCheckForUpdates = m_updater.canCheckForUpdates(),
        // The program has no main window and so no taskbar entry; closing a window must not end it.
        .setAccessoryActivationPolicy = [] { QApplication::setQuitOnLastWindowClosed(false); },
        .setupStatusItem = [this] { m_statusItemController->setupStatusItem(); },
        .updateStatusIcon = [this](Constants::CameraMode mode) { m_statusItemController->updateStatusIcon(mode); },
        .showOnboarding = [this] { showOnboardingWindow(); },
        .activateExtensionIfNeeded = [this] { m_installer.get().activateIfNeeded(); },
        .refreshExtensionStatus = [this] { m_installer.get().refreshStatus(); },
        .startCameraDiscovery = [this] { startCameraDiscovery(); },
        .attachCameraShortcuts = [this] { attachCameraShortcuts(); },
    };
}

void Shared::startCameraDiscovery() {
    m_cameraMonitor.emplace(m_notificationCenter, m_log);
    // The cameras found are told in the log too, from the first discovery on (the empty list
    // before it says nothing).
    m_cameraListLog = m_cameraDeviceManager.get().cameras.subscribe([this, first = true](const auto& cameras) mutable {
        if (std::exchange(first, false)) {
            return;
        }
        std::string list;
        for (const auto& camera : cameras) {
            list += fmt::format("{}\"{}\" ({})", list.empty() ? "" : ", ", camera.name, camera.id);
        }
        m_log.write(fmt::format("Cameras: {} found{}{}", cameras.size(), list.empty() ? "" : ": ", list));
    });
}

void Shared::logCameraPermission() {
    // The permission is told in the log too, with where to learn more.
    m_cameraPermissionLog = m_cameraPermission.get().status.subscribe([this](AuthorizationStatus status) {
        m_log.write(
            fmt::format("CameraPermission: {}{}", statusText(status),
                        status != AuthorizationStatus::denied
                            ? ""
                            : fmt::format(": a camera is there that this user may not open (see {})",
                                          Constants::websiteURL("support", m_localization.preferredLocalizations()))));
    });
}

void Shared::attachCameraShortcuts() {
    m_cameraShortcuts.emplace(*m_shortcuts);
    m_cameraShortcuts->attachActions(m_cameraManager);
    // The shortcuts in force are told in the log too, on this keyboard.
    for (const auto& [what, name] : {std::pair{"camera off", m_cameraShortcuts->cameraOff()},
                                     {"camera on", m_cameraShortcuts->cameraOn()},
                                     {"last image", m_cameraShortcuts->showLastImage()}}) {
        const auto shortcut = m_shortcuts->getShortcut(name);
        if (!shortcut) {
            m_log.write(fmt::format("Shortcuts: {}: none", what));
            continue;
        }
        m_log.write(fmt::format(
            "Shortcuts: {}: {}{}", what, GlobalShortcuts::description(*shortcut, m_keyboardLayout),
            GlobalShortcuts::isTakenBySystem(*shortcut, m_symbolicHotKeys) ? " (the desktop uses it too)" : ""));
    }
}

void Shared::removeStaleTemporaryFiles() {
    const auto olderThan = std::chrono::system_clock::now() - files::staleTemporaryFileAge;
    for (const auto& target : {m_store.stateFileURL(), m_store.imagesIndexURL()}) {
        for (const auto& removed : files::removeStaleTemporaryFiles(target, olderThan)) {
            m_log.write(fmt::format("SharedStore: removed {}, left by an interrupted write", removed));
        }
    }
}

void Shared::applicationDidFinishLaunching() {
    removeStaleTemporaryFiles();
    m_appDelegate = AppDelegate::create(delegateCollaborators());
    m_appDelegate->applicationDidFinishLaunching();
    logCameraPermission();
    // Started by the user, the program is the active one once it has launched; later it becomes
    // active again whenever one of its windows takes the focus.
    applicationDidBecomeActive();
    QObject::connect(qApp, &QGuiApplication::applicationStateChanged, &*m_statusItemController,
                     [this](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive) {
                             applicationDidBecomeActive();
                         }
                     });
}

void Shared::listenForLaterStarts(SingleInstance& instance) {
    if (const auto& error = instance.lockError()) {
        m_log.write(fmt::format("SingleInstance: {}; a later start will run beside this one", error->description));
        return;
    }
    auto listener = instance.listen();
    if (!listener) {
        m_log.write(fmt::format("SingleInstance: {}; a later start will end without being heard",
                                listener.error().description));
        return;
    }
    m_laterStarts = std::make_unique<QSocketNotifier>(listener.value(), QSocketNotifier::Read);
    QObject::connect(m_laterStarts.get(), &QSocketNotifier::activated, m_laterStarts.get(), [this, &instance] {
        for (const auto& request : instance.takeRequests()) {
            if (request == openSettingsRequest) {
                m_log.write("SingleInstance: a later start asked for the settings");
                openSettings();
            } else {
                m_log.write(
                    fmt::format("SingleInstance: a later start asked for \"{}\", which means nothing here", request));
            }
        }
    });
}

void Shared::openSettings() {
    showSettingsWindow();
}

void Shared::showSettingsWindow() {
    if (!m_settingsWindow) {
        m_settingsWindow =
            std::make_unique<SettingsWindow>(settingsTabs(), m_localization, linuxpaths::resourceDirectory() / "icons");
    }
    m_settingsWindow->bringForward();
}

void Shared::showOnboardingWindow() {
    if (!m_onboardingWindow) {
        m_onboardingWindow = std::make_unique<OnboardingWindow>(
            OnboardingWindow::Sources{m_installer.get(), m_cameraAuthorization, m_workspace, m_defaults, m_runLoop,
                                      m_localization, linuxpaths::resourceDirectory() / "icons", m_log});
    }
    m_onboardingWindow->bringForward();
}

std::unique_ptr<QWidget> Shared::makeGeneralSettingsView() {
    const ShortcutRecorderSources recorders{
        *m_shortcuts,         m_keyboardLayout, m_symbolicHotKeys, m_shortcutLocalization, x11keyevents::fromQKeyEvent,
        m_notificationCenter, m_runLoop};
    return std::make_unique<GeneralSettingsView>(GeneralSettingsView::Sources{
        .loginItemManager = m_loginItemManager.get(),
        .extensionInstaller = m_installer.get(),
        .cameraPermission = m_cameraPermission.get(),
        .workspace = m_workspace,
        .localization = m_localization,
        .showOnboardingWindow = [this] { showOnboardingWindow(); },
        .makeRecorder =
            [this, recorders](const GlobalShortcuts::Name& name, std::string_view titleKey) {
                return std::make_unique<ShortcutRecorder>(recorders, name,
                                                          QString::fromStdString(m_localization.string(titleKey)));
            },
        .shortcutNames = m_cameraShortcuts ? std::vector{m_cameraShortcuts->cameraOff(), m_cameraShortcuts->cameraOn(),
                                                         m_cameraShortcuts->showLastImage()}
                                           : std::vector<GlobalShortcuts::Name>{},
    });
}

std::vector<SettingsTab> Shared::settingsTabs() {
    const auto icons = linuxpaths::resourceDirectory() / "icons";
    return {
        {"settings.tab.images", "photo.on.rectangle.angled",
         [this, icons] {
             return std::make_unique<ImagesSettingsView>(ImagesSettingsView::Sources{
                 m_imageManager.get(), m_store, m_imageDecoder, m_localization, icons, m_log});
         }},
        {"settings.tab.general", "gearshape", [this] { return makeGeneralSettingsView(); }},
        {"settings.tab.about", "info.circle",
         [this, icons] {
             const auto bundle = Bundle::open(linuxpaths::resourceDirectory());
             return std::make_unique<AboutSettingsView>(AboutSettingsView::Sources{
                 m_localization, m_workspace, bundle ? bundle->infoDictionary() : std::nullopt, icons});
         }},
    };
}

void Shared::applicationDidBecomeActive() {
    m_appDelegate->applicationDidBecomeActive();
    m_notificationCenter.post(applicationDidBecomeActiveNotification);
}

}  // namespace moritane
