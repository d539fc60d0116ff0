#include "platform/qt/PackageKitUpdater.h"

#include "platform/qt/PackageKitTransaction.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

#include <algorithm>

namespace moritane {

namespace {

using namespace std::chrono_literals;

// A refresh of the package lists over a slow network takes minutes.
constexpr auto transactionLimit = 3min;
// Filters are bits by their number in PackageKit: "installed" is 2.
constexpr quint64 installedFilter = 1U << 2U;
constexpr quint64 noFilter = 0;
constexpr uint authorizedWithoutAsking = 2;
const auto softwareCentrePage = QStringLiteral("appstream://org.quelbrand.moritane");

void showWindow(const Localization& localization, QMessageBox::Icon icon, const std::string& text,
                bool offerSoftwareCentre) {
    auto* box = new QMessageBox(icon, QString::fromStdString(localization.string("updates.title")),
                                QString::fromStdString(text), QMessageBox::Ok);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal);
    if (offerSoftwareCentre) {
        auto* open = box->addButton(QString::fromStdString(localization.string("updates.openSoftwareCentre")),
                                    QMessageBox::AcceptRole);
        QObject::connect(open, &QPushButton::clicked, [] { QDesktopServices::openUrl(QUrl(softwareCentrePage)); });
        box->setDefaultButton(open);
        box->setEscapeButton(QMessageBox::Ok);  // else the window's close button does nothing
    }
    box->show();
    box->raise();
    box->activateWindow();
}

}  // namespace

PackageKitUpdater::PackageKitUpdater(const Localization& localization, Log& log, std::string packageName,
                                     QDBusConnection bus)
    : m_localization(localization), m_log(log), m_packageName(std::move(packageName)), m_bus(std::move(bus)) {
    PackageKitTransaction::run(
        m_context.get(), m_bus, QStringLiteral("Resolve"),
        {QVariant::fromValue(installedFilter), QStringList{QString::fromStdString(m_packageName)}}, transactionLimit,
        [this](const PackageKitAnswer& answer) { resolved(answer); });
}

PackageKitUpdater::~PackageKitUpdater() = default;

void PackageKitUpdater::resolved(const PackageKitAnswer& answer) {
    const auto prefix = "Updater: cannot check for updates: ";
    if (!answer.succeeded) {
        m_log.write(prefix + (answer.error.empty() ? "PackageKit did not answer" : answer.error));
        return;
    }
    // Resolving a name reports the installed packages of that name only.
    const auto package = answer.packages.begin();
    if (package == answer.packages.end()) {
        m_log.write(prefix + m_packageName + " is not installed");
    } else if (!package->fromRepository()) {
        m_log.write(prefix + m_packageName + " is not installed from a repository (" + package->data + ")");
    } else {
        m_log.write("Updater: can check for updates: " + m_packageName + " " + package->version + " from " +
                    package->data);
        m_canCheckForUpdates = true;
    }
}

void PackageKitUpdater::checkForUpdates() {
    if (std::exchange(m_checking, true)) {
        return;
    }
    // Fresh package lists where that asks nobody for a password; the lists on hand otherwise.
    auto question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.PackageKit"), QStringLiteral("/org/freedesktop/PackageKit"),
        QStringLiteral("org.freedesktop.PackageKit"), QStringLiteral("CanAuthorize"));
    question << QStringLiteral("org.freedesktop.packagekit.system-sources-refresh");
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), m_context.get());
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, m_context.get(), [this](QDBusPendingCallWatcher* call) {
            call->deleteLater();
            const auto reply = call->reply();
            if (reply.type() != QDBusMessage::ReplyMessage ||
                reply.arguments().value(0).toUInt() != authorizedWithoutAsking) {
                getUpdates();
                return;
            }
            PackageKitTransaction::run(
                m_context.get(), m_bus, QStringLiteral("RefreshCache"), {false}, transactionLimit,
                [this](const PackageKitAnswer& answer) { answer.succeeded ? getUpdates() : reportFailure(answer); });
        });
}

void PackageKitUpdater::getUpdates() {
    PackageKitTransaction::run(
        m_context.get(), m_bus, QStringLiteral("GetUpdates"), {QVariant::fromValue(noFilter)}, transactionLimit,
        [this](const PackageKitAnswer& answer) { answer.succeeded ? reportUpdates(answer) : reportFailure(answer); });
}

void PackageKitUpdater::reportUpdates(const PackageKitAnswer& answer) {
    m_checking = false;
    const auto update = std::find_if(answer.packages.begin(), answer.packages.end(), [&](const auto& candidate) {
        return candidate.name == m_packageName && candidate.info != PackageKitPackage::blocked;
    });
    if (update == answer.packages.end()) {
        m_log.write("Updater: " + m_packageName + " is up to date");
        showWindow(m_localization, QMessageBox::Information, m_localization.string("updates.upToDate"), false);
        return;
    }
    m_log.write("Updater: " + m_packageName + " " + update->version + " is available");
    showWindow(m_localization, QMessageBox::Information,
               Localization::format(m_localization.string("updates.available"), {update->version}), true);
}

void PackageKitUpdater::reportFailure(const PackageKitAnswer& answer) {
    m_checking = false;
    m_log.write("Updater: the check for updates failed: " +
                (answer.error.empty() ? "PackageKit did not answer" : answer.error));
    const auto reason = answer.error.empty() ? m_localization.string("updates.noAnswer") : answer.error;
    showWindow(m_localization, QMessageBox::Warning,
               Localization::format(m_localization.string("updates.failed"), {reason}), false);
}

}  // namespace moritane
