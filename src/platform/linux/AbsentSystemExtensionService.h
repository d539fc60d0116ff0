#pragma once

#include "extension/SystemExtensionService.h"
#include "support/RunLoop.h"

namespace moritane {

/// The system-extension service of a system that cannot install our camera extension yet: it
/// answers every properties request with no installed copy, and every activation with a failure
/// that says so, on the main queue. It never pretends that an activation worked.
class AbsentSystemExtensionService final : public SystemExtensionService {
public:
    explicit AbsentSystemExtensionService(RunLoop& mainRunLoop) : m_mainRunLoop(mainRunLoop) {}

    void submitRequest(std::shared_ptr<SystemExtensionRequest> request) override;

    static constexpr std::string_view activationFailure =
        "This edition of Moritane cannot install its camera extension yet";

private:
    RunLoop& m_mainRunLoop;
};

}  // namespace moritane
