#pragma once

#include "camera/AppDelegate.h"
#include "camera/CameraManager.h"
#include "camera/SharedStore.h"
#include "extension/SystemExtensionInstaller.h"
#include "library/ImageManager.h"
#include "platform/linux/DeviceNodeCameraAuthorization.h"
#include "platform/linux/DiskExtensionCopies.h"
#include "platform/linux/GnomeSymbolicHotKeys.h"
#include "platform/linux/JournalLog.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxPaths.h"
#include "platform/linux/LinuxSystemExtensionService.h"
#include "platform/linux/PkexecLoopbackModule.h"
#include "platform/linux/SingleInstance.h"
#include "platform/linux/StderrLog.h"
#include "platform/linux/UdevCameraMonitor.h"
#include "platform/linux/V4l2CaptureDevices.h"
#include "platform/linux/V4l2VideoCapture.h"
#include "platform/linux/X11HotKeyService.h"
#include "platform/linux/XdgAppGroupContainer.h"
#include "platform/linux/XdgAutostartLoginItemService.h"
#include "platform/linux/XdgWorkspace.h"
#include "platform/linux/XkbKeyboardLayout.h"
#include "platform/qt/PackageKitUpdater.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/qt/QtRunLoop.h"
#include "platform/qt/SystemdSessionService.h"
#include "shell/OnboardingWindow.h"
#include "shell/SettingsWindow.h"
#include "shell/StatusItemController.h"
#include "shell/model/LoginItemManager.h"
#include "shortcuts/CameraShortcuts.h"
#include "shortcuts/GlobalShortcuts.h"
#include "sources/CameraDeviceManager.h"
#include "sources/CameraPermission.h"
#include "sources/PreviewRenderer.h"
#include "support/Localization.h"
#include "support/NotificationCenter.h"
#include "support/Published.h"
#include "support/SerialQueue.h"
#include "support/SharedInstance.h"

#include <QSocketNotifier>
#include <QTranslator>

#include <memory>
#include <optional>

namespace moritane {

/// The composition root of the Linux edition: the one instance of each port and shared object,
/// each made at its first use. Make it on the main thread, after the Qt application object.
class Shared {
public:
    Shared();
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    Shared(Shared&&) = delete;
    Shared& operator=(Shared&&) = delete;
    ~Shared();

    CameraManager& cameraManager() { return m_cameraManager.get(); }

    /// Runs the start-up; from then on the program idles in the Qt event loop.
    void applicationDidFinishLaunching();

    /// What a later start of the program asks of this one.
    static constexpr std::string_view openSettingsRequest = "openSettings";
    /// Takes requests from later starts, which `instance`'s lock turns away.
    void listenForLaterStarts(SingleInstance& instance);
    /// What a later start asks for: the settings window.
    void openSettings();
    /// Makes the settings window at its first use, then brings it forward.
    void showSettingsWindow();
    /// Makes the onboarding window at its first use, then brings it forward.
    void showOnboardingWindow();

private:
    AppDelegate::Collaborators delegateCollaborators();
    void applicationDidBecomeActive();
    void startCameraDiscovery();
    void logCameraPermission();
    void attachCameraShortcuts();
    std::shared_ptr<SystemExtensionInstaller> makeInstaller();
    void removeStaleTemporaryFiles();
    std::unique_ptr<QWidget> makePopoverContent(PopoverActions actions);
    std::vector<SettingsTab> settingsTabs();
    std::unique_ptr<QWidget> makeGeneralSettingsView();

    QtRunLoop m_runLoop;
    StderrLog m_stderrLog;
    JournalLog m_log{m_stderrLog};
    JsonFileDefaults m_defaults;
    XdgAppGroupContainer m_container;
    SharedStore m_store{m_container};
    SerialQueue m_utilityQueue{"com.orsk.moritane.utility"};
    Localization m_localization;
    /// Qt's own texts (the file dialog's among them) in the language the program speaks.
    QTranslator m_qtTexts;
    /// The shortcut subsystem's own table.
    Localization m_shortcutLocalization;
    DeviceNodeCameraAuthorization m_cameraAuthorization;
    // Made with the application, so that it knows whether it can check before launching finishes.
    PackageKitUpdater m_updater{m_localization, m_log, "moritane"};
    SharedInstance<CameraManager> m_cameraManager;
    SharedInstance<ImageManager> m_imageManager;
    DiskExtensionCopies m_extensionCopies{linuxpaths::resourceDirectory() /
                                              SystemExtensionInstaller::systemExtensionsDirectory /
                                              SystemExtensionInstaller::embeddedBundleName,
                                          DiskExtensionCopies::userInstalledRoot()};
    std::unique_ptr<SessionService> m_extensionSession = makeSessionService(
        m_log, m_extensionCopies.currentProgram(), linuxpaths::resourceDirectory() / "moritane-camera.service");
    PkexecLoopbackModule m_loopbackModule;
    LinuxSystemExtensionService m_extensionService{
        {m_extensionCopies, *m_extensionSession, m_loopbackModule, m_runLoop, m_log,
         [](std::string label) { return std::make_unique<SerialQueue>(std::move(label)); }}};
    SharedInstance<SystemExtensionInstaller> m_installer;
    Subscription m_extensionStatusLog;
    NotificationCenter m_notificationCenter;
    X11HotKeyService m_hotKeyService{m_runLoop, m_log};
    SharedInstance<CameraPermission> m_cameraPermission;
    Subscription m_cameraPermissionLog;
    std::shared_ptr<GlobalShortcuts::Registry> m_shortcuts;
    std::optional<GlobalShortcuts::CameraShortcuts> m_cameraShortcuts;
    XkbKeyboardLayout m_keyboardLayout;
    GnomeSymbolicHotKeys m_symbolicHotKeys;
    V4l2CaptureDevices m_captureDevices;
    std::optional<UdevCameraMonitor> m_cameraMonitor;
    SharedInstance<CameraDeviceManager> m_cameraDeviceManager;
    Subscription m_cameraListLog;
    V4l2VideoCapture m_videoCapture;
    QtImageDecoder m_imageDecoder;
    XdgWorkspace m_workspace{XdgWorkspace::Environment::current(), m_localization.preferredLocalizations()};
    SharedInstance<PreviewRenderer> m_previewRenderer;
    std::optional<StatusItemController> m_statusItemController;
    XdgAutostartLoginItemService m_loginItemService;
    SharedInstance<LoginItemManager> m_loginItemManager;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<OnboardingWindow> m_onboardingWindow;
    std::unique_ptr<QSocketNotifier> m_laterStarts;
    std::shared_ptr<AppDelegate> m_appDelegate;
};

}  // namespace moritane
