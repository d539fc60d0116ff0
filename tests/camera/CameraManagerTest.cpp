#include "camera/CameraManager.h"

#include "support/Files.h"
#include "testsupport/CoreFixture.h"

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Constants::CameraMode;

const auto kFirst = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kSecond = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

class CameraManagerTest : public testing::CoreFixture {
protected:
    [[nodiscard]] std::optional<std::chrono::system_clock::time_point> heartbeat() const {
        return files::modificationTime(root / "heartbeat");
    }
};

TEST_F(CameraManagerTest, FirstStartWritesOffAndAnEmptyHeartbeat) {
    const auto manager = makeCamera();
    EXPECT_EQ(manager->currentMode.value(), CameraMode::off);
    EXPECT_EQ(stateFile(), R"({"mode":"off"})");
    EXPECT_EQ(std::filesystem::file_size(root / "heartbeat"), 0U);
    EXPECT_EQ(heartbeat(), loop.now());
    EXPECT_EQ(log.lines(), std::vector<std::string>{"CameraManager: wrote state mode=off image=nil camera=nil"});
}

TEST_F(CameraManagerTest, RestoresTheStoredStateAndRemembersItsImageInMemoryOnly) {
    writeState(
        R"({"selectedCameraId":"cam-1","mode":"image","selectedImageId":"aaaaaaaa-bbbb-4ccc-8ddd-eeeeeeeeeeee"})");
    const auto manager = makeCamera();
    EXPECT_EQ(manager->currentMode.value(), CameraMode::image);
    EXPECT_EQ(manager->selectedImageId.value(), kSecond);
    EXPECT_EQ(manager->selectedCameraId.value(), "cam-1");
    EXPECT_EQ(manager->lastSelectedImageId(), kSecond);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(defaults.object("lastSelectedImageId")));
    EXPECT_EQ(
        stateFile(),
        R"({"mode":"image","selectedImageId":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE","selectedCameraId":"cam-1"})");
}

TEST_F(CameraManagerTest, TheLastImageComesFromAnImageStateElseFromADefaultThatSpellsAUuid) {
    defaults.setObject("lastSelectedImageId", std::string("not a uuid"));
    EXPECT_EQ(makeCamera()->lastSelectedImageId(), std::nullopt);
    defaults.setObject("lastSelectedImageId", std::int64_t{5});
    EXPECT_EQ(makeCamera()->lastSelectedImageId(), std::nullopt);
    defaults.setObject("lastSelectedImageId", kFirst.uuidString());
    writeState(R"({"mode":"off","selectedImageId":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE"})");
    EXPECT_EQ(makeCamera()->lastSelectedImageId(), kFirst);  // off mode: the stored image does not count
    writeState(R"({"mode":"image","selectedImageId":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE"})");
    EXPECT_EQ(makeCamera()->lastSelectedImageId(), kSecond);
}

TEST_F(CameraManagerTest, AnUnreadableStateFileStartsSilentlyInOff) {
    // Which texts the decoder refuses is its own test's business; here one of each way to fail.
    const std::vector<std::string> contents{R"({"mode":"camera")", R"({"mode":"video"})",
                                            R"({"mode":"camera"})" + std::string(70000, ' ')};
    for (const auto& content : contents) {
        writeState(content);
        log.clear();
        const auto manager = makeCamera();
        EXPECT_EQ(manager->currentMode.value(), CameraMode::off) << content.substr(0, 40);
        EXPECT_EQ(stateFile(), R"({"mode":"off"})");
        EXPECT_EQ(log.lines().size(), 1U);
    }
}

TEST_F(CameraManagerTest, EveryOperationWritesAndLogsKeepingTheChosenCameraAndLeavingImageModeKeepsTheLastImage) {
    const auto manager = makeCamera();
    manager->selectedCameraId = std::string("usb-1");
    log.clear();
    manager->turnOff();
    manager->switchToCamera();
    manager->switchToCamera();
    manager->selectImage(kFirst);
    manager->turnOff();
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{
                  "CameraManager: wrote state mode=off image=nil camera=usb-1",
                  "CameraManager: wrote state mode=camera image=nil camera=usb-1",
                  "CameraManager: wrote state mode=camera image=nil camera=usb-1",
                  "CameraManager: wrote state mode=image image=11111111-2222-4333-8444-555555555555 camera=usb-1",
                  "CameraManager: wrote state mode=off image=nil camera=usb-1",
              }));
    EXPECT_EQ(stateFile(), R"({"mode":"off","selectedCameraId":"usb-1"})");
    EXPECT_EQ(manager->lastSelectedImageId(), kFirst);
    EXPECT_EQ(defaults.string("lastSelectedImageId"), "11111111-2222-4333-8444-555555555555");
}

TEST_F(CameraManagerTest, SubscribersHearTheModeBeforeTheImageAndNeverAHalfWrittenFile) {
    const auto manager = makeCamera();
    std::vector<std::string> heard;
    auto mode = manager->currentMode.subscribe([&](CameraMode value) {
        heard.push_back(std::string("mode ") + std::string(Constants::rawValue(value)) + " file " + stateFile());
    });
    auto image = manager->selectedImageId.subscribe([&](const std::optional<Uuid>& value) {
        heard.push_back(std::string("image ") + (value ? "set" : "none") + " file " + stateFile());
    });
    heard.clear();
    manager->selectImage(kFirst);
    EXPECT_EQ(heard, (std::vector<std::string>{
                         R"(mode image file {"mode":"off"})",
                         R"(image set file {"mode":"off"})",
                     }));
    EXPECT_EQ(stateFile(), R"({"mode":"image","selectedImageId":"11111111-2222-4333-8444-555555555555"})");
}

TEST_F(CameraManagerTest, AFailedWriteIsLoggedAndMemoryRunsAhead) {
    const auto manager = makeCamera();
    manager->selectedCameraId = std::string("bad \xc3 byte");  // cannot be encoded
    log.clear();
    manager->switchToCamera();
    EXPECT_EQ(manager->currentMode.value(), CameraMode::camera);
    EXPECT_EQ(stateFile(), R"({"mode":"off"})");
    manager->selectedCameraId = std::nullopt;
    std::filesystem::remove(root / "state.json");
    std::filesystem::create_directory(root / "state.json");
    manager->turnOff();
    ASSERT_EQ(log.lines().size(), 2U);
    for (const auto& line : log.lines()) {
        EXPECT_TRUE(line.starts_with("CameraManager: failed to write state.json: ")) << line;
    }
    EXPECT_NE(log.lines()[1].find("state.json\": Is a directory"), std::string::npos) << log.lines()[1];
}

TEST_F(CameraManagerTest, HeartbeatMovesEverySecondInEveryModeButNotWhileAMenuIsTracked) {
    const auto manager = makeCamera();
    const auto start = loop.now();
    for (const auto& operation : std::vector<std::function<void()>>{
             [&] { manager->turnOff(); }, [&] { manager->switchToCamera(); }, [&] { manager->selectImage(kFirst); }}) {
        operation();
        const auto before = loop.now();
        loop.advance(1000ms);
        EXPECT_EQ(heartbeat(), before + 1s);
    }
    loop.setMode(RunLoopMode::eventTracking);
    loop.advance(2500ms);
    EXPECT_EQ(heartbeat(), start + 3s);
    loop.setMode(RunLoopMode::defaultMode);
    loop.advance(0ms);
    EXPECT_EQ(heartbeat(), start + 5500ms);

    std::filesystem::remove(root / "heartbeat");
    loop.advance(500ms);
    EXPECT_EQ(heartbeat(), start + 6s);
    EXPECT_EQ(std::filesystem::file_size(root / "heartbeat"), 0U);
    container.container = root / "gone";
    loop.advance(1000ms);
    EXPECT_FALSE(std::filesystem::exists(root / "gone"));  // a refresh that fails is dropped
}

TEST_F(CameraManagerTest, TheTimerHoldsTheManagerWeakly) {
    auto manager = makeCamera();
    std::weak_ptr<CameraManager> weak = manager;
    manager.reset();
    EXPECT_TRUE(weak.expired());
    std::filesystem::remove(root / "heartbeat");
    loop.advance(3000ms);
    EXPECT_FALSE(std::filesystem::exists(root / "heartbeat"));
}

}  // namespace
}  // namespace moritane
