#include "platform/linux/LinuxSystemExtensionService.h"

#include <fmt/format.h>

#include <utility>
#include <vector>

namespace moritane {

namespace {

using Answer = std::function<void(SystemExtensionRequestDelegate&, const SystemExtensionRequest&)>;

// The codes of the installer's vocabulary that this service gives.
constexpr int unknownError = 1;
constexpr int extensionNotFound = 4;
constexpr int forbiddenByPolicy = 10;
constexpr int requestCancelled = 11;
constexpr int authorizationRequired = 13;

Error failure(int code, std::string description) {
    return Error{std::string(osSystemExtensionErrorDomain), code, std::move(description)};
}

std::string describe(const ExtensionCopy& copy) {
    if (copy.shortVersion.empty()) {
        return "a half-installed copy";
    }
    return fmt::format("{} ({})", copy.shortVersion, copy.buildVersion);
}

SystemExtensionProperties versionsOf(const ExtensionCopy& copy) {
    return {.bundleVersion = copy.buildVersion, .bundleShortVersion = copy.shortVersion};
}

/// Answers on the main thread; nobody hears it when the delegate is gone by then.
void answer(RunLoop& mainRunLoop, const std::shared_ptr<SystemExtensionRequest>& request, Answer answer) {
    mainRunLoop.post([request, answer = std::move(answer)] {
        if (const auto delegate = request->delegate()) {
            answer(*delegate, *request);
        }
    });
}

}  // namespace

LinuxSystemExtensionService::LinuxSystemExtensionService(Dependencies dependencies)
    : m_dependencies(std::move(dependencies)),
      m_propertiesQueue(m_dependencies.makeSerialQueue(std::string(propertiesQueueLabel))),
      m_activationQueue(m_dependencies.makeSerialQueue(std::string(activationQueueLabel))) {}

void LinuxSystemExtensionService::submitRequest(std::shared_ptr<SystemExtensionRequest> request) {
    if (request->kind() == SystemExtensionRequest::Kind::properties) {
        m_propertiesQueue->async([this, request = std::move(request)] { answerProperties(request); });
        return;
    }
    m_waitingActivations.push_back(std::move(request));
    if (!m_activating) {
        startNextActivation();
    }
}

void LinuxSystemExtensionService::answerProperties(const Request& request) {
    const auto registered = m_dependencies.session.isRegistered();
    // An enabled copy is one that runs: a daemon killed or crashed leaves the extension not enabled.
    const auto running = registered ? m_dependencies.session.isRunning() : registered;
    if (!registered || !running) {
        const auto& error = registered ? running.error() : registered.error();
        write(
            fmt::format("cannot ask whether moritane-camera starts with the session and runs: {}", error.description));
        answer(m_dependencies.mainRunLoop, request,
               [error = failure(unknownError, error.description)](auto& delegate, const auto& asked) {
                   delegate.didFailWithError(asked, error);
               });
        return;
    }
    const bool awaitingApproval = m_awaitingApproval;
    std::vector<SystemExtensionProperties> properties;
    for (const auto& copy : m_dependencies.copies.installed()) {
        auto entry = versionsOf(copy);
        entry.isEnabled = copy.isCurrent && copy.isRunnable && registered.value() && running.value();
        entry.isAwaitingUserApproval = copy.isCurrent && awaitingApproval;
        // Only the current copy runs; the others wait to be removed.
        entry.isUninstalling = !copy.isCurrent;
        properties.push_back(std::move(entry));
    }
    answer(m_dependencies.mainRunLoop, request, [properties](auto& delegate, const auto& asked) {
        delegate.foundProperties(asked, properties);
        delegate.didFinishWithResult(asked, 0);
    });
}

void LinuxSystemExtensionService::startNextActivation() {
    m_activating = !m_waitingActivations.empty();
    if (!m_activating) {
        return;
    }
    auto request = std::move(m_waitingActivations.front());
    m_waitingActivations.pop_front();
    m_activationQueue->async([this, request = std::move(request)] { findEmbedded(request); });
}

void LinuxSystemExtensionService::findEmbedded(const Request& request) {
    const auto embedded = m_dependencies.copies.embedded();
    if (!embedded) {
        const auto& reason = embedded.error().description;
        write(fmt::format("cannot activate: the application carries no usable camera extension ({})", reason));
        endActivation(request, failure(extensionNotFound, fmt::format("extension not found: {}", reason)));
        return;
    }
    write(fmt::format("activating the camera extension {}", describe(embedded.value())));
    std::optional<ExtensionCopy> current;
    for (const auto& copy : m_dependencies.copies.installed()) {
        if (copy.isCurrent) {
            current = copy;
        }
    }
    onMain([this, request, embedded = embedded.value(), current] { decideReplacement(request, embedded, current); });
}

void LinuxSystemExtensionService::decideReplacement(const Request& request, const ExtensionCopy& embedded,
                                                    const std::optional<ExtensionCopy>& current) {
    if (current && (current->shortVersion != embedded.shortVersion || current->buildVersion != embedded.buildVersion)) {
        const auto delegate = request->delegate();
        const auto action =
            delegate ? delegate->actionForReplacingExtension(*request, versionsOf(*current), versionsOf(embedded))
                     : ReplacementAction::cancel;
        if (action != ReplacementAction::replace) {
            write(fmt::format("kept the installed {}: its replacement was cancelled", describe(*current)));
            endActivation(request, failure(requestCancelled, "the replacement of the installed copy was cancelled"));
            return;
        }
        write(fmt::format("replacing the installed {} with {}", describe(*current), describe(embedded)));
    }
    m_activationQueue->async([this, request, embedded] { deploy(request, embedded); });
}

LinuxSystemExtensionService::~LinuxSystemExtensionService() {
    m_ending = true;
    m_dependencies.loopback.cancel();
}

void LinuxSystemExtensionService::deploy(const Request& request, const ExtensionCopy& embedded) {
    if (const auto error = m_dependencies.copies.install()) {
        write(fmt::format("could not install {}: {}", describe(embedded), error->description));
        endActivation(request, failure(unknownError, error->description));
        return;
    }
    write(fmt::format("installed {} as the current copy", describe(embedded)));
    if (const auto error = m_dependencies.session.registerWithSession()) {
        write(fmt::format("could not set moritane-camera to start with the session: {}", error->description));
        endActivation(request, failure(unknownError, error->description));
        return;
    }
    write("moritane-camera is set to start with the session");
    // A module that does not load costs the devices that read /dev/video*, not the camera: the
    // daemon starts all the same, and the activation then reports why the module is missing.
    auto loopbackError = prepareLoopback(request);
    if (m_ending) {
        write("the application ends: the running moritane-camera is left as it is until the next activation");
        return;
    }
    if (const auto error = m_dependencies.session.restart()) {
        const auto description = fmt::format("moritane-camera did not start: {}", error->description);
        write(description);
        endActivation(request, failure(unknownError, description));
        return;
    }
    write(fmt::format("moritane-camera {} runs from {}", describe(embedded),
                      m_dependencies.copies.currentProgram().string()));
    m_dependencies.copies.removeStale();
    endActivation(request, std::move(loopbackError));
}

std::optional<Error> LinuxSystemExtensionService::prepareLoopback(const Request& request) {
    switch (m_dependencies.loopback.state()) {
    case LoopbackModule::State::loaded:
        return std::nullopt;
    case LoopbackModule::State::notInstalled:
        if (!std::exchange(m_toldLoopbackMissing, true)) {
            write(
                "the v4l2loopback module is not installed: the camera is offered through PipeWire alone, which "
                "the camera portal, OBS and browsers with PipeWire camera support read; Zoom and browsers that "
                "read /dev/video* see it once v4l2loopback is installed");
        }
        return std::nullopt;
    case LoopbackModule::State::notLoaded:
        break;
    }
    write("loading the v4l2loopback module needs the administrator's approval; asking through polkit");
    m_awaitingApproval = true;
    answer(m_dependencies.mainRunLoop, request,
           [](auto& delegate, const auto& asked) { delegate.requestNeedsUserApproval(asked); });
    const auto result = m_dependencies.loopback.load();
    m_awaitingApproval = false;
    switch (result.outcome) {
    case LoopbackModule::LoadOutcome::loaded:
        write("loaded the v4l2loopback module: the camera is also a /dev/video device labelled Moritane");
        return std::nullopt;
    case LoopbackModule::LoadOutcome::dismissed:
        write("the v4l2loopback module was not loaded: the administrator's approval was not given");
        return failure(authorizationRequired, "loading v4l2loopback was not authorised");
    case LoopbackModule::LoadOutcome::refusedByPolicy:
        write(fmt::format("the kernel refused the v4l2loopback module; with Secure Boot it must be signed: {}",
                          result.description));
        return failure(forbiddenByPolicy, result.description);
    case LoopbackModule::LoadOutcome::failed:
        break;
    }
    write(fmt::format("could not load the v4l2loopback module: {}", result.description));
    return failure(unknownError, fmt::format("could not load v4l2loopback: {}", result.description));
}

void LinuxSystemExtensionService::endActivation(const Request& request, std::optional<Error> error) {
    if (error) {
        answer(m_dependencies.mainRunLoop, request, [error = std::move(*error)](auto& delegate, const auto& asked) {
            delegate.didFailWithError(asked, error);
        });
    } else {
        answer(m_dependencies.mainRunLoop, request,
               [](auto& delegate, const auto& asked) { delegate.didFinishWithResult(asked, 0); });
    }
    onMain([this] { startNextActivation(); });
}

void LinuxSystemExtensionService::onMain(std::function<void()> work) {
    m_dependencies.mainRunLoop.post([alive = std::weak_ptr<int>(m_lifetime), work = std::move(work)] {
        if (alive.lock()) {
            work();
        }
    });
}

void LinuxSystemExtensionService::write(std::string_view line) {
    m_dependencies.log.write(fmt::format("SystemExtensionService: {}", line));
}

}  // namespace moritane
