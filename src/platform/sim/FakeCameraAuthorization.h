#pragma once

#include "sources/CameraAuthorization.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace moritane {

/// A camera permission that the test sets, with access requests held until the test answers.
class FakeCameraAuthorization final : public CameraAuthorization {
public:
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override { return status; }

    void requestAccess(std::function<void(bool granted)> completion) override {
        const std::scoped_lock lock(m_mutex);
        m_pending.push_back(std::move(completion));
    }

    [[nodiscard]] std::size_t pendingRequests() const {
        const std::scoped_lock lock(m_mutex);
        return m_pending.size();
    }

    /// Answers every request made so far.
    void answer(bool granted) {
        std::vector<std::function<void(bool)>> pending;
        {
            const std::scoped_lock lock(m_mutex);
            pending.swap(m_pending);
        }
        for (auto& completion : pending) {
            completion(granted);
        }
    }

    std::atomic<AuthorizationStatus> status = AuthorizationStatus::notDetermined;

private:
    mutable std::mutex m_mutex;
    std::vector<std::function<void(bool)>> m_pending;
};

}  // namespace moritane
