#include "platform/sim/FakeSystemExtensionService.h"

#include <utility>

namespace moritane {

void FakeSystemExtensionService::submitRequest(Request request) {
    m_requests.push_back(request);
    if (onSubmit) {
        onSubmit(request);
    }
}

std::vector<FakeSystemExtensionService::Request> FakeSystemExtensionService::submitted(
    SystemExtensionRequest::Kind kind) const {
    std::vector<Request> requests;
    for (const auto& request : m_requests) {
        if (request->kind() == kind) {
            requests.push_back(request);
        }
    }
    return requests;
}

FakeSystemExtensionService::Request FakeSystemExtensionService::lastProbe() const {
    const auto probes = submitted(SystemExtensionRequest::Kind::properties);
    return probes.empty() ? nullptr : probes.back();
}

FakeSystemExtensionService::Request FakeSystemExtensionService::lastActivation() const {
    const auto activations = submitted(SystemExtensionRequest::Kind::activation);
    return activations.empty() ? nullptr : activations.back();
}

void FakeSystemExtensionService::later(Delay delay, std::function<void()> work) {
    if (delay == Delay::zero()) {
        m_mainRunLoop.post(std::move(work));
    } else {
        m_mainRunLoop.scheduleTimer(delay, false, TimerModes::common, std::move(work));
    }
}

void FakeSystemExtensionService::foundProperties(const Request& request,
                                                 std::vector<SystemExtensionProperties> properties, Delay delay) {
    later(delay, [request, properties = std::move(properties)] {
        if (const auto delegate = request->delegate()) {
            delegate->foundProperties(*request, properties);
        }
    });
}

void FakeSystemExtensionService::answerProperties(const Request& request,
                                                  std::vector<SystemExtensionProperties> properties, Delay delay) {
    foundProperties(request, std::move(properties), delay);
    finish(request, 0, delay);
}

void FakeSystemExtensionService::finish(const Request& request, std::int64_t result, Delay delay) {
    later(delay, [request, result] {
        if (const auto delegate = request->delegate()) {
            delegate->didFinishWithResult(*request, result);
        }
    });
}

void FakeSystemExtensionService::fail(const Request& request, Error error, Delay delay) {
    later(delay, [request, error = std::move(error)] {
        if (const auto delegate = request->delegate()) {
            delegate->didFailWithError(*request, error);
        }
    });
}

void FakeSystemExtensionService::needsUserApproval(const Request& request, Delay delay) {
    later(delay, [request] {
        if (const auto delegate = request->delegate()) {
            delegate->requestNeedsUserApproval(*request);
        }
    });
}

void FakeSystemExtensionService::askToReplace(const Request& request, SystemExtensionProperties existing,
                                              SystemExtensionProperties replacement, Delay delay) {
    later(delay, [this, request, existing = std::move(existing), replacement = std::move(replacement)] {
        if (const auto delegate = request->delegate()) {
            replacementAnswers.push_back(delegate->actionForReplacingExtension(*request, existing, replacement));
        }
    });
}

}  // namespace moritane
