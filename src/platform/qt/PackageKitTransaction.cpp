#include "platform/qt/PackageKitTransaction.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <array>

namespace moritane {

namespace {

const QString service = QStringLiteral("org.freedesktop.PackageKit");
const QString transactionInterface = QStringLiteral("org.freedesktop.PackageKit.Transaction");
constexpr uint exitSuccess = 1;

PackageKitPackage parsePackage(uint info, const QString& packageId) {
    const auto fields = packageId.split(QLatin1Char(';'));
    const auto field = [&](qsizetype index) { return index < fields.size() ? fields[index].toStdString() : ""; };
    // The higher bits carry an update's severity.
    return {.info = info & 0xFFFFU, .name = field(0), .version = field(1), .data = field(3)};
}

}  // namespace

bool PackageKitPackage::fromRepository() const {
    const auto colon = data.find(':');
    const auto origin = colon == std::string::npos ? data : data.substr(colon + 1);
    constexpr std::array<std::string_view, 4> nowhere{"", "installed", "local", "invalid"};
    return std::find(nowhere.begin(), nowhere.end(), origin) == nowhere.end();
}

void PackageKitTransaction::run(QObject* parent, const QDBusConnection& bus, const QString& method,
                                QVariantList arguments, std::chrono::milliseconds limit, Done done) {
    auto* transaction = new PackageKitTransaction(parent, bus, std::move(done));
    transaction->m_limit.start(limit);
    transaction->call(QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/PackageKit"), service,
                                                     QStringLiteral("CreateTransaction")),
                      [transaction, method, arguments = std::move(arguments)](const QDBusMessage& created) {
                          transaction->start(created, method, arguments);
                      });
}

PackageKitTransaction::PackageKitTransaction(QObject* parent, QDBusConnection bus, Done done)
    : QObject(parent), m_bus(std::move(bus)), m_done(std::move(done)) {
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &PackageKitTransaction::end);
}

void PackageKitTransaction::call(const QDBusMessage& message,
                                 const std::function<void(const QDBusMessage&)>& answered) {
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, answered](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const auto reply = call->reply();
        if (reply.type() == QDBusMessage::ErrorMessage) {
            m_answer.error = reply.errorMessage().toStdString();
            end();
        } else {
            answered(reply);
        }
    });
}

void PackageKitTransaction::start(const QDBusMessage& created, const QString& method, const QVariantList& arguments) {
    const auto path = created.arguments().value(0).value<QDBusObjectPath>().path();
    // The daemon's unique name, so that nobody else's signals count and no name lookup blocks.
    const auto sender = created.service();
    m_bus.connect(sender, path, transactionInterface, QStringLiteral("Package"), this,
                  SLOT(package(uint, QString, QString)));
    m_bus.connect(sender, path, transactionInterface, QStringLiteral("Packages"), this, SLOT(packages(QDBusMessage)));
    m_bus.connect(sender, path, transactionInterface, QStringLiteral("ErrorCode"), this,
                  SLOT(errorCode(uint, QString)));
    m_bus.connect(sender, path, transactionInterface, QStringLiteral("Finished"), this, SLOT(finished(uint, uint)));
    auto message = QDBusMessage::createMethodCall(sender, path, transactionInterface, method);
    message.setArguments(arguments);
    call(message, [](const QDBusMessage&) {});  // what it reports comes by the signals
}

void PackageKitTransaction::package(uint info, const QString& packageId, const QString& /*summary*/) {
    m_answer.packages.push_back(parsePackage(info, packageId));
}

void PackageKitTransaction::packages(const QDBusMessage& signal) {
    // Newer daemons report packages in batches of (info, package id, summary).
    const auto batch = signal.arguments().value(0).value<QDBusArgument>();
    batch.beginArray();
    while (!batch.atEnd()) {
        uint info = 0;
        QString packageId;
        QString summary;
        batch.beginStructure();
        batch >> info >> packageId >> summary;
        batch.endStructure();
        package(info, packageId, summary);
    }
    batch.endArray();
}

void PackageKitTransaction::errorCode(uint /*code*/, const QString& details) {
    m_answer.error = details.toStdString();
}

void PackageKitTransaction::finished(uint exit, uint /*runtime*/) {
    m_answer.succeeded = exit == exitSuccess && m_answer.error.empty();
    if (!m_answer.succeeded && m_answer.error.empty()) {
        m_answer.error = "PackageKit ended the transaction with exit code " + std::to_string(exit);
    }
    end();
}

void PackageKitTransaction::end() {
    if (!m_done) {
        return;
    }
    m_limit.stop();
    const auto done = std::exchange(m_done, nullptr);
    const auto answer = std::move(m_answer);  // `done` may delete the parent, and this with it
    deleteLater();
    done(answer);
}

}  // namespace moritane
