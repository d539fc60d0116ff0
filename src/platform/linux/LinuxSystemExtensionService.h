#pragma once

#include "extension/SystemExtensionService.h"
#include "platform/linux/CameraExtensionDeployment.h"
#include "support/DispatchQueue.h"
#include "support/Log.h"
#include "support/RunLoop.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace moritane {

/// The system-extension service of the Linux edition: it installs the camera extension as this
/// user's copy, runs it with the session, and loads the v4l2loopback module where the
/// administrator allows it. Every port call runs on one of two serial queues of its own, one for
/// activations and one for properties, so that what is installed can be asked while an activation
/// waits for the administrator; every answer comes on the main run loop. Activations run one after
/// the other, never interleaved. A port call that never returns leaves its request unanswered.
class LinuxSystemExtensionService final : public SystemExtensionService {
public:
    using QueueFactory = std::function<std::unique_ptr<DispatchQueue>(std::string label)>;

    /// The ports must outlive the service; the service's queues run dry when it ends.
    struct Dependencies {
        ExtensionCopies& copies;
        SessionService& session;
        LoopbackModule& loopback;
        RunLoop& mainRunLoop;
        Log& log;
        QueueFactory makeSerialQueue;
    };

    static constexpr std::string_view activationQueueLabel = "com.orsk.moritane.extensionactivation";
    static constexpr std::string_view propertiesQueueLabel = "com.orsk.moritane.extensionproperties";

    explicit LinuxSystemExtensionService(Dependencies dependencies);
    LinuxSystemExtensionService(const LinuxSystemExtensionService&) = delete;
    LinuxSystemExtensionService& operator=(const LinuxSystemExtensionService&) = delete;
    LinuxSystemExtensionService(LinuxSystemExtensionService&&) = delete;
    LinuxSystemExtensionService& operator=(LinuxSystemExtensionService&&) = delete;
    /// Ends a wait for the administrator, so that quitting does not wait for the dialog.
    ~LinuxSystemExtensionService() override;

    /// Main thread.
    void submitRequest(std::shared_ptr<SystemExtensionRequest> request) override;

private:
    using Request = std::shared_ptr<SystemExtensionRequest>;

    void answerProperties(const Request& request);

    // An activation's steps, across the activation queue and the main thread.
    void startNextActivation();
    void findEmbedded(const Request& request);
    void decideReplacement(const Request& request, const ExtensionCopy& embedded,
                           const std::optional<ExtensionCopy>& current);
    void deploy(const Request& request, const ExtensionCopy& embedded);
    [[nodiscard]] std::optional<Error> prepareLoopback(const Request& request);
    void endActivation(const Request& request, std::optional<Error> error);

    /// Runs `work` on the main thread if the service still exists by then.
    void onMain(std::function<void()> work);
    void write(std::string_view line);

    Dependencies m_dependencies;
    std::shared_ptr<int> m_lifetime = std::make_shared<int>();
    /// Activations waiting for the one under way to end; main thread.
    std::deque<Request> m_waitingActivations;
    bool m_activating = false;
    std::atomic<bool> m_awaitingApproval = false;
    std::atomic<bool> m_ending = false;
    bool m_toldLoopbackMissing = false;  // activation queue only
    // Last, so that they run dry while everything their work uses still exists.
    std::unique_ptr<DispatchQueue> m_propertiesQueue;
    std::unique_ptr<DispatchQueue> m_activationQueue;
};

}  // namespace moritane
