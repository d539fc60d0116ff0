#pragma once

#include "platform/linux/CameraExtensionDeployment.h"

#include <functional>
#include <string>
#include <vector>

namespace moritane {

/// The extension's copies, the session's service and the loopback module in one, answering as the
/// test sets them and recording each call by name. Installing changes nothing on its own: the test
/// sets what is installed afterwards, as it sets everything else.
class FakeCameraExtensionDeployment final : public ExtensionCopies, public SessionService, public LoopbackModule {
public:
    [[nodiscard]] Result<ExtensionCopy> embedded() const override { return record("embedded", embeddedCopy); }
    [[nodiscard]] std::vector<ExtensionCopy> installed() const override { return record("installed", copies); }
    [[nodiscard]] std::optional<Error> install() override { return record("install", installError); }
    void removeStale() override { record("removeStale", 0); }
    [[nodiscard]] std::filesystem::path currentProgram() const override {
        return record("currentProgram", std::filesystem::path("/current/moritane-camera"));
    }
    [[nodiscard]] Result<bool> isRegistered() const override { return record("isRegistered", registered); }
    [[nodiscard]] Result<bool> isRunning() const override { return record("isRunning", running); }
    [[nodiscard]] std::optional<Error> registerWithSession() override { return record("register", registerError); }
    [[nodiscard]] std::optional<Error> restart() override { return record("restart", restartError); }
    [[nodiscard]] State state() const override { return record("state", moduleState); }
    /// Runs `whileLoading` first, as if the authentication dialog were open meanwhile.
    [[nodiscard]] LoadResult load() override {
        whileLoading();
        return record("load", loadResult);
    }
    void cancel() override { calls.emplace_back("cancel"); }

    /// The calls so far, in order.
    mutable std::vector<std::string> calls;
    Result<ExtensionCopy> embeddedCopy = ExtensionCopy{"1.2", "42", true, true};
    std::vector<ExtensionCopy> copies;
    std::optional<Error> installError;
    Result<bool> registered = true;
    Result<bool> running = true;
    std::optional<Error> registerError;
    std::optional<Error> restartError;
    State moduleState = State::loaded;
    LoadResult loadResult{LoadOutcome::loaded, ""};
    std::function<void()> whileLoading = [] {};

private:
    template <typename T>
    T record(const char* call, T value) const {
        calls.emplace_back(call);
        return value;
    }
};

}  // namespace moritane
