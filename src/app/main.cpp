#include "app/Shared.h"

#include <QCoreApplication>
#include <QTimer>

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    moritane::Shared shared;
    // Start-up runs in the first turn of the event loop, as launching finishes on a running loop.
    QTimer::singleShot(0, [&shared] { shared.applicationDidFinishLaunching(); });
    return QCoreApplication::exec();
}
