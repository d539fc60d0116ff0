#pragma once

#include "extension/SystemExtensionService.h"
#include "support/RunLoop.h"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace moritane {

/// A system-extension service that answers only as the test scripts it: any callback, after any
/// delay in virtual time, late, twice, or never. Requests are kept as the system keeps them.
class FakeSystemExtensionService final : public SystemExtensionService {
public:
    using Request = std::shared_ptr<SystemExtensionRequest>;
    using Delay = std::chrono::milliseconds;

    explicit FakeSystemExtensionService(RunLoop& mainRunLoop) : m_mainRunLoop(mainRunLoop) {}

    void submitRequest(Request request) override;

    /// The requests of one kind, in the order they came.
    [[nodiscard]] std::vector<Request> submitted(SystemExtensionRequest::Kind kind) const;
    [[nodiscard]] Request lastProbe() const;
    [[nodiscard]] Request lastActivation() const;

    /// Forgets the requests and answers seen so far; answers already scheduled still come.
    void clearRecords() {
        m_requests.clear();
        replacementAnswers.clear();
    }

    /// Called at each submission, to script answers.
    std::function<void(const Request&)> onSubmit;

    // Each answer reaches the request's delegate on the main queue, after `delay` if one is given.
    void foundProperties(const Request& request, std::vector<SystemExtensionProperties> properties, Delay delay = {});
    /// The properties, then the finish with 0 that ends a properties request.
    void answerProperties(const Request& request, std::vector<SystemExtensionProperties> properties, Delay delay = {});
    void finish(const Request& request, std::int64_t result, Delay delay = {});
    void fail(const Request& request, Error error, Delay delay = {});
    void needsUserApproval(const Request& request, Delay delay = {});
    void askToReplace(const Request& request, SystemExtensionProperties existing, SystemExtensionProperties replacement,
                      Delay delay = {});

    /// The delegate's answers to `askToReplace`, in order.
    std::vector<ReplacementAction> replacementAnswers;

private:
    void later(Delay delay, std::function<void()> work);

    RunLoop& m_mainRunLoop;
    std::vector<Request> m_requests;
};

}  // namespace moritane
