#pragma once

#include "sources/VideoCapture.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace moritane {

/// Cameras the test lists, whose sessions fail where the test says and deliver the frames the
/// test hands them. Everything runs on the test's thread.
class FakeVideoCapture final : public VideoCapture {
public:
    /// What became of one session; kept after the session is gone.
    struct Record {
        FrameSize preset;
        std::string input;
        bool inputAdded = false;
        bool outputAdded = false;
        bool running = false;
        DispatchQueue* queue = nullptr;
        CaptureSession::FrameHandler handler;
    };

    void setDevices(std::vector<CaptureDevice> devices) { m_devices = std::move(devices); }
    /// The device with this id cannot be opened, for `error`.
    void failInput(const std::string& uniqueID, Error error) {
        m_inputErrors.insert_or_assign(uniqueID, std::move(error));
    }
    void refuseInput(const std::string& uniqueID) { m_refusedInputs.insert(uniqueID); }
    void refuseOutput(const std::string& uniqueID) { m_refusedOutputs.insert(uniqueID); }

    [[nodiscard]] std::optional<CaptureDevice> deviceWithUniqueID(const std::string& uniqueID) const override;
    [[nodiscard]] std::unique_ptr<CaptureSession> makeSession(FrameSize preset) override;

    /// Every session made, in order.
    [[nodiscard]] const std::vector<std::shared_ptr<Record>>& sessions() const { return m_sessions; }
    /// Hands `frame` to the handler of session `index` on its queue, if the session runs.
    void deliver(std::size_t index, const Frame& frame) const;

private:
    class Session;

    std::vector<CaptureDevice> m_devices;
    std::map<std::string, Error> m_inputErrors;
    std::set<std::string> m_refusedInputs;
    std::set<std::string> m_refusedOutputs;
    std::vector<std::shared_ptr<Record>> m_sessions;
};

}  // namespace moritane
