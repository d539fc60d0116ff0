// The least a Qt Widgets program with a tray icon costs: the baseline of the idle measurement.
#include <QApplication>
#include <QIcon>
#include <QSystemTrayIcon>

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QSystemTrayIcon icon(QIcon(QStringLiteral(MORITANE_SOURCE_DIR "/resources/icons/video.slash.fill.svg")));
    icon.show();
    return QApplication::exec();
}
