#include "platform/linux/PipeWireCameraSink.h"

#include "platform/qt/QtRunLoop.h"
#include "platform/sim/CapturingLog.h"
#include "testsupport/PipeWireSession.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QSocketNotifier>
#include <QTimer>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using testing::PipeWireSession;

constexpr std::array<std::uint8_t, 4> kRed{0, 0, 255, 255};
constexpr std::array<std::uint8_t, 4> kGreen{0, 255, 0, 255};

struct Yuv {
    int y;
    int u;
    int v;
};

/// Limited-range Y'CbCr of an opaque colour by the textbook formula, as a consumer decodes it.
Yuv expected(std::array<std::uint8_t, 4> bgra, bool bt709) {
    const double kr = bt709 ? 0.2126 : 0.299;
    const double kb = bt709 ? 0.0722 : 0.114;
    const double r = bgra[2] / 255.0;
    const double g = bgra[1] / 255.0;
    const double b = bgra[0] / 255.0;
    const double luma = kr * r + (1 - kr - kb) * g + kb * b;
    return {static_cast<int>(std::lround(16 + 219 * luma)),
            static_cast<int>(std::lround(128 + 224 * (b - luma) / (2 * (1 - kb)))),
            static_cast<int>(std::lround(128 + 224 * (r - luma) / (2 * (1 - kr))))};
}

std::size_t frameSize(const std::string& format, int width, int height) {
    const auto luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return format == "YUY2" ? luma * 2 : luma * 3 / 2;
}

/// One pixel of frame `index` among the captured pictures of `format` ("YUY2", "I420", "NV12").
Yuv sample(const std::string& bytes, const std::string& format, int width, int height, std::size_t index, int x,
           int y) {
    const auto luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const auto at = [&](std::size_t offset) {
        return static_cast<int>(static_cast<std::uint8_t>(bytes.at(index * frameSize(format, width, height) + offset)));
    };
    const auto row = static_cast<std::size_t>(y);
    const auto column = static_cast<std::size_t>(x);
    const auto half = static_cast<std::size_t>(width / 2);
    if (format == "YUY2") {
        const auto pair = row * half * 4 + column / 2 * 4;
        return {at(pair + column % 2 * 2), at(pair + 1), at(pair + 3)};
    }
    const auto chroma = row / 2 * half + column / 2;
    if (format == "I420") {
        return {at(row * static_cast<std::size_t>(width) + column), at(luma + chroma), at(luma + luma / 4 + chroma)};
    }
    return {at(row * static_cast<std::size_t>(width) + column), at(luma + chroma * 2), at(luma + chroma * 2 + 1)};
}

void expectNear(Yuv actual, Yuv wanted, const std::string& what) {
    EXPECT_NEAR(actual.y, wanted.y, 3) << what;
    EXPECT_NEAR(actual.u, wanted.u, 3) << what;
    EXPECT_NEAR(actual.v, wanted.v, 3) << what;
}

/// The sink on this thread's event loop as the camera daemon runs it: PipeWire's descriptor watched,
/// a frame of `colour` sent 30 times a second while it is watched.
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

    /// Runs the event loop until `done` holds; false when `limit` passes first.
    static bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = 10s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        QEventLoop loop;
        QTimer check;
        QObject::connect(&check, &QTimer::timeout, [&] {
            if (done() || std::chrono::steady_clock::now() > deadline) {
                loop.quit();
            }
        });
        check.start(5);
        loop.exec();
        return done();
    }

    /// Runs a consumer of `frames` pictures to its end while the sink goes on; what it read.
    std::string capture(const std::string& caps, int count) {
        const testing::TemporaryDirectory directory;
        const auto command = PipeWireSession::captureCommand("moritane-camera", caps, count, directory / "frames");
        QProcessEnvironment environment;
        for (const auto& variable : session.environment()) {
            const auto equals = variable.find('=');
            environment.insert(QString::fromStdString(variable.substr(0, equals)),
                               QString::fromStdString(variable.substr(equals + 1)));
        }
        QProcess consumer;
        consumer.setProcessEnvironment(environment);
        QStringList arguments;
        std::transform(command.begin() + 1, command.end(), std::back_inserter(arguments), QString::fromStdString);
        consumer.start(QString::fromStdString(command.front()), arguments);
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
    const Frame red = Frame::filled(FrameSink::frameWidth, FrameSink::frameHeight, kRed);
    const Frame green = Frame::filled(FrameSink::frameWidth, FrameSink::frameHeight, kGreen);
};

TEST_F(PipeWireCameraSinkTest, PublishesACameraWhoseConsumersGetTheFramesSentInTheFormatTheyAskFor) {
    start(session.socket());
    // PipeWire hears of the node only as the sink's loop runs.
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }));
    const auto node = session.findNode("Moritane");
    ASSERT_TRUE(node);
    EXPECT_EQ(node->value("media.class", ""), "Video/Source");
    EXPECT_EQ(node->value("media.role", ""), "Camera");
    EXPECT_EQ(node->value("media.type", ""), "Video");
    EXPECT_EQ(node->value("media.category", ""), "Capture");
    EXPECT_EQ(node->value("node.name", ""), "moritane-camera");
    EXPECT_EQ(node->value("object.id", 0U), *sink->nodeId());
    EXPECT_FALSE(sink->isWatched());

    struct Case {
        std::string format;
        int width;
        int height;
    };
    for (const auto& [format, width, height] :
         {Case{"YUY2", 1280, 720}, Case{"I420", 640, 480}, Case{"NV12", 1280, 720}}) {
        SCOPED_TRACE(format + " " + std::to_string(width));
        log.clear();
        watchedChanges.clear();
        sent = 0;
        constexpr int kFrames = 8;
        const auto bytes =
            capture(fmt::format("video/x-raw,format={},width={},height={}", format, width, height), kFrames);
        ASSERT_EQ(bytes.size(), frameSize(format, width, height) * kFrames);
        const bool hd = width == 1280;
        expectNear(sample(bytes, format, width, height, 0, width / 2, height / 2), expected(kRed, hd), "first");
        expectNear(sample(bytes, format, width, height, kFrames - 1, width - 2, height / 2 + 1), expected(kGreen, hd),
                   "last");
        if (!hd) {
            // 16:9 in 4:3: black bars above and below.
            expectNear(sample(bytes, format, width, height, 0, width / 2, 10), {16, 128, 128}, "bar");
        }
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
    EXPECT_FALSE(sink->nodeId());
    session.startDaemons();
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }, PipeWireCameraSink::kRetryInterval + 5s));
    const auto first = *sink->nodeId();
    ASSERT_TRUE(session.waitForNode("Moritane"));

    session.stopDaemons();
    ASSERT_TRUE(runUntil([&] { return !sink->nodeId(); }));
    session.startDaemons();
    ASSERT_TRUE(runUntil([&] { return sink->nodeId().has_value(); }, PipeWireCameraSink::kRetryInterval + 5s));
    ASSERT_TRUE(session.waitForNode("Moritane"));

    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4U) << ::testing::PrintToString(lines);
    EXPECT_TRUE(lines[0].starts_with("PipeWireCameraSink: cannot reach PipeWire (")) << lines[0];
    EXPECT_TRUE(lines[0].ends_with("); trying again every 2 s")) << lines[0];
    EXPECT_EQ(lines[1],
              fmt::format("PipeWireCameraSink: connected to PipeWire; the camera \"Moritane\" is node {}", first));
    EXPECT_EQ(lines[2], "PipeWireCameraSink: lost the connection to PipeWire; trying again every 2 s");
    EXPECT_EQ(lines[3], fmt::format("PipeWireCameraSink: connected to PipeWire; the camera \"Moritane\" is node {}",
                                    *sink->nodeId()));
}

}  // namespace
}  // namespace moritane

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
