#include "platform/linux/V4l2LoopbackSink.h"

#include "platform/sim/CapturingLog.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace moritane {
namespace {

using Lines = std::vector<std::string>;

/// Video nodes of the test's making; every handle is the node's number.
struct FakeLoopbackDevices final : LoopbackDevices {
    std::map<int, Identity> present;
    std::map<int, std::filesystem::path> opened;
    std::vector<v4l2_pix_format> formats;
    std::vector<v4l2_fract> rates;
    std::optional<int> formatError;
    std::deque<int> writeErrors;
    std::vector<std::uint8_t> written;
    int writes = 0;

    std::vector<std::filesystem::path> nodes() const override {
        std::vector<std::filesystem::path> paths;
        for (const auto& [number, identity] : present) {
            paths.emplace_back("/dev/video" + std::to_string(number));
        }
        return paths;
    }
    std::optional<Identity> identify(const std::filesystem::path& node) const override {
        const auto found = present.find(std::stoi(node.string().substr(10)));
        return found == present.end() ? std::nullopt : std::optional(found->second);
    }
    Result<int> open(const std::filesystem::path& node) override {
        const int handle = std::stoi(node.string().substr(10));
        opened[handle] = node;
        return handle;
    }
    std::optional<Error> setFormat(int, v4l2_pix_format& format) override {
        formats.push_back(format);
        return formatError ? std::optional(Error{"POSIX", *formatError, "Device or resource busy"}) : std::nullopt;
    }
    std::optional<Error> setTimePerFrame(int, v4l2_fract timePerFrame) override {
        rates.push_back(timePerFrame);
        return std::nullopt;
    }
    std::optional<Error> write(int handle, std::span<const std::uint8_t> bytes) override {
        EXPECT_TRUE(opened.contains(handle));
        if (!writeErrors.empty()) {
            const int code = writeErrors.front();
            writeErrors.pop_front();
            return Error{"POSIX", code, code == ENODEV ? "No such device" : "Resource temporarily unavailable"};
        }
        written.assign(bytes.begin(), bytes.end());
        ++writes;
        return std::nullopt;
    }
    void close(int handle) override { opened.erase(handle); }
};

struct V4l2LoopbackSinkTest : ::testing::Test {
    FakeLoopbackDevices devices;
    CapturingLog log;
    V4l2LoopbackSink sink{devices, log};
    int changes = 0;

    void SetUp() override {
        devices.present = {{0, {"uvcvideo", "Integrated Camera"}},
                           {1, {"uvcvideo", "Moritane"}},
                           {2, {"v4l2 loopback", "OBS Virtual Camera"}},
                           {4, {"v4l2 loopback", "Moritane"}}};
        sink.setWatchedChanged([this] { ++changes; });
    }
};

const std::string kFound = "V4l2LoopbackSink: writing YUYV 1280x720 at 30 fps to /dev/video4 (Moritane)";
const std::string kAbsent = "V4l2LoopbackSink: no v4l2loopback device labelled Moritane; serving PipeWire alone";

TEST_F(V4l2LoopbackSinkTest, TakesTheLoopbackLabelledMoritaneAndSetsItsFormatAndRate) {
    sink.findDevice();
    sink.findDevice();
    EXPECT_TRUE(sink.isWatched());
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(log.lines(), Lines{kFound});
    ASSERT_EQ(devices.opened.size(), 1U);
    EXPECT_EQ(devices.opened.begin()->second, "/dev/video4");
    ASSERT_EQ(devices.formats.size(), 1U);
    const v4l2_pix_format& f = devices.formats[0];
    EXPECT_EQ(std::tuple(f.width, f.height, f.pixelformat, f.bytesperline, f.sizeimage, f.field, f.colorspace),
              std::tuple(1280U, 720U, V4L2_PIX_FMT_YUYV, 2560U, 1843200U, V4L2_FIELD_NONE, V4L2_COLORSPACE_REC709));
    ASSERT_EQ(devices.rates.size(), 1U);
    EXPECT_EQ(std::pair(devices.rates[0].numerator, devices.rates[0].denominator), std::pair(1U, 30U));
}

TEST_F(V4l2LoopbackSinkTest, WritesEachPictureConvertedOnceAndSkipsAFullDevice) {
    const Frame black = Frame::black(1280, 720);
    sink.send(black);
    EXPECT_EQ(devices.writes, 0) << "no device yet";
    sink.findDevice();
    sink.send(black);
    sink.send(Frame(black));
    devices.writeErrors = {EAGAIN};
    sink.send(black);
    EXPECT_EQ(devices.writes, 2);
    ASSERT_EQ(devices.written.size(), 1843200U);
    EXPECT_EQ(std::vector(devices.written.begin(), devices.written.begin() + 4),
              (std::vector<std::uint8_t>{16, 128, 16, 128}));
    EXPECT_EQ(sink.picturesConverted(), 1U);
    sink.send(Frame::filled(1280, 720, {255, 255, 255, 255}));
    EXPECT_EQ(devices.written[0], 235);
    EXPECT_EQ(sink.picturesConverted(), 2U);
    EXPECT_TRUE(sink.isWatched());
    EXPECT_EQ(log.lines(), Lines{kFound});
}

TEST_F(V4l2LoopbackSinkTest, LosesARemovedDeviceAndTakesItAgainWhenItComesBack) {
    sink.findDevice();
    const auto saved = devices.present;
    devices.present.clear();
    devices.writeErrors = {ENODEV};
    sink.send(Frame::black(1280, 720));
    EXPECT_FALSE(sink.isWatched());
    EXPECT_TRUE(devices.opened.empty());
    EXPECT_EQ(changes, 2);
    for (int i = 0; i < 3; ++i) {
        sink.findDevice();
    }
    devices.present = saved;
    sink.findDevice();
    EXPECT_TRUE(sink.isWatched());
    EXPECT_EQ(changes, 3);
    EXPECT_EQ(log.lines(),
              (Lines{kFound, "V4l2LoopbackSink: stopped writing to /dev/video4: No such device", kAbsent, kFound}));
}

TEST_F(V4l2LoopbackSinkTest, AFormatRefusedGivesUpTheDeviceUntilTheNextFind) {
    devices.formatError = EBUSY;
    sink.findDevice();
    sink.findDevice();
    EXPECT_FALSE(sink.isWatched());
    EXPECT_TRUE(devices.opened.empty());
    devices.formatError.reset();
    sink.findDevice();
    EXPECT_TRUE(sink.isWatched());
    EXPECT_EQ(log.lines(), (Lines{"V4l2LoopbackSink: cannot write YUYV 1280x720 at 30 fps to /dev/video4: Device or "
                                  "resource busy",
                                  kFound}));
}

}  // namespace
}  // namespace moritane
