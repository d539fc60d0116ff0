#include "platform/qt/PackageKitUpdater.h"

#include "UrlRecorder.h"
#include "platform/qt/PackageKitTransaction.h"
#include "platform/sim/CapturingLog.h"
#include "testsupport/Process.h"
#include "testsupport/TemporaryDirectory.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDBusConnectionInterface>
#include <QDesktopServices>
#include <QEventLoop>
#include <QMessageBox>
#include <QTimer>

#include <gtest/gtest.h>

#include <unistd.h>

namespace moritane {
namespace {

using namespace std::chrono_literals;

/// Runs the event loop until `done` holds or a generous limit passes; false on the limit.
bool runUntil(const std::function<bool()>& done) {
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, [&] {
        if (done()) {
            loop.quit();
        }
    });
    check.start(5);
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] { loop.exit(1); });
    limit.start(20000);
    return loop.exec() == 0;
}

/// A system bus of the test's own that lets everybody do everything, optionally with PackageKit
/// on its made-up packages (the dummy back-end).
class PrivateSystemBus {
public:
    explicit PrivateSystemBus(bool withPackageKit)
        : m_daemon(startDaemon(m_directory)), m_bus(QDBusConnection::connectToBus(address(), connectionName)) {
        if (withPackageKit) {
            m_packageKit.emplace(std::vector<std::string>{"/usr/libexec/packagekitd", "--backend=dummy",
                                                          "--keep-environment", "--disable-timer"},
                                 std::vector<std::string>{"DBUS_SYSTEM_BUS_ADDRESS=" + address().toStdString()},
                                 STDOUT_FILENO);
            const bool appeared = runUntil(
                [&] { return m_bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.PackageKit")); });
            EXPECT_TRUE(appeared) << "packagekitd did not come up (it needs root for /var/lib/PackageKit)";
        }
    }
    PrivateSystemBus(const PrivateSystemBus&) = delete;
    PrivateSystemBus& operator=(const PrivateSystemBus&) = delete;
    PrivateSystemBus(PrivateSystemBus&&) = delete;
    PrivateSystemBus& operator=(PrivateSystemBus&&) = delete;
    ~PrivateSystemBus() {
        m_packageKit.reset();
        QDBusConnection::disconnectFromBus(connectionName);
    }

    [[nodiscard]] const QDBusConnection& bus() const { return m_bus; }

private:
    static constexpr auto connectionName = "private-system-bus";

    static std::unique_ptr<testing::ChildProcess> startDaemon(const testing::TemporaryDirectory& directory) {
        testing::writeFile(directory / "bus.conf",
                           "<busconfig><type>system</type><listen>unix:dir=" + directory.path().string() +
                               "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                               "<allow user=\"*\"/><allow own=\"*\"/>"
                               "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                               "</policy></busconfig>");
        auto daemon = std::make_unique<testing::ChildProcess>(
            std::vector<std::string>{"dbus-daemon", "--nofork", "--print-address=1",
                                     "--config-file=" + (directory / "bus.conf").string()},
            std::vector<std::string>{"PATH=/usr/bin:/bin"}, STDOUT_FILENO);
        EXPECT_TRUE(daemon->waitFor("\n"));
        return daemon;
    }

    [[nodiscard]] QString address() const { return QString::fromStdString(m_daemon->output()).trimmed(); }

    testing::TemporaryDirectory m_directory;
    std::unique_ptr<testing::ChildProcess> m_daemon;
    QDBusConnection m_bus;
    std::optional<testing::ChildProcess> m_packageKit;
};

Localization english() {
    return Localization::load(std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n", {"en"}).value();
}

std::vector<QMessageBox*> openWindows() {
    std::vector<QMessageBox*> windows;
    for (auto* widget : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box != nullptr && box->isVisible()) {
            windows.push_back(box);
        }
    }
    return windows;
}

/// The one window a check shows, its text, closed again.
QString checkOnce(PackageKitUpdater& updater, const std::function<void(QMessageBox&)>& inspect = {}) {
    updater.checkForUpdates();
    if (!runUntil([] { return !openWindows().empty(); })) {
        return "no window";
    }
    const auto windows = openWindows();
    EXPECT_EQ(windows.size(), 1U);
    auto text = windows[0]->text();
    if (inspect) {
        inspect(*windows[0]);
    }
    windows[0]->close();
    return text;
}

TEST(PackageKitPackageTest, OnlyAnOriginNamedByTheBackEndIsARepository) {
    const auto fromRepository = [](std::string data) {
        return PackageKitPackage{.info = 1, .name = "moritane", .version = "1.0", .data = std::move(data)}
            .fromRepository();
    };
    EXPECT_TRUE(fromRepository("auto:debian-stable-main"));
    EXPECT_TRUE(fromRepository("installed:fedora"));
    EXPECT_TRUE(fromRepository("fedora"));
    EXPECT_FALSE(fromRepository("manual:local"));  // apt, after `apt install ./moritane.deb`
    EXPECT_FALSE(fromRepository("installed"));
    EXPECT_FALSE(fromRepository(""));
}

TEST(PackageKitUpdaterTest, CanCheckOnlyForAPackageInstalledFromARepository) {
    const PrivateSystemBus system(true);
    const auto localization = english();
    // The dummy back-end has powertop from "fedora", kernel with no origin, and no gtk2 installed.
    for (const auto& [name, expected] : {std::pair{"powertop", true}, {"kernel", false}, {"gtk2", false}}) {
        CapturingLog log;
        PackageKitUpdater updater(localization, log, name, system.bus());
        ASSERT_TRUE(runUntil([&] { return !log.lines().empty(); })) << name;
        EXPECT_EQ(log.lines().size(), 1U) << name;
        EXPECT_EQ(log.lines()[0].starts_with("Updater: can check for updates: "), expected) << log.lines()[0];
        EXPECT_EQ(updater.canCheckForUpdates().value(), expected) << name;
    }
}

TEST(PackageKitUpdaterTest, CheckTellsOfAnUpdateAndOffersTheSoftwareCentreOrSaysUpToDate) {
    const PrivateSystemBus system(true);
    const auto localization = english();
    testing::UrlRecorder softwareCentre;
    QDesktopServices::setUrlHandler(QStringLiteral("appstream"), &softwareCentre, "open");
    CapturingLog log;
    PackageKitUpdater withUpdate(localization, log, "powertop", system.bus());
    EXPECT_EQ(checkOnce(withUpdate,
                        [&](QMessageBox& window) {
                            const auto buttons = window.buttons();
                            const auto open = std::find_if(buttons.begin(), buttons.end(), [](auto* button) {
                                return button->text() == QStringLiteral("Open Software Centre");
                            });
                            ASSERT_NE(open, buttons.end());
                            (*open)->click();
                        }),
              QStringLiteral("Moritane 1.8-1.fc8 is available."));
    ASSERT_EQ(softwareCentre.opened.size(), 1U);
    EXPECT_EQ(softwareCentre.opened[0], QUrl(QStringLiteral("appstream://org.quelbrand.moritane")));

    PackageKitUpdater upToDate(localization, log, "glib2", system.bus());
    EXPECT_EQ(checkOnce(upToDate), QStringLiteral("Moritane is up to date."));
    QDesktopServices::unsetUrlHandler(QStringLiteral("appstream"));
}

TEST(PackageKitUpdaterTest, WithoutPackageKitItCannotCheckAtOnceAndACheckFails) {
    const PrivateSystemBus system(false);
    const auto localization = english();
    CapturingLog log;
    const auto started = std::chrono::steady_clock::now();
    PackageKitUpdater updater(localization, log, "moritane", system.bus());
    ASSERT_TRUE(runUntil([&] { return !log.lines().empty(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 2s);
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"Updater: cannot check for updates: The name "
                                       "org.freedesktop.PackageKit was not provided by any .service files"});
    EXPECT_FALSE(updater.canCheckForUpdates().value());
    EXPECT_TRUE(checkOnce(updater).startsWith(QStringLiteral("Could not check for updates. The name")));
}

}  // namespace
}  // namespace moritane

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
