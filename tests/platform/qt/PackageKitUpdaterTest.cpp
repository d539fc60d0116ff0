#include "platform/qt/PackageKitUpdater.h"

#include "platform/qt/PackageKitTransaction.h"
#include "platform/sim/CapturingLog.h"
#include "testsupport/Process.h"
#include "testsupport/QtWait.h"

#include <QApplication>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QMessageBox>

#include <gtest/gtest.h>

#include <unistd.h>

namespace moritane {
namespace {

using namespace std::chrono_literals;

using testing::runUntil;

/// A bus of the test's own, standing for the system bus, which activates no PackageKit. With
/// PackageKit on its dummy back-end.
struct SystemBus : testing::PrivateBus {
    explicit SystemBus(bool withPackageKit) {
        EXPECT_TRUE(started);
        if (withPackageKit) {
            packageKit.emplace(std::vector<std::string>{"/usr/libexec/packagekitd", "--backend=dummy",
                                                        "--keep-environment", "--disable-timer"},
                               std::vector<std::string>{"DBUS_SYSTEM_BUS_ADDRESS=" + address}, STDOUT_FILENO);
            EXPECT_TRUE(runUntil([&] { return bus.interface()->isServiceRegistered("org.freedesktop.PackageKit"); }))
                << "packagekitd did not come up: it needs root for /var/lib/PackageKit";
        }
    }

    QDBusConnection bus{
        QDBusConnection::connectToBus(QString::fromStdString(address), QString::fromStdString(address))};
    std::optional<testing::ChildProcess> packageKit;
    const Localization localization{
        Localization::load(std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n", {"en"}).value()};
    CapturingLog log;
};

/// The text and the number of buttons of the window a check shows, which is closed again.
std::pair<QString, qsizetype> check(PackageKitUpdater& updater) {
    updater.checkForUpdates();
    std::pair<QString, qsizetype> shown;
    runUntil([&] {
        for (auto* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<QMessageBox*>(widget); window != nullptr && window->isVisible()) {
                shown = {window->text(), window->buttons().size()};
                window->close();
            }
        }
        return !shown.first.isEmpty();
    });
    return shown;
}

TEST(PackageKitPackageTest, OnlyAnOriginNamedByTheBackEndIsARepository) {
    const auto fromRepository = [](const char* data) {
        return PackageKitPackage{1, "moritane", "1", data}.fromRepository();
    };
    // apt writes "auto:" or "manual:" before the origin, and "local" for a package installed from a file.
    EXPECT_TRUE(fromRepository("auto:debian-stable-main") && fromRepository("installed:fedora") &&
                fromRepository("fedora"));
    EXPECT_FALSE(fromRepository("manual:local") || fromRepository("installed") || fromRepository(""));
}

TEST(PackageKitUpdaterTest, CanCheckOnlyForAPackageInstalledFromARepository) {
    SystemBus system(true);
    // The dummy back-end has powertop from "fedora", kernel with no origin, and no gtk2 installed.
    for (const auto& [name, expected] : {std::pair{"powertop", true}, {"kernel", false}, {"gtk2", false}}) {
        system.log.clear();
        PackageKitUpdater updater(system.localization, system.log, name, system.bus);
        ASSERT_TRUE(runUntil([&] { return !system.log.lines().empty(); })) << name;
        EXPECT_EQ(system.log.lines().size(), 1U) << name;
        EXPECT_EQ(system.log.lines()[0].starts_with("Updater: can check for updates: "), expected) << name;
        EXPECT_EQ(updater.canCheckForUpdates().value(), expected) << name;
    }
}

TEST(PackageKitUpdaterTest, CheckTellsOfAnUpdateAndOffersTheSoftwareCentreOrSaysUpToDate) {
    SystemBus system(true);
    // The dummy back-end offers an update of powertop, and none of glib2.
    for (const auto& [name, text, buttons] :
         {std::tuple{"powertop", "Moritane 1.8-1.fc8 is available.", 2}, {"glib2", "Moritane is up to date.", 1}}) {
        PackageKitUpdater updater(system.localization, system.log, name, system.bus);
        EXPECT_EQ(check(updater), std::pair(QString(text), qsizetype{buttons}));  // the software centre's, and OK
    }
}

TEST(PackageKitUpdaterTest, WithoutPackageKitItCannotCheckAtOnceAndACheckFails) {
    SystemBus system(false);
    const auto started = std::chrono::steady_clock::now();
    PackageKitUpdater updater(system.localization, system.log, "moritane", system.bus);
    ASSERT_TRUE(runUntil([&] { return !system.log.lines().empty(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 2s);
    EXPECT_EQ(system.log.lines(),
              std::vector<std::string>{"Updater: cannot check for updates: The name "
                                       "org.freedesktop.PackageKit was not provided by any .service files"});
    EXPECT_FALSE(updater.canCheckForUpdates().value());
    EXPECT_TRUE(check(updater).first.startsWith("Could not check for updates. The name"));
}

}  // namespace
}  // namespace moritane
