#include "platform/linux/AbsentSystemExtensionService.h"

#include <utility>

namespace moritane {

void AbsentSystemExtensionService::submitRequest(std::shared_ptr<SystemExtensionRequest> request) {
    m_mainRunLoop.post([request = std::move(request)] {
        const auto delegate = request->delegate();
        if (!delegate) {
            return;
        }
        if (request->kind() == SystemExtensionRequest::Kind::properties) {
            delegate->foundProperties(*request, {});
            delegate->didFinishWithResult(*request, 0);
        } else {
            delegate->didFailWithError(
                *request, Error{std::string(osSystemExtensionErrorDomain), 1, std::string(activationFailure)});
        }
    });
}

}  // namespace moritane
