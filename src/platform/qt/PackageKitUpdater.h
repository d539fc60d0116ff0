#pragma once

#include "camera/Updater.h"
#include "support/Localization.h"
#include "support/Log.h"

#include <QDBusConnection>
#include <QObject>

#include <memory>
#include <string>

namespace moritane {

struct PackageKitAnswer;

/// The updater on PackageKit, the system's package service. It can check when PackageKit resolves
/// `packageName`, among installed packages, to one installed from a repository (see
/// `PackageKitPackage::fromRepository`); a package installed from a .deb file, one PackageKit
/// cannot place, no such package, or no answer within the limit leave it unable. A check refreshes the package lists
/// first where PackageKit allows that without asking for a password, looks for an update of the package, and tells the
/// user in a small window that does not block the application. Every call to the service is asynchronous. Main thread,
/// after the application object.
class PackageKitUpdater final : public Updater {
public:
    PackageKitUpdater(const Localization& localization, Log& log, std::string packageName,
                      QDBusConnection bus = QDBusConnection::systemBus());
    PackageKitUpdater(const PackageKitUpdater&) = delete;
    PackageKitUpdater& operator=(const PackageKitUpdater&) = delete;
    PackageKitUpdater(PackageKitUpdater&&) = delete;
    PackageKitUpdater& operator=(PackageKitUpdater&&) = delete;
    ~PackageKitUpdater() override;

    [[nodiscard]] Published<bool>& canCheckForUpdates() override { return m_canCheckForUpdates; }
    void checkForUpdates() override;

private:
    void resolved(const PackageKitAnswer& answer);
    void getUpdates();
    void reportUpdates(const PackageKitAnswer& answer);
    void reportFailure(const PackageKitAnswer& answer);

    const Localization& m_localization;
    Log& m_log;
    std::string m_packageName;
    QDBusConnection m_bus;
    // Parent of the transactions under way, so that none calls back into a gone updater.
    std::unique_ptr<QObject> m_context = std::make_unique<QObject>();
    Published<bool> m_canCheckForUpdates{false};
    bool m_checking = false;
};

}  // namespace moritane
