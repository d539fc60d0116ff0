#include "platform/linux/V4l2LoopbackSink.h"

#include "platform/sim/CapturingLog.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace moritane {
namespace {

using Lines = std::vector<std::string>;

/// Video nodes of the test's making.
struct FakeLoopbackDevices final : LoopbackDevices {
    // A camera, a camera that calls itself Moritane, somebody else's loopback, and ours, not first.
    std::map<std::filesystem::path, Identity> present{{"/dev/video0", {"uvcvideo", "Integrated Camera"}},
                                                      {"/dev/video1", {"uvcvideo", "Moritane"}},
                                                      {"/dev/video2", {"v4l2 loopback", "OBS Virtual Camera"}},
                                                      {"/dev/video4", {"v4l2 loopback", "Moritane"}}};
    std::map<int, std::filesystem::path> opened;
    int lastHandle = 2;
    std::vector<v4l2_pix_format> formats;
    std::vector<std::pair<unsigned, unsigned>> rates;
    std::optional<Error> writeError;
    std::vector<std::vector<std::uint8_t>> written;

    std::vector<std::filesystem::path> nodes() const override {
        std::vector<std::filesystem::path> paths;
        for (const auto& [path, identity] : present) {
            paths.push_back(path);
        }
        return paths;
    }
    std::optional<Identity> identify(const std::filesystem::path& node) const override {
        const auto found = present.find(node);
        return found == present.end() ? std::nullopt : std::optional(found->second);
    }
    Result<int> open(const std::filesystem::path& node) override {
        opened[++lastHandle] = node;
        return lastHandle;
    }
    std::optional<Error> setFormat(int, v4l2_pix_format& format) override {
        formats.push_back(format);
        return std::nullopt;
    }
    std::optional<Error> setTimePerFrame(int, v4l2_fract timePerFrame) override {
        rates.emplace_back(timePerFrame.numerator, timePerFrame.denominator);
        return std::nullopt;
    }
    std::optional<Error> write(int, std::span<const std::uint8_t> bytes) override {
        if (auto error = std::exchange(writeError, std::nullopt)) {
            return error;
        }
        written.emplace_back(bytes.begin(), bytes.end());
        return std::nullopt;
    }
    void close(int handle) override { opened.erase(handle); }
};

struct V4l2LoopbackSinkTest : ::testing::Test {
    V4l2LoopbackSinkTest() {
        sink.setWatchedChanged([this] { ++changes; });
    }

    FakeLoopbackDevices devices;
    CapturingLog log;
    V4l2LoopbackSink sink{devices, log};
    int changes = 0;
};

const std::string kFound = "V4l2LoopbackSink: writing YUYV 1280x720 at 30 fps to /dev/video4 (Moritane)";
const std::string kAbsent = "V4l2LoopbackSink: no v4l2loopback device labelled Moritane; serving PipeWire alone";

TEST_F(V4l2LoopbackSinkTest, TakesTheLoopbackLabelledMoritaneLosesItAndTakesItAgain) {
    sink.findDevice();
    sink.findDevice();
    EXPECT_EQ(std::pair(sink.isWatched(), changes), std::pair(true, 1));
    EXPECT_EQ(devices.opened, (std::map<int, std::filesystem::path>{{3, "/dev/video4"}}));
    ASSERT_EQ(devices.formats.size(), 1U);
    const v4l2_pix_format& f = devices.formats[0];
    EXPECT_EQ(std::tuple(f.width, f.height, f.pixelformat, f.bytesperline, f.sizeimage, f.field, f.colorspace),
              std::tuple(1280U, 720U, V4L2_PIX_FMT_YUYV, 2560U, 1843200U, V4L2_FIELD_NONE, V4L2_COLORSPACE_REC709));
    EXPECT_EQ(devices.rates, (std::vector{std::pair(1U, 30U)}));
    const auto saved = devices.present;
    devices.present.clear();
    devices.writeError = Error{"POSIX", ENODEV, "No such device"};
    sink.send(Frame::black(1280, 720));
    EXPECT_EQ(std::tuple(sink.isWatched(), changes, devices.opened.size()), std::tuple(false, 2, 0U));
    sink.findDevice();
    sink.findDevice();
    devices.present = saved;
    sink.findDevice();
    EXPECT_EQ(std::pair(sink.isWatched(), changes), std::pair(true, 3));
    EXPECT_EQ(log.lines(),
              (Lines{kFound, "V4l2LoopbackSink: stopped writing to /dev/video4: No such device", kAbsent, kFound}));
}

TEST_F(V4l2LoopbackSinkTest, WritesEachPictureConvertedOnceAndSkipsAFullDevice) {
    const Frame black = Frame::black(1280, 720);
    sink.findDevice();
    sink.send(black);
    sink.send(Frame(black));
    devices.writeError = Error{"POSIX", EAGAIN, "Resource temporarily unavailable"};
    sink.send(black);
    ASSERT_EQ(devices.written.size(), 2U);
    ASSERT_EQ(devices.written[1].size(), 1843200U);
    EXPECT_EQ(std::vector(devices.written[1].begin(), devices.written[1].begin() + 4),
              (std::vector<std::uint8_t>{16, 128, 16, 128}));
    EXPECT_EQ(sink.picturesConverted(), 1U);
    sink.send(Frame::filled(1280, 720, {255, 255, 255, 255}));
    EXPECT_EQ(devices.written.back()[0], 235);
    EXPECT_EQ(sink.picturesConverted(), 2U);
    EXPECT_EQ(std::pair(sink.isWatched(), log.lines()), std::pair(true, Lines{kFound})) << "a full device is kept";
}

}  // namespace
}  // namespace moritane
