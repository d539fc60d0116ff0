#include "app/Shared.h"
#include "platform/linux/LinuxPaths.h"
#include "platform/linux/SingleInstance.h"
#include "platform/linux/StderrLog.h"

#include <QApplication>
#include <QTimer>

#include <chrono>

int main(int argc, char* argv[]) {
    using namespace std::chrono_literals;
    // Asked before any window system is touched, so that a later start needs no display.
    moritane::SingleInstance instance(moritane::linuxpaths::instanceDirectory());
    if (instance.anotherIsRunning()) {
        moritane::StderrLog log;
        if (const auto error = instance.send(moritane::Shared::openSettingsRequest, 2s)) {
            log.write("SingleInstance: moritane runs already but did not take the request: " + error->description);
            return 1;
        }
        log.write("SingleInstance: moritane runs already; asked it to open its settings");
        return 0;
    }
    const QApplication application(argc, argv);
    moritane::Shared shared;
    // Start-up runs in the first turn of the event loop, as launching finishes on a running loop.
    QTimer::singleShot(0, [&shared, &instance] {
        shared.applicationDidFinishLaunching();
        shared.listenForLaterStarts(instance);
    });
    return QApplication::exec();
}
