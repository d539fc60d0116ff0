#pragma once

#include "extension/SystemExtensionService.h"
#include "support/Error.h"
#include "support/Localization.h"
#include "support/Log.h"
#include "support/Published.h"
#include "support/RunLoop.h"
#include "support/Subscription.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace moritane {

/// Installs, updates and reinstalls the camera extension through the system-extension service,
/// and reduces all it learns to one published `status` that never hangs in `requesting`: an
/// activation left unanswered is reconciled by probing what is installed, and given up after
/// three unanswered probes. Main thread.
class SystemExtensionInstaller final : public SystemExtensionRequestDelegate,
                                       public std::enable_shared_from_this<SystemExtensionInstaller> {
public:
    /// What the user reads of a failed attempt.
    struct Failure {
        std::string message;     // localised
        std::string diagnostic;  // technical, not localised
        bool opensSecuritySettings = false;
        bool needsSupport = false;

        friend bool operator==(const Failure&, const Failure&) = default;
    };

    class Status {
    public:
        enum class Case { idle, requesting, needsUserApproval, activated, failed };

        static Status idle() { return Status(Case::idle); }
        static Status requesting() { return Status(Case::requesting); }
        static Status needsUserApproval() { return Status(Case::needsUserApproval); }
        static Status activated() { return Status(Case::activated); }
        static Status failed(Failure failure) { return Status(Case::failed, std::move(failure)); }

        [[nodiscard]] Case kind() const { return m_case; }
        /// The payload of `failed`; none for the other cases.
        [[nodiscard]] const std::optional<Failure>& failure() const { return m_failure; }

        friend bool operator==(const Status&, const Status&) = default;

    private:
        explicit Status(Case kind, std::optional<Failure> failure = std::nullopt)
            : m_case(kind), m_failure(std::move(failure)) {}

        Case m_case;
        std::optional<Failure> m_failure;
    };

    /// One properties answer, summed up.
    struct InstalledState {
        bool hasEnabledCopy = false;
        bool hasCurrentVersion = false;
        bool isAwaitingApproval = false;

        friend bool operator==(const InstalledState&, const InstalledState&) = default;
    };

    struct Dependencies {
        SystemExtensionService& service;
        RunLoop& mainRunLoop;
        Log& log;
        /// The application's own tables, for the messages of failures.
        const Localization& localization;
        /// The application's bundle, in which the extension is embedded.
        std::filesystem::path bundleURL;
    };

    /// The key of the popover's text for a status; for `failed` a format that takes the message.
    static std::string_view popoverKey(Status::Case status);

    static constexpr std::string_view extensionIdentifier = "org.quelbrand.moritane.cameraextension";
    static constexpr std::string_view systemExtensionsDirectory = "Contents/Library/SystemExtensions";
    static constexpr std::string_view embeddedBundleName = "org.quelbrand.moritane.cameraextension.systemextension";

    static constexpr std::chrono::seconds probeTimeLimit{20};
    static constexpr std::int64_t failuresToGiveUpAt = 3;
    static constexpr std::chrono::milliseconds displayThrottle{1000};
    static constexpr std::chrono::seconds stallLimit{90};
    static constexpr std::chrono::milliseconds watchdogPeriod{5000};

    static std::shared_ptr<SystemExtensionInstaller> create(Dependencies dependencies);

    SystemExtensionInstaller(const SystemExtensionInstaller&) = delete;
    SystemExtensionInstaller& operator=(const SystemExtensionInstaller&) = delete;
    SystemExtensionInstaller(SystemExtensionInstaller&&) = delete;
    SystemExtensionInstaller& operator=(SystemExtensionInstaller&&) = delete;
    ~SystemExtensionInstaller() override;

    /// Every assignment publishes, also of the same value.
    Published<Status> status{Status::idle()};

    /// Activates unless the embedded version is installed and enabled already.
    void activateIfNeeded();
    /// Activates without looking at what is installed. Callers check first that `status` is not
    /// `requesting`.
    void submitActivation();
    /// Brings `status` into line with what is installed, at most once a second.
    void refreshStatus();

    /// The failure to show for a system error.
    [[nodiscard]] Failure failureFromError(const Error& error) const;

    ReplacementAction actionForReplacingExtension(const SystemExtensionRequest& request,
                                                  const SystemExtensionProperties& existing,
                                                  const SystemExtensionProperties& replacement) override;
    void requestNeedsUserApproval(const SystemExtensionRequest& request) override;
    void didFinishWithResult(const SystemExtensionRequest& request, std::int64_t result) override;
    void didFailWithError(const SystemExtensionRequest& request, const Error& error) override;
    void foundProperties(const SystemExtensionRequest& request,
                         const std::vector<SystemExtensionProperties>& properties) override;

private:
    struct EmbeddedVersion {
        std::string shortVersion;
        std::string buildVersion;
    };

    /// A properties request in flight, with its time limit.
    struct Probe {
        std::shared_ptr<SystemExtensionRequest> request;
        std::function<void(std::optional<InstalledState>)> completion;
        const bool countsTowardGivingUp;
        InstalledState state;
        std::shared_ptr<Timer> timeout;
    };

    explicit SystemExtensionInstaller(Dependencies dependencies) : m_dependencies(std::move(dependencies)) {}

    [[nodiscard]] std::optional<EmbeddedVersion> readEmbeddedVersion() const;
    void clearRequestingWatch();
    [[nodiscard]] bool isRequesting() const { return status.value().kind() == Status::Case::requesting; }

    void startProbe(bool countsTowardGivingUp, std::function<void(std::optional<InstalledState>)> completion);
    /// A completion that brings `status` into line with a present result, forcibly or not.
    std::function<void(std::optional<InstalledState>)> applyingCompletion(bool force);
    void finishProbe(const std::shared_ptr<Probe>& probe, std::optional<InstalledState> result);
    void giveUpIfStuck();
    void applyInstalledState(const InstalledState& state, bool force);

    void beginRequesting();
    void startStallWatchdog();
    void stallWatchdogTick();
    void reconcileAfterStall();

    std::shared_ptr<Probe> probeFor(const SystemExtensionRequest& request) const;
    [[nodiscard]] bool isTracked(const SystemExtensionRequest& request) const {
        return m_activationRequest.get() == &request;
    }
    void info(std::string_view message);
    void error(std::string_view message);

    Dependencies m_dependencies;
    std::map<const SystemExtensionRequest*, std::shared_ptr<Probe>> m_probes;
    std::shared_ptr<SystemExtensionRequest> m_activationRequest;
    std::shared_ptr<Timer> m_stallWatchdog;
    std::optional<RunLoop::TimePoint> m_requestingDeadline;
    std::optional<RunLoop::TimePoint> m_lastDisplayProbe;
    std::int64_t m_consecutiveProbeFailures = 0;
    Subscription m_statusInvariant;
};

}  // namespace moritane
