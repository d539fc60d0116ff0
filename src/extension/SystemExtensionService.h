#pragma once

#include "support/Error.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace moritane {

/// The error domain of the system-extension service; its codes are the vocabulary of failures.
inline constexpr std::string_view osSystemExtensionErrorDomain = "OSSystemExtensionErrorDomain";

/// What the service knows of one installed copy of an extension.
struct SystemExtensionProperties {
    std::string bundleVersion;
    std::string bundleShortVersion;
    bool isEnabled = false;
    bool isAwaitingUserApproval = false;
    bool isUninstalling = false;
};

/// The answer to the question whether an installed copy may be replaced.
enum class ReplacementAction { cancel = 0, replace = 1 };

class SystemExtensionRequest;

/// Hears what becomes of requests. The service calls it on the main thread only.
class SystemExtensionRequestDelegate {
public:
    virtual ~SystemExtensionRequestDelegate() = default;
    virtual ReplacementAction actionForReplacingExtension(const SystemExtensionRequest& request,
                                                          const SystemExtensionProperties& existing,
                                                          const SystemExtensionProperties& replacement) = 0;
    virtual void requestNeedsUserApproval(const SystemExtensionRequest& request) = 0;
    /// 0: completed; 1: completes after a restart.
    virtual void didFinishWithResult(const SystemExtensionRequest& request, std::int64_t result) = 0;
    virtual void didFailWithError(const SystemExtensionRequest& request, const Error& error) = 0;
    virtual void foundProperties(const SystemExtensionRequest& request,
                                 const std::vector<SystemExtensionProperties>& properties) = 0;
};

/// One request for an extension. Requests are told apart by identity, never by value.
class SystemExtensionRequest {
public:
    enum class Kind { activation, properties };

    SystemExtensionRequest(Kind kind, std::string identifier, std::weak_ptr<SystemExtensionRequestDelegate> delegate)
        : m_kind(kind), m_identifier(std::move(identifier)), m_delegate(std::move(delegate)) {}
    SystemExtensionRequest(const SystemExtensionRequest&) = delete;
    SystemExtensionRequest& operator=(const SystemExtensionRequest&) = delete;
    SystemExtensionRequest(SystemExtensionRequest&&) = delete;
    SystemExtensionRequest& operator=(SystemExtensionRequest&&) = delete;
    ~SystemExtensionRequest() = default;

    [[nodiscard]] Kind kind() const { return m_kind; }
    [[nodiscard]] const std::string& identifier() const { return m_identifier; }
    /// None once the delegate is gone: the answer then goes nowhere.
    [[nodiscard]] std::shared_ptr<SystemExtensionRequestDelegate> delegate() const { return m_delegate.lock(); }

private:
    const Kind m_kind;
    const std::string m_identifier;
    const std::weak_ptr<SystemExtensionRequestDelegate> m_delegate;
};

/// The system's service that installs extensions and reports what is installed. It keeps a
/// submitted request for as long as it may still answer it, and answers on the main thread,
/// late, or never.
class SystemExtensionService {
public:
    virtual ~SystemExtensionService() = default;
    virtual void submitRequest(std::shared_ptr<SystemExtensionRequest> request) = 0;
};

}  // namespace moritane
