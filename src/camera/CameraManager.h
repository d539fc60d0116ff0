#pragma once

#include "camera/CameraState.h"
#include "camera/SharedStore.h"
#include "support/Defaults.h"
#include "support/Log.h"
#include "support/Published.h"
#include "support/RunLoop.h"
#include "support/Uuid.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// Owns what the virtual camera shows and is the only writer of state.json and heartbeat.
/// Everything runs on the main thread.
class CameraManager : public std::enable_shared_from_this<CameraManager> {
public:
    struct Dependencies {
        const SharedStore& store;
        Defaults& defaults;
        RunLoop& runLoop;
        Log& log;
        /// The ids of the image library in its order, read anew at each call (which may make the
        /// library).
        std::function<std::vector<Uuid>()> savedImageIds = [] { return std::vector<Uuid>{}; };
    };

    /// Restores the state from state.json, writes it back, refreshes the heartbeat and starts its
    /// timer.
    static std::shared_ptr<CameraManager> create(Dependencies dependencies);

    CameraManager(const CameraManager&) = delete;
    CameraManager& operator=(const CameraManager&) = delete;
    CameraManager(CameraManager&&) = delete;
    CameraManager& operator=(CameraManager&&) = delete;
    ~CameraManager() = default;

    Published<Constants::CameraMode> currentMode{Constants::CameraMode::off};
    Published<std::optional<Uuid>> selectedImageId;
    /// Assigned directly by whoever chooses a physical camera, who then calls writeState().
    Published<std::optional<std::string>> selectedCameraId;

    /// The image the user showed last; survives changes of mode.
    [[nodiscard]] const std::optional<Uuid>& lastSelectedImageId() const { return m_lastSelectedImageId; }

    void turnOff();
    void switchToCamera();
    void selectImage(const Uuid& id);
    /// Shows the last image shown, or else the first of the library; nothing with an empty library.
    void showLastImage();
    /// Writes state.json from the three published values as they are now.
    void writeState();

    static constexpr std::string_view lastSelectedImageIdKey = "lastSelectedImageId";
    static constexpr RunLoop::Duration heartbeatInterval{1000};

private:
    explicit CameraManager(Dependencies dependencies);

    void start();
    void loadState();
    void touchHeartbeat();
    void persistLastSelectedImageId();

    Dependencies m_dependencies;
    std::optional<Uuid> m_lastSelectedImageId;
    std::shared_ptr<Timer> m_heartbeatTimer;
};

}  // namespace moritane
