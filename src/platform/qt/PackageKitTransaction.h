#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <QVariantList>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

class QDBusMessage;

namespace moritane {

/// One package as PackageKit names it: "name;version;arch;data".
struct PackageKitPackage {
    unsigned info = 0;  // PackageKit's info number, such as 9 for an update that cannot be installed
    std::string name;
    std::string version;
    std::string data;

    /// Whether `data` names the repository an installed package came from: "auto:<origin>",
    /// "manual:<origin>" or "installed:<origin>" as the back-ends write it, or the origin alone;
    /// not "installed" with no origin, nor "local", which a package installed from a file has.
    [[nodiscard]] bool fromRepository() const;

    static constexpr unsigned blocked = 9;
};

/// How a transaction ended.
struct PackageKitAnswer {
    bool succeeded = false;
    /// PackageKit's or the bus's text when it failed; empty when nobody answered in time.
    std::string error;
    std::vector<PackageKitPackage> packages;
};

/// Runs one PackageKit transaction, such as a "Resolve", without blocking: makes the transaction,
/// calls `method` on it with `arguments`, gathers the packages it reports and hands the outcome to
/// `done` once, on the owner's thread, then deletes itself. Deleting the parent first cancels the
/// hand-over.
class PackageKitTransaction final : public QObject {
    Q_OBJECT

public:
    using Done = std::function<void(const PackageKitAnswer&)>;

    static void run(QObject* parent, const QDBusConnection& bus, const QString& method, QVariantList arguments,
                    std::chrono::milliseconds limit, Done done);

private slots:
    void package(uint info, const QString& packageId, const QString& summary);
    void packages(const QDBusMessage& signal);
    void errorCode(uint code, const QString& details);
    void finished(uint exit, uint runtime);

private:
    PackageKitTransaction(QObject* parent, QDBusConnection bus, Done done);

    void call(const QDBusMessage& message, const std::function<void(const QDBusMessage&)>& answered);
    void start(const QDBusMessage& created, const QString& method, const QVariantList& arguments);
    void end();

    QDBusConnection m_bus;
    Done m_done;
    QTimer m_limit;
    PackageKitAnswer m_answer;
};

}  // namespace moritane
