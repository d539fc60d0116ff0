#include "platform/qt/SystemdSessionService.h"

#include "platform/linux/DirectSessionService.h"
#include "platform/linux/LinuxPaths.h"
#include "support/Files.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QEventLoop>
#include <QTimer>

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <map>

namespace moritane {

namespace {

const QString kService = QStringLiteral("org.freedesktop.systemd1");
const QString kPath = QStringLiteral("/org/freedesktop/systemd1");
const QString kManager = QStringLiteral("org.freedesktop.systemd1.Manager");
const QString kUnit = QString::fromLatin1(SystemdSessionService::unitName.data(),
                                          static_cast<qsizetype>(SystemdSessionService::unitName.size()));
constexpr std::string_view kDomain = "SessionService";
constexpr std::size_t kMaxUnitBytes = std::size_t{64} * 1024;

Error sessionError(int code, std::string description) {
    return {std::string(kDomain), code, std::move(description)};
}

/// A connection of one call's own, closed at its end: nothing is shared with the calls of other
/// threads, and the manager forgets the subscription of a closed connection.
class Bus {
public:
    Bus(const QString& address, std::chrono::milliseconds limit)
        : m_name(QStringLiteral("moritane-systemd-%1").arg(counter++)),
          m_connection(address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_name)
                                         : QDBusConnection::connectToBus(address, m_name)),
          m_limit(limit) {}
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    ~Bus() { QDBusConnection::disconnectFromBus(m_name); }

    [[nodiscard]] QDBusConnection& connection() { return m_connection; }

    /// The reply, or an error message when the manager refused or did not answer in time.
    QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) {
        auto message = QDBusMessage::createMethodCall(kService, path, interface, method);
        message.setArguments(arguments);
        return m_connection.call(message, QDBus::Block, static_cast<int>(m_limit.count()));
    }
    QDBusMessage callManager(const QString& method, const QVariantList& arguments = {}) {
        return call(kPath, kManager, method, arguments);
    }

    /// What went wrong with `reply` while the manager was asked `what`.
    [[nodiscard]] Error error(const QDBusMessage& reply, std::string_view what) const {
        if (reply.errorName() == QDBusError::errorString(QDBusError::NoReply)) {
            return sessionError(
                ETIMEDOUT,
                fmt::format("the systemd user manager, asked {}, did not answer within {} ms", what, m_limit.count()));
        }
        return sessionError(EIO, fmt::format("could not ask the systemd user manager {}: {}", what,
                                             reply.errorMessage().toStdString()));
    }

private:
    static inline std::atomic<unsigned> counter{0};
    QString m_name;
    QDBusConnection m_connection;
    std::chrono::milliseconds m_limit;
};

bool failed(const QDBusMessage& reply) {
    return reply.type() != QDBusMessage::ReplyMessage;
}

/// The unit's file state, such as "enabled" or "masked"; empty when the manager knows no such unit.
Result<QString> unitFileState(Bus& bus) {
    const auto reply = bus.callManager(QStringLiteral("GetUnitFileState"), {kUnit});
    // systemd answers a unit file it cannot find with the errno ENOENT as a D-Bus error.
    if (reply.errorName() == QStringLiteral("org.freedesktop.DBus.Error.FileNotFound") ||
        reply.errorName() == QStringLiteral("org.freedesktop.systemd1.NoSuchUnit")) {
        return QString();
    }
    if (failed(reply)) {
        return bus.error(reply, "for the state of " + std::string(SystemdSessionService::unitName));
    }
    return reply.arguments().value(0).toString();
}

/// The unit's property `name` of `interface`; empty when the manager has not loaded the unit or
/// cannot tell.
std::string unitProperty(Bus& bus, const QString& interface, const QString& name) {
    const auto unit = bus.callManager(QStringLiteral("GetUnit"), {kUnit});
    if (failed(unit)) {
        return {};
    }
    const auto reply =
        bus.call(unit.arguments().value(0).value<QDBusObjectPath>().path(),
                 QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"), {interface, name});
    return failed(reply) ? std::string()
                         : reply.arguments().value(0).value<QDBusVariant>().variant().toString().toStdString();
}

/// The service's "Result", such as "exit-code" or "signal", for a start that failed.
std::string serviceResult(Bus& bus) {
    return unitProperty(bus, QStringLiteral("org.freedesktop.systemd1.Service"), QStringLiteral("Result"));
}

/// Gathers the manager's JobRemoved signals, which come as events of this thread, so that the
/// one of a job is found even when it came before the job's path was known.
class JobWatch final : public QObject {
    Q_OBJECT

public:
    /// The job's result, or none when it did not end within `limit`.
    std::optional<QString> wait(const QString& job, std::chrono::milliseconds limit) {
        m_job = job;
        if (!m_results.contains(job)) {
            QTimer::singleShot(limit, &m_loop, &QEventLoop::quit);
            m_loop.exec();
        }
        const auto found = m_results.find(job);
        return found == m_results.end() ? std::nullopt : std::optional(found->second);
    }

public slots:
    void removed(const QDBusMessage& signal) {
        const auto arguments = signal.arguments();
        const auto job = arguments.value(1).value<QDBusObjectPath>().path();
        m_results[job] = arguments.value(3).toString();
        if (job == m_job) {
            m_loop.quit();
        }
    }

private:
    QEventLoop m_loop;
    QString m_job;
    std::map<QString, QString> m_results;
};

}  // namespace

SystemdSessionService::SystemdSessionService(Paths paths, QString busAddress, std::chrono::milliseconds timeLimit)
    : m_paths(std::move(paths)), m_busAddress(std::move(busAddress)), m_timeLimit(timeLimit) {}

std::unique_ptr<SystemdSessionService> SystemdSessionService::forUser(std::filesystem::path unitTemplate) {
    const auto data = linuxpaths::baseDirectory("XDG_DATA_HOME", ".local/share");
    return std::make_unique<SystemdSessionService>(Paths{std::move(unitTemplate), data / "systemd" / "user"}, QString(),
                                                   defaultTimeLimit);
}

Result<bool> SystemdSessionService::isRegistered() const {
    Bus bus(m_busAddress, m_timeLimit);
    const auto state = unitFileState(bus);
    if (!state) {
        return state.error();
    }
    return state.value() == QStringLiteral("enabled") || state.value() == QStringLiteral("enabled-runtime");
}

Result<bool> SystemdSessionService::isRunning() const {
    Bus bus(m_busAddress, m_timeLimit);
    // A unit the manager has not loaded is not running; it does not answer GetUnit for it.
    const auto state =
        unitProperty(bus, QStringLiteral("org.freedesktop.systemd1.Unit"), QStringLiteral("ActiveState"));
    return state == "active" || state == "activating" || state == "reloading";
}

std::optional<Error> SystemdSessionService::registerWithSession() {
    Bus bus(m_busAddress, m_timeLimit);
    const auto state = unitFileState(bus);
    if (!state) {
        return state.error();
    }
    if (state.value().startsWith(QStringLiteral("masked"))) {
        return sessionError(EPERM, fmt::format("{0} is masked, which its user alone undoes: "
                                               "systemctl --user unmask {0}",
                                               unitName));
    }
    if (state.value().startsWith(QStringLiteral("enabled"))) {
        return std::nullopt;
    }
    if (state.value().isEmpty()) {
        if (auto error = writeUnit()) {
            return error;
        }
        if (const auto reply = bus.callManager(QStringLiteral("Reload")); failed(reply)) {
            return bus.error(reply, "to reload its units");
        }
    }
    const auto enabled = bus.callManager(QStringLiteral("EnableUnitFiles"), {QStringList{kUnit}, false, false});
    if (failed(enabled)) {
        return bus.error(enabled, "to enable " + std::string(unitName));
    }
    // A unit its user rewrote without an [Install] section cannot be enabled, and systemd says so only here.
    if (!enabled.arguments().value(0).toBool()) {
        return sessionError(ENOEXEC,
                            fmt::format("{} has no [Install] section, so it cannot start with the session", unitName));
    }
    // As systemctl does, so that the manager sees the new links.
    if (const auto reply = bus.callManager(QStringLiteral("Reload")); failed(reply)) {
        return bus.error(reply, "to reload its units");
    }
    return std::nullopt;
}

std::optional<Error> SystemdSessionService::writeUnit() const {
    const auto text = files::readFile(m_paths.unitTemplate, kMaxUnitBytes);
    if (!text) {
        return text.error();
    }
    std::error_code error;
    std::filesystem::create_directories(m_paths.userUnitDirectory, error);
    if (error) {
        return files::posixError(error.value(), "could not make the directory", m_paths.userUnitDirectory);
    }
    return files::writeFileAtomically(m_paths.userUnitDirectory / unitName, text.value());
}

std::optional<Error> SystemdSessionService::restart() {
    Bus bus(m_busAddress, m_timeLimit);
    const auto subscribed = bus.callManager(QStringLiteral("Subscribe"));
    if (failed(subscribed)) {
        return bus.error(subscribed, "to report its jobs");
    }
    JobWatch watch;
    // Bound to the manager's unique name, so that no lookup blocks and nobody else's signals count.
    bus.connection().connect(subscribed.service(), kPath, kManager, QStringLiteral("JobRemoved"), &watch,
                             SLOT(removed(QDBusMessage)));
    // "replace" stops a running daemon before the new one starts: never two at once.
    const auto restarted = bus.callManager(QStringLiteral("RestartUnit"), {kUnit, QStringLiteral("replace")});
    if (failed(restarted)) {
        return bus.error(restarted, "to restart " + std::string(unitName));
    }
    const auto job = restarted.arguments().value(0).value<QDBusObjectPath>().path();
    const auto result = watch.wait(job, m_timeLimit);
    if (!result) {
        return sessionError(ETIMEDOUT, fmt::format("systemd's job {} to restart {} did not end within {} ms",
                                                   job.toStdString(), unitName, m_timeLimit.count()));
    }
    if (*result == QStringLiteral("done")) {
        return std::nullopt;
    }
    const auto why = serviceResult(bus);
    return sessionError(EIO,
                        fmt::format("systemd's job to restart {0} ended \"{1}\"{2}; "
                                    "journalctl --user -u {0} shows its output",
                                    unitName, result->toStdString(),
                                    why.empty() ? std::string() : fmt::format(", the service's result \"{}\"", why)));
}

std::unique_ptr<SessionService> makeSessionService(Log& log, std::filesystem::path program,
                                                   std::filesystem::path unitTemplate) {
    const auto bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(kService).value()) {
        log.write("SystemExtensionService: moritane-camera runs as the systemd user service " +
                  std::string(SystemdSessionService::unitName));
        return SystemdSessionService::forUser(std::move(unitTemplate));
    }
    log.write(
        "SystemExtensionService: no systemd user manager on the session bus; moritane-camera is started directly");
    return DirectSessionService::forUser(std::move(program));
}

}  // namespace moritane

#include "SystemdSessionService.moc"
