#include "platform/linux/PipeWireCameraSink.h"

#include "platform/qt/QtRunLoop.h"
#include "platform/sim/CapturingLog.h"
#include "testsupport/PipeWireSession.h"
#include "testsupport/QtWait.h"

#include <QProcess>
#include <QSocketNotifier>
#include <QTimer>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <tuple>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using testing::PipeWireSession;
using testing::runUntil;

using Yuv = std::array<int, 3>;

// Red and green as a consumer decodes them in limited range: BT.709 in HD, then BT.601 in SD.
constexpr std::array kRed{Yuv{63, 102, 240}, Yuv{81, 90, 240}};
constexpr std::array kGreen{Yuv{173, 42, 26}, Yuv{145, 54, 34}};
constexpr Yuv kBlack{16, 128, 128};

/// How far the pixel at even x and y of `picture` in `format` is from `wanted`: the largest difference.
int distance(std::string_view picture, const std::string& format, int width, int x, int y, Yuv wanted) {
    const auto at = [&](int offset) { return static_cast<std::uint8_t>(picture.at(static_cast<std::size_t>(offset))); };
    const int luma = static_cast<int>(picture.size()) * 2 / 3;
    const int chroma = y / 2 * width / 2 + x / 2;
    const int pair = y * width * 2 + x * 2;
    const Yuv actual = format == "YUY2"   ? Yuv{at(pair), at(pair + 1), at(pair + 3)}
                       : format == "I420" ? Yuv{at(y * width + x), at(luma + chroma), at(luma + luma / 4 + chroma)}
                                          : Yuv{at(y * width + x), at(luma + chroma * 2), at(luma + chroma * 2 + 1)};
    return std::max(
        {std::abs(actual[0] - wanted[0]), std::abs(actual[1] - wanted[1]), std::abs(actual[2] - wanted[2])});
}

/// The sink on this thread's event loop as the camera daemon runs it, sent 30 frames a second while watched.
class PipeWireCameraSinkTest : public ::testing::Test {
protected:
    void start(const std::string& remote) {
        sink = std::make_unique<PipeWireCameraSink>(runLoop, log, remote);
        sink->setWatchedChanged([this] { watchedChanges.push_back(sink->isWatched()); });
        notifier = std::make_unique<QSocketNotifier>(sink->fd(), QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, [this] { sink->dispatch(); });
        QObject::connect(&frames, &QTimer::timeout, [this] {
            // Red for the first frames, green after: a new picture must be converted anew.
            if (sink->isWatched()) {
                sink->send(sent++ < 3 ? red : green);
            }
        });
        frames.start(1000 / FrameSink::framesPerSecond);
    }

    /// Runs a consumer of `frames` pictures to its end while the sink goes on; what it read.
    std::string capture(const std::string& caps, int count) {
        const testing::TemporaryDirectory directory;
        QStringList arguments;
        for (const auto& part : session.captureCommand("moritane-camera", caps, count, directory / "frames")) {
            arguments << QString::fromStdString(part);
        }
        QProcess consumer;
        consumer.start(arguments.takeFirst(), arguments);
        EXPECT_TRUE(runUntil([&] { return consumer.state() == QProcess::NotRunning; }));
        EXPECT_EQ(consumer.exitCode(), 0) << consumer.readAllStandardError().toStdString();
        return testing::readFile(directory / "frames");
    }

    PipeWireSession session;
    QtRunLoop runLoop;
    CapturingLog log;
    std::unique_ptr<PipeWireCameraSink> sink;
    std::unique_ptr<QSocketNotifier> notifier;
    QTimer frames;
    std::vector<bool> watchedChanges;
    int sent = 0;
    const Frame red = Frame::filled(FrameSink::frameWidth, FrameSink::frameHeight, {0, 0, 255, 255});
    const Frame green = Frame::filled(FrameSink::frameWidth, FrameSink::frameHeight, {0, 255, 0, 255});
};

TEST_F(PipeWireCameraSinkTest, PublishesACameraWhoseConsumersGetTheFramesSentInTheFormatTheyAskFor) {
    start(session.socket());
    // PipeWire hears of the node only as the sink's loop runs.
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }));
    const auto node = session.findNode("Moritane").value_or(nlohmann::json::object());
    const nlohmann::json properties{{"media.class", "Video/Source"},  {"media.role", "Camera"},
                                    {"media.type", "Video"},          {"media.category", "Capture"},
                                    {"node.name", "moritane-camera"}, {"object.id", *sink->nodeId()}};
    for (const auto& [key, value] : properties.items()) {
        EXPECT_EQ(node.value(key, nlohmann::json()), value) << key;
    }

    const std::vector<std::tuple<std::string, int, int>> cases{
        {"YUY2", 1280, 720}, {"I420", 640, 480}, {"NV12", 1280, 720}};
    for (const auto& [format, width, height] : cases) {
        SCOPED_TRACE(format + " " + std::to_string(width));
        log.clear();
        watchedChanges.clear();
        sent = 0;
        constexpr int kFrames = 8;
        const auto bytes =
            capture(fmt::format("video/x-raw,format={},width={},height={}", format, width, height), kFrames);
        const auto size = static_cast<std::size_t>(width * height) * (format == "YUY2" ? 4 : 3) / 2;
        ASSERT_EQ(bytes.size(), size * kFrames);
        const std::string_view first(bytes.data(), size);
        const std::string_view last(bytes.data() + size * (kFrames - 1), size);
        const std::size_t sd = width == 640 ? 1 : 0;
        EXPECT_LE(distance(first, format, width, width / 2, height / 2, kRed.at(sd)), 3);
        EXPECT_LE(distance(last, format, width, width - 2, height / 2, kGreen.at(sd)), 3);
        // 16:9 in 4:3: black bars above and below.
        EXPECT_LE(distance(first, format, width, width / 2, 10, sd == 1 ? kBlack : kRed[0]), 3);
        ASSERT_TRUE(runUntil([&] { return !sink->isWatched(); }));
        EXPECT_EQ(watchedChanges, (std::vector<bool>{true, false}));
        EXPECT_EQ(log.lines(),
                  (std::vector<std::string>{
                      fmt::format("PipeWireCameraSink: a consumer started streaming {} {}x{}", format, width, height),
                      "PipeWireCameraSink: no consumer streams any more"}));
    }
}

TEST_F(PipeWireCameraSinkTest, WaitsForPipeWireAndComesBackAfterLosingIt) {
    session.stopDaemons();
    start(session.socket());
    session.startDaemons();
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }, PipeWireCameraSink::kRetryInterval + 5s));
    const auto first = *sink->nodeId();
    ASSERT_TRUE(session.findNode("Moritane", 10s));

    session.stopDaemons();
    ASSERT_TRUE(runUntil([&] { return !sink->nodeId(); }));
    session.startDaemons();
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }, PipeWireCameraSink::kRetryInterval + 5s));
    ASSERT_TRUE(session.findNode("Moritane", 10s));

    const auto published = "PipeWireCameraSink: connected to PipeWire; the camera \"Moritane\" is node ";
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "PipeWireCameraSink: cannot reach PipeWire (Host is down); trying again every 2 s",
                               published + std::to_string(first),
                               "PipeWireCameraSink: lost the connection to PipeWire; trying again every 2 s",
                               published + std::to_string(*sink->nodeId())}));
}

}  // namespace
}  // namespace moritane
