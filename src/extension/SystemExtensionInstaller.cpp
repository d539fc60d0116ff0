#include "extension/SystemExtensionInstaller.h"

#include "support/Bundle.h"

#include <fmt/format.h>

namespace moritane {

namespace {

constexpr std::string_view kSubsystem = "com.orsk.moritane";
constexpr std::string_view kCategory = "SystemExtensionInstaller";

const char* yesNo(bool value) {
    return value ? "yes" : "no";
}

/// How the system describes an error that came without a description of its own.
std::string genericDescription(std::string_view domain, std::int64_t code) {
    return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain, code);
}

}  // namespace

std::shared_ptr<SystemExtensionInstaller> SystemExtensionInstaller::create(Dependencies dependencies) {
    std::shared_ptr<SystemExtensionInstaller> installer(new SystemExtensionInstaller(std::move(dependencies)));
    // Whoever assigns `status`, leaving `requesting` ends its watch.
    installer->m_statusInvariant = installer->status.subscribe([raw = installer.get()](const Status& value) {
        if (value.kind() != Status::Case::requesting) {
            raw->clearRequestingWatch();
        }
    });
    return installer;
}

SystemExtensionInstaller::~SystemExtensionInstaller() {
    if (m_stallWatchdog) {
        m_stallWatchdog->invalidate();
    }
    for (const auto& entry : m_probes) {
        if (entry.second->timeout) {
            entry.second->timeout->invalidate();
        }
    }
}

std::string_view SystemExtensionInstaller::popoverKey(Status::Case status) {
    switch (status) {
    case Status::Case::idle:
        return "extensionStatus.idle";
    case Status::Case::requesting:
        return "extensionStatus.requesting";
    case Status::Case::needsUserApproval:
        return "extensionStatus.needsUserApproval";
    case Status::Case::activated:
        return "extensionStatus.activated";
    case Status::Case::failed:
        return "extensionStatus.failed";
    }
    return "extensionStatus.idle";
}

void SystemExtensionInstaller::info(std::string_view message) {
    m_dependencies.log.unified(kSubsystem, kCategory, LogLevel::info, message);
}

void SystemExtensionInstaller::error(std::string_view message) {
    m_dependencies.log.unified(kSubsystem, kCategory, LogLevel::error, message);
}

SystemExtensionInstaller::Failure SystemExtensionInstaller::failureFromError(const Error& error) const {
    const auto prefix = fmt::format("{} #{}", error.domain, error.code);
    const auto withText = fmt::format("{}: {}", prefix, error.description);
    const auto failure = [&](std::string_view key, std::string diagnostic, bool opensSecuritySettings,
                             bool needsSupport) {
        return Failure{m_dependencies.localization.string(key), std::move(diagnostic), opensSecuritySettings,
                       needsSupport};
    };
    if (error.domain == osSystemExtensionErrorDomain) {
        switch (error.code) {
        case 1:  // unknown error
            return failure("extensionError.unknown", withText, false, true);
        case 2:  // missing entitlement
        case 4:  // extension not found
        case 5:  // extension has no identifier
        case 6:  // duplicate extension identifier
        case 7:  // unknown extension category
            return failure("extensionError.buildProblem", prefix, false, true);
        case 3:  // not in a supported location
            return failure("extensionError.moveToApplications", prefix, false, false);
        case 8:  // code signature invalid
        case 9:  // validation failed
            return failure("extensionError.reinstall", prefix, false, true);
        case 10:  // forbidden by system policy
        case 13:  // authorisation required
            return failure("extensionError.needsApproval", prefix, true, false);
        case 11:  // cancelled
        case 12:  // superseded
            return failure("extensionError.canceled", prefix, false, false);
        default:
            break;
        }
    }
    return failure("extensionError.unknown", withText, false, true);
}

std::optional<SystemExtensionInstaller::EmbeddedVersion> SystemExtensionInstaller::readEmbeddedVersion() const {
    const auto bundle = Bundle::open(m_dependencies.bundleURL / systemExtensionsDirectory / embeddedBundleName);
    if (!bundle) {
        return std::nullopt;
    }
    const auto info = bundle->infoDictionary();
    if (!info) {
        return std::nullopt;
    }
    const auto shortVersion = info->find("CFBundleShortVersionString");
    const auto buildVersion = info->find("CFBundleVersion");
    if (shortVersion == info->end() || buildVersion == info->end() || !shortVersion->is_string() ||
        !buildVersion->is_string()) {
        return std::nullopt;
    }
    return EmbeddedVersion{shortVersion->get<std::string>(), buildVersion->get<std::string>()};
}

void SystemExtensionInstaller::clearRequestingWatch() {
    if (m_stallWatchdog) {
        m_stallWatchdog->invalidate();
        m_stallWatchdog.reset();
    }
    m_requestingDeadline.reset();
}

// Probes

void SystemExtensionInstaller::startProbe(bool countsTowardGivingUp,
                                          std::function<void(std::optional<InstalledState>)> completion) {
    auto request = std::make_shared<SystemExtensionRequest>(SystemExtensionRequest::Kind::properties,
                                                            std::string(extensionIdentifier), weak_from_this());
    auto probe = std::make_shared<Probe>(Probe{request, std::move(completion), countsTowardGivingUp, {}, nullptr});
    m_probes[request.get()] = probe;
    probe->timeout = m_dependencies.mainRunLoop.scheduleTimer(
        probeTimeLimit, false, TimerModes::common,
        [weakSelf = weak_from_this(), weakProbe = std::weak_ptr<Probe>(probe)] {
            const auto self = weakSelf.lock();
            const auto timedOut = weakProbe.lock();
            if (!self || !timedOut) {
                return;
            }
            self->error(fmt::format("properties probe timed out after {}s", probeTimeLimit.count()));
            self->finishProbe(timedOut, std::nullopt);
        });
    m_dependencies.service.submitRequest(std::move(request));
}

std::function<void(std::optional<SystemExtensionInstaller::InstalledState>)>
SystemExtensionInstaller::applyingCompletion(bool force) {
    return [weak = weak_from_this(), force](std::optional<InstalledState> result) {
        if (const auto self = weak.lock(); self && result) {
            self->applyInstalledState(*result, force);
        }
    };
}

std::shared_ptr<SystemExtensionInstaller::Probe> SystemExtensionInstaller::probeFor(
    const SystemExtensionRequest& request) const {
    const auto entry = m_probes.find(&request);
    return entry != m_probes.end() ? entry->second : nullptr;
}

void SystemExtensionInstaller::finishProbe(const std::shared_ptr<Probe>& probe, std::optional<InstalledState> result) {
    if (probe->timeout) {
        probe->timeout->invalidate();
        probe->timeout.reset();
    }
    m_probes.erase(probe->request.get());
    if (result) {
        m_consecutiveProbeFailures = 0;
    } else if (probe->countsTowardGivingUp && isRequesting()) {
        ++m_consecutiveProbeFailures;
    }
    probe->completion(result);
    giveUpIfStuck();
}

void SystemExtensionInstaller::giveUpIfStuck() {
    if (!isRequesting() || m_consecutiveProbeFailures < failuresToGiveUpAt) {
        return;
    }
    error(fmt::format("giving up on .requesting after {} consecutive probe failures", m_consecutiveProbeFailures));
    m_consecutiveProbeFailures = 0;
    status = Status::failed(Failure{m_dependencies.localization.string("extensionError.canceled"),
                                    "properties probe unanswered x3", false, false});
}

void SystemExtensionInstaller::refreshStatus() {
    const auto now = m_dependencies.mainRunLoop.now();
    if (m_lastDisplayProbe && now - *m_lastDisplayProbe < displayThrottle) {
        return;
    }
    m_lastDisplayProbe = now;
    if (m_probes.empty()) {
        startProbe(false, applyingCompletion(false));
    }
}

void SystemExtensionInstaller::applyInstalledState(const InstalledState& state, bool force) {
    const auto current = status.value().kind();
    if (state.isAwaitingApproval) {
        status = Status::needsUserApproval();
    } else if (state.hasEnabledCopy) {
        // A failure stays on screen while an old copy runs, until the current one is enabled.
        if (current != Status::Case::failed || state.hasCurrentVersion || !readEmbeddedVersion()) {
            status = Status::activated();
        }
    } else if ((current == Status::Case::requesting && force) || current == Status::Case::activated) {
        status = Status::idle();
    }
}

void SystemExtensionInstaller::foundProperties(const SystemExtensionRequest& request,
                                               const std::vector<SystemExtensionProperties>& properties) {
    const auto probe = probeFor(request);
    if (!probe) {
        return;
    }
    const auto embedded = readEmbeddedVersion();
    InstalledState state;
    for (const auto& copy : properties) {
        if (copy.isAwaitingUserApproval) {
            state.isAwaitingApproval = true;
        } else if (copy.isEnabled && !copy.isUninstalling) {
            state.hasEnabledCopy = true;
            if (embedded && copy.bundleVersion == embedded->buildVersion &&
                copy.bundleShortVersion == embedded->shortVersion) {
                state.hasCurrentVersion = true;
            }
        }
    }
    probe->state = state;
    info(fmt::format("probe found {} installed copies; enabled: {}, current version: {}, awaiting approval: {}",
                     properties.size(), yesNo(state.hasEnabledCopy), yesNo(state.hasCurrentVersion),
                     yesNo(state.isAwaitingApproval)));
}

// Activation

void SystemExtensionInstaller::activateIfNeeded() {
    if (isRequesting()) {
        return;
    }
    const auto embedded = readEmbeddedVersion();
    if (!embedded) {
        info("embedded extension version unreadable; activating unconditionally");
        submitActivation();
        return;
    }
    info(fmt::format("probing installed extensions (embedded {}/{})", embedded->shortVersion, embedded->buildVersion));
    beginRequesting();
    startProbe(false, [weak = weak_from_this()](std::optional<InstalledState> result) {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        if (result && result->hasCurrentVersion) {
            self->info("extension already installed and enabled; skipping activation");
            self->status = Status::activated();
        } else {
            self->submitActivation();
        }
    });
}

void SystemExtensionInstaller::submitActivation() {
    beginRequesting();
    info(fmt::format("Submitting activation request for {}", extensionIdentifier));
    auto request = std::make_shared<SystemExtensionRequest>(SystemExtensionRequest::Kind::activation,
                                                            std::string(extensionIdentifier), weak_from_this());
    // An older request is dropped, not cancelled: its answers are untracked from now on.
    m_activationRequest = request;
    m_dependencies.service.submitRequest(std::move(request));
}

void SystemExtensionInstaller::beginRequesting() {
    m_requestingDeadline = m_dependencies.mainRunLoop.now() + stallLimit;
    status = Status::requesting();
    startStallWatchdog();
}

void SystemExtensionInstaller::startStallWatchdog() {
    if (m_stallWatchdog) {
        return;
    }
    m_stallWatchdog =
        m_dependencies.mainRunLoop.scheduleTimer(watchdogPeriod, true, TimerModes::common, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->stallWatchdogTick();
            }
        });
}

void SystemExtensionInstaller::stallWatchdogTick() {
    if (m_requestingDeadline && m_dependencies.mainRunLoop.now() < *m_requestingDeadline) {
        return;
    }
    reconcileAfterStall();
}

void SystemExtensionInstaller::reconcileAfterStall() {
    if (!m_probes.empty()) {
        return;  // the deadline stays passed: the next tick tries again
    }
    m_requestingDeadline = m_dependencies.mainRunLoop.now() + stallLimit;
    error(fmt::format("no request callback within {}s; reconciling status with the OS", stallLimit.count()));
    startProbe(true, applyingCompletion(true));
}

// Answers of the service

ReplacementAction SystemExtensionInstaller::actionForReplacingExtension(const SystemExtensionRequest& /*request*/,
                                                                        const SystemExtensionProperties& existing,
                                                                        const SystemExtensionProperties& replacement) {
    info(fmt::format("replacing extension {}/{} with {}/{}", existing.bundleShortVersion, existing.bundleVersion,
                     replacement.bundleShortVersion, replacement.bundleVersion));
    return ReplacementAction::replace;
}

void SystemExtensionInstaller::requestNeedsUserApproval(const SystemExtensionRequest& request) {
    if (!isTracked(request)) {
        return;
    }
    // The request stays tracked: the system finishes it once the user has decided.
    info("Extension request needs user approval");
    status = Status::needsUserApproval();
}

void SystemExtensionInstaller::didFinishWithResult(const SystemExtensionRequest& request, std::int64_t result) {
    if (const auto probe = probeFor(request)) {
        finishProbe(probe, probe->state);
        return;
    }
    if (!isTracked(request)) {
        info(fmt::format("ignoring result {} from an untracked request", result));
        return;
    }
    m_activationRequest.reset();
    info(fmt::format("Extension request finished with result: {}", result));
    if (result == 0) {
        status = Status::activated();
    } else if (result == 1) {
        status = Status::needsUserApproval();
    } else {
        const auto domain = std::string(osSystemExtensionErrorDomain);
        status = Status::failed(failureFromError(Error{domain, 1, genericDescription(domain, 1)}));
    }
}

void SystemExtensionInstaller::didFailWithError(const SystemExtensionRequest& request, const Error& failure) {
    if (const auto probe = probeFor(request)) {
        error(fmt::format("properties probe failed ({} #{})", failure.domain, failure.code));
        finishProbe(probe, std::nullopt);
        return;
    }
    if (!isTracked(request)) {
        info(fmt::format("ignoring failure ({} #{}) from an untracked request", failure.domain, failure.code));
        return;
    }
    m_activationRequest.reset();
    error(fmt::format("Extension request failed: domain={} code={} desc={}", failure.domain, failure.code,
                      failure.description));
    if (failure.domain == osSystemExtensionErrorDomain && failure.code == 12) {
        // Another request took over: what is installed decides, not this answer.
        info("activation was superseded; reconciling instead of failing");
        m_requestingDeadline = m_dependencies.mainRunLoop.now();
        if (m_probes.empty()) {
            startProbe(false, applyingCompletion(true));
        }
        return;
    }
    status = Status::failed(failureFromError(failure));
}

}  // namespace moritane
