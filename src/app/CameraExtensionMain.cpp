// moritane-camera: the virtual camera "Moritane". Follows the directory that the application
// shares with it and publishes the picture it asks for to PipeWire and, where the module is
// loaded, to a v4l2loopback device.

#include "camera/Constants.h"
#include "cameraextension/CameraExtension.h"
#include "platform/linux/InotifyDirectoryWatcher.h"
#include "platform/linux/LinuxPaths.h"
#include "platform/linux/PipeWireCameraSink.h"
#include "platform/linux/SingleInstance.h"
#include "platform/linux/StderrLog.h"
#include "platform/linux/V4l2CaptureDevices.h"
#include "platform/linux/V4l2LoopbackSink.h"
#include "platform/linux/V4l2VideoCapture.h"
#include "platform/linux/XdgAppGroupContainer.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/qt/QtRunLoop.h"
#include "support/SerialQueue.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <fmt/format.h>

#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <memory>

namespace {

using namespace moritane;
using namespace std::chrono_literals;

/// How often a missing v4l2loopback device is looked for, as the module may be loaded later.
constexpr auto loopbackSearchInterval = 5s;

/// The value of the environment variable `name`, or `fallback` when it is unset or empty.
std::filesystem::path environmentPath(const char* name, const char* fallback) {
    auto value = linuxpaths::environmentVariable(name);
    return value.empty() ? fallback : std::move(value);
}

/// Calls `ready` on the main thread whenever `fd` can be read.
std::unique_ptr<QSocketNotifier> whenReadable(int fd, std::function<void()> ready) {
    auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, std::move(ready));
    return notifier;
}

}  // namespace

int main(int argc, char* argv[]) {
    StderrLog log(STDERR_FILENO, "moritane-camera");
    if (argc > 1) {
        std::fputs(
            "usage: moritane-camera\n"
            "Publishes the virtual camera \"Moritane\"; it takes no arguments and follows what the Moritane "
            "application writes.\n",
            stderr);
        return 2;
    }
    // Two would publish two cameras of one name and fight over the loopback device.
    // Where device nodes and their kernel descriptions are read: the system's, unless a test
    // gives a tree of its own.
    const auto deviceDirectory = environmentPath("MORITANE_DEVICE_DIRECTORY", "/dev");
    const auto video4linuxDirectory = environmentPath("MORITANE_VIDEO4LINUX_DIRECTORY", "/sys/class/video4linux");
    const SingleInstance instance(linuxpaths::instanceDirectory(), "moritane-camera");
    if (instance.anotherIsRunning()) {
        log.write("moritane-camera: another moritane-camera runs for this user; ending");
        return 1;
    }
    // Blocked before any thread starts, so that every thread leaves them to the signal file.
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    const int signalFile = ::signalfd(-1, &endings, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signalFile < 0) {
        log.write("moritane-camera: cannot take SIGTERM and SIGINT; ending");
        return 1;
    }

    const QCoreApplication application(argc, argv);
    QtRunLoop loop;
    log.write(fmt::format("moritane-camera: started, version {}", MORITANE_VERSION));
    const auto ending = whenReadable(signalFile, [&log, signalFile] {
        signalfd_siginfo info{};
        if (::read(signalFile, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            log.write(fmt::format("moritane-camera: ending on {}", info.ssi_signo == SIGINT ? "SIGINT" : "SIGTERM"));
            QCoreApplication::quit();
        }
    });

    const XdgAppGroupContainer container(XdgAppGroupContainer::Environment::current(), log);
    std::vector<std::filesystem::path> candidates;
    if (auto path = container.containerPath(Constants::appGroupIdentifier)) {
        candidates.push_back(std::move(*path));
    }
    candidates.push_back(container.fixedSharedDirectory());

    InotifyDirectoryWatcher watcher;
    const auto watching = whenReadable(watcher.fd(), [&watcher] { watcher.dispatch(); });

    PipeWireCameraSink pipewire(loop, log);
    const auto pipewireEvents = whenReadable(pipewire.fd(), [&pipewire] { pipewire.dispatch(); });
    KernelLoopbackDevices loopbackDevices(deviceDirectory, video4linuxDirectory);
    V4l2LoopbackSink loopback(loopbackDevices, log);
    loopback.findDevice();
    const auto loopbackSearch =
        loop.scheduleTimer(loopbackSearchInterval, true, TimerModes::common, [&loopback] { loopback.findDevice(); });

    const QtImageDecoder decoder;
    const V4l2CaptureDevices devices(deviceDirectory, video4linuxDirectory);
    V4l2VideoCapture capture(devices);
    const auto extension =
        CameraExtension::create({std::move(candidates),
                                 watcher,
                                 decoder,
                                 devices,
                                 capture,
                                 {&pipewire, &loopback},
                                 loop,
                                 log,
                                 [](std::string label) { return std::make_unique<SerialQueue>(std::move(label)); }});
    extension->start();
    // Whoever started it, the user's service manager or the application, waits for this.
    sd_notify(0, "READY=1");
    const int status = QCoreApplication::exec();
    extension->stop();
    loopbackSearch->invalidate();
    return status;
}
