#include "platform/linux/V4l2CaptureSession.h"

#include "VideoNodeTree.h"
#include "platform/linux/V4l2VideoCapture.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

namespace moritane {
namespace {

using Offer = V4l2CaptureSession::FormatOffer;
using Choice = V4l2CaptureSession::StreamChoice;
constexpr FrameSize k720p{1280, 720};

TEST(V4l2CaptureSessionTest, TakesThePresetElseTheSmallestLargerSizeElseTheLargest) {
    const std::vector<std::pair<std::vector<FrameSize>, std::optional<FrameSize>>> cases{
        {{{640, 480}, {1280, 720}, {1920, 1080}}, FrameSize{1280, 720}},
        {{{1920, 1080}, {1280, 960}, {640, 480}}, FrameSize{1280, 960}},
        {{{1600, 600}, {1920, 1080}}, FrameSize{1920, 1080}},  // as wide is not enough
        {{{640, 480}, {1024, 768}, {800, 600}}, FrameSize{1024, 768}},
        {{}, std::nullopt},
    };
    for (const auto& [sizes, expected] : cases) {
        EXPECT_EQ(V4l2CaptureSession::nearestSize(sizes, k720p), expected) << sizes.size();
    }
}

TEST(V4l2CaptureSessionTest, ChoosesTheNearestSizeThenTheCheapestFormat) {
    const Offer yuyvVga{V4L2_PIX_FMT_YUYV, false, {{640, 480}}};
    const Offer yuyv720{V4L2_PIX_FMT_YUYV, false, {{640, 480}, k720p}};
    const Offer mjpeg720{V4L2_PIX_FMT_MJPEG, false, {{640, 480}, k720p}};
    const Offer emulatedI420{V4L2_PIX_FMT_YUV420, true, {{640, 480}, k720p}};
    const Offer h264{V4L2_PIX_FMT_H264, false, {{1920, 1080}}};
    const std::vector<std::pair<std::vector<Offer>, std::optional<Choice>>> cases{
        {{mjpeg720, yuyv720}, Choice{V4L2_PIX_FMT_YUYV, k720p}},
        {{yuyvVga, mjpeg720}, Choice{V4L2_PIX_FMT_MJPEG, k720p}},
        {{emulatedI420, mjpeg720}, Choice{V4L2_PIX_FMT_MJPEG, k720p}},
        {{h264, emulatedI420}, Choice{V4L2_PIX_FMT_YUV420, k720p}},
        {{h264}, std::nullopt},
    };
    for (const auto& [offers, expected] : cases) {
        EXPECT_EQ(V4l2CaptureSession::chooseStream(offers, k720p), expected) << offers.size();
    }
}

TEST(V4l2CaptureSessionTest, BuffersBecomeFramesInTheSizeTheDriverSends) {
    using Bgra = std::array<std::uint8_t, 4>;
    constexpr Bgra kWhite{255, 255, 255, 255};
    constexpr Bgra kRed{0, 0, 255, 255};
    constexpr Bgra kBlue{255, 0, 0, 255};
    const auto format = [](std::uint32_t pixelFormat, std::uint32_t width, std::uint32_t height, std::uint32_t stride) {
        v4l2_pix_format pix{};
        pix.pixelformat = pixelFormat;
        pix.width = width;
        pix.height = height;
        pix.bytesperline = stride;
        return pix;
    };
    // 2 x 2, BT.601: white and black over red, rows padded to 6 bytes.
    const std::vector<std::uint8_t> yuyv{235, 128, 16, 128, 0, 0, 81, 90, 81, 240, 0, 0};
    // A blue 2 x 2: the Y plane, then U, then V; and red with interleaved chroma.
    const std::vector<std::uint8_t> i420{41, 41, 41, 41, 240, 110};
    const std::vector<std::uint8_t> nv12{81, 81, 81, 81, 90, 240};
    const auto jpeg = files::readFile(MORITANE_SOURCE_DIR "/tests/platform/linux/data/red-blue-32x16.jpg", 4096);
    ASSERT_TRUE(jpeg.ok());
    const std::span mjpeg(reinterpret_cast<const std::uint8_t*>(jpeg.value().data()), jpeg.value().size());

    struct Case {
        std::string name;
        v4l2_pix_format format;
        std::span<const std::uint8_t> bytes;
        // Top left and bottom right; none when the buffer cannot hold the frame.
        std::optional<std::array<Bgra, 2>> corners;
    };
    const std::vector<Case> cases{
        {"YUYV", format(V4L2_PIX_FMT_YUYV, 2, 2, 6), yuyv, std::array{kWhite, kRed}},
        {"YUV420", format(V4L2_PIX_FMT_YUV420, 2, 2, 2), i420, std::array{kBlue, kBlue}},
        {"NV12", format(V4L2_PIX_FMT_NV12, 2, 2, 2), nv12, std::array{kRed, kRed}},
        {"MJPEG", format(V4L2_PIX_FMT_MJPEG, 32, 16, 0), mjpeg, std::array{kRed, kBlue}},
        {"YUYV taller than the buffer", format(V4L2_PIX_FMT_YUYV, 2, 3, 6), yuyv, std::nullopt},
        {"YUV420 without V", format(V4L2_PIX_FMT_YUV420, 2, 2, 2), std::span(i420).first(5), std::nullopt},
        {"MJPEG of another size", format(V4L2_PIX_FMT_MJPEG, 16, 16, 0), mjpeg, std::nullopt},
        {"MJPEG cut short", format(V4L2_PIX_FMT_MJPEG, 32, 16, 0), mjpeg.first(100), std::nullopt},
        {"a format we do not convert", format(V4L2_PIX_FMT_H264, 2, 2, 2), yuyv, std::nullopt},
    };
    const auto near = [](Bgra got, Bgra expected) {
        return got[3] == expected[3] && std::abs(got[0] - expected[0]) <= 8 && std::abs(got[1] - expected[1]) <= 8 &&
               std::abs(got[2] - expected[2]) <= 8;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto frame = V4l2CaptureSession::frameFromBuffer(c.format, c.bytes);
        ASSERT_EQ(frame.has_value(), c.corners.has_value());
        if (frame) {
            ASSERT_EQ(std::pair(frame->width(), frame->height()),
                      (std::pair<int, int>(c.format.width, c.format.height)));
            EXPECT_TRUE(near(frame->pixel(0, 0), (*c.corners)[0]));
            EXPECT_TRUE(near(frame->pixel(frame->width() - 1, frame->height() - 1), (*c.corners)[1]));
        }
    }
}

TEST(V4l2CaptureSessionTest, ACameraThatCannotBeOpenedIsNamedWithTheReason) {
    testing::VideoNodeTree tree;
    tree.add("video0", testing::VideoNodeTree::Node::directory, "Desk Cam", "0");
    tree.add("video1", testing::VideoNodeTree::Node::pipe, "Pipe Cam", "0");
    V4l2VideoCapture capture(V4l2CaptureDevices(tree.dev, tree.sysfs));
    EXPECT_EQ(capture.deviceWithUniqueID("video0")->localizedName, "Desk Cam");
    EXPECT_FALSE(capture.deviceWithUniqueID("video7"));

    const auto session = capture.makeSession(VideoCapture::preset1280x720);
    EXPECT_EQ(session->makeInput("video7")->description, "no camera with the id \"video7\" is connected");
    EXPECT_EQ(session->makeInput("video0")->description, "the camera \"Desk Cam\" could not be opened: Is a directory");
    const auto pipe = session->makeInput("video1");
    ASSERT_TRUE(pipe);
    EXPECT_EQ(pipe->description, "the camera \"Pipe Cam\" could not be opened: it is not a video device");
}

}  // namespace
}  // namespace moritane
