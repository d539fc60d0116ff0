#include "app/Shared.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    moritane::Shared shared;
    // Start-up runs in the first turn of the event loop, as launching finishes on a running loop.
    QTimer::singleShot(0, [&shared] { shared.applicationDidFinishLaunching(); });
    return QApplication::exec();
}
