#pragma once

#include "extension/SystemExtensionInstaller.h"
#include "shell/model/OnboardingModel.h"
#include "sources/CameraAuthorization.h"
#include "sources/Workspace.h"
#include "support/Defaults.h"
#include "support/Localization.h"
#include "support/Log.h"
#include "support/RunLoop.h"
#include "support/Subscription.h"

#include <QWidget>

#include <array>
#include <filesystem>
#include <memory>

class QLabel;
class QPushButton;

namespace moritane {

/// The first-run window: three steps to a working camera, each with its button and a live tick,
/// then how the camera is used day to day. Made once at first need and kept: closing it hides it,
/// and either way of leaving it means onboarding is done.
class OnboardingWindow final : public QWidget {
public:
    struct Sources {
        SystemExtensionInstaller& extensionInstaller;
        CameraAuthorization& cameraAuthorization;
        Workspace& workspace;
        Defaults& defaults;
        /// The main queue, and the run loop of the permission poll.
        RunLoop& mainQueue;
        const Localization& localization;
        std::filesystem::path iconDirectory;
        Log& log;
    };

    static constexpr QSize contentSize{560, 600};
    static constexpr RunLoop::Duration permissionPollInterval{1000};

    explicit OnboardingWindow(Sources sources);
    OnboardingWindow(const OnboardingWindow&) = delete;
    OnboardingWindow& operator=(const OnboardingWindow&) = delete;
    OnboardingWindow(OnboardingWindow&&) = delete;
    OnboardingWindow& operator=(OnboardingWindow&&) = delete;
    ~OnboardingWindow() override;

    /// Brings the window to the front and gives it the keyboard.
    void bringForward();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct StepWidgets {
        QLabel* mark;
        QPushButton* action;
    };

    QWidget* makeStepRow(const OnboardingStep& step, StepWidgets& widgets);
    QWidget* makeUsageSection();
    void perform(OnboardingAction action);
    void setCameraAuthorized(bool authorized);
    void readCameraAuthorization();
    void stopPermissionTimer();
    void redraw();

    Sources m_sources;
    SystemExtensionInstaller::Status m_status = SystemExtensionInstaller::Status::idle();
    bool m_cameraAuthorized = false;
    std::shared_ptr<Timer> m_permissionTimer;
    std::array<StepWidgets, 3> m_steps{};
    QPushButton* m_done = nullptr;
    Subscription m_statusSubscription;
};

}  // namespace moritane
