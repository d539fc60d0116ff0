#include "platform/sim/FakeVideoCapture.h"

#include <algorithm>

namespace moritane {

class FakeVideoCapture::Session final : public CaptureSession {
public:
    Session(const FakeVideoCapture& owner, std::shared_ptr<Record> record)
        : m_owner(owner), m_record(std::move(record)) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    Session(Session&&) = delete;
    Session& operator=(Session&&) = delete;
    ~Session() override {
        if (m_record->running) {
            stopRunning();
        }
    }

    std::optional<Error> makeInput(const std::string& uniqueID) override {
        if (const auto error = m_owner.m_inputErrors.find(uniqueID); error != m_owner.m_inputErrors.end()) {
            return error->second;
        }
        m_record->input = uniqueID;
        return std::nullopt;
    }
    [[nodiscard]] bool canAddInput() const override {
        return !m_record->input.empty() && !m_owner.m_refusedInputs.contains(m_record->input);
    }
    void addInput() override { m_record->inputAdded = true; }
    void makeOutput(DispatchQueue& queue, FrameHandler handler) override {
        m_record->queue = &queue;
        m_record->handler = std::move(handler);
    }
    [[nodiscard]] bool canAddOutput() const override {
        return m_record->inputAdded && m_record->handler && !m_owner.m_refusedOutputs.contains(m_record->input);
    }
    void addOutput() override { m_record->outputAdded = true; }
    void startRunning() override { m_record->running = m_record->outputAdded; }
    void stopRunning() override { m_record->running = false; }

private:
    const FakeVideoCapture& m_owner;
    std::shared_ptr<Record> m_record;
};

std::optional<CaptureDevice> FakeVideoCapture::deviceWithUniqueID(const std::string& uniqueID) const {
    const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                    [&](const CaptureDevice& device) { return device.uniqueID == uniqueID; });
    return found == m_devices.end() ? std::nullopt : std::optional(*found);
}

std::unique_ptr<CaptureSession> FakeVideoCapture::makeSession(FrameSize preset) {
    auto record = std::make_shared<Record>();
    record->preset = preset;
    m_sessions.push_back(record);
    return std::make_unique<Session>(*this, std::move(record));
}

void FakeVideoCapture::deliver(std::size_t index, const Frame& frame) const {
    const auto& record = m_sessions.at(index);
    if (record->running) {
        record->queue->async([handler = record->handler, frame] { handler(frame); });
    }
}

}  // namespace moritane
