#include "platform/qt/SystemdSessionService.h"

#include "testsupport/Process.h"
#include "testsupport/QtWait.h"
#include "testsupport/TemporaryDirectory.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusObjectPath>

#include <gtest/gtest.h>

#include <future>

namespace moritane {
namespace {

/// The user manager: `state` empty for a unit it does not know, `jobResult` for a job that never ends.
class FakeManager final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.systemd1.Manager")

public:
    QString state;
    QString jobResult;
    QStringList calls;

public slots:
    QString GetUnitFileState(const QString& /*unit*/) {
        if (state.isEmpty()) {  // as systemd says it
            sendErrorReply("org.freedesktop.DBus.Error.FileNotFound", "File not found");
        }
        return state;
    }
    void Reload() { calls << "Reload"; }
    bool EnableUnitFiles(const QStringList& units, bool /*runtime*/, bool /*force*/) {
        calls << "EnableUnitFiles " + units.join(' ');
        return true;  // the unit has an [Install] section
    }
    void Subscribe() { calls << "Subscribe"; }
    QDBusObjectPath RestartUnit(const QString& unit, const QString& mode) {
        calls << "RestartUnit " + unit + " " + mode;
        if (!jobResult.isEmpty()) {  // before the reply, and after another job's end, which must not count
            emit JobRemoved(6, QDBusObjectPath("/job/6"), "other.service", "done");
            emit JobRemoved(7, QDBusObjectPath("/job/7"), "moritane-camera.service", jobResult);
        }
        return QDBusObjectPath("/job/7");
    }

signals:
    void JobRemoved(uint id, const QDBusObjectPath& job, const QString& unit, const QString& result);
};

struct SystemdSessionServiceTest : ::testing::Test {
    void SetUp() override {
        ASSERT_TRUE(system.started);
        const auto address = QString::fromStdString(system.address);
        auto bus = QDBusConnection::connectToBus(address, address);
        ASSERT_TRUE(bus.registerService("org.freedesktop.systemd1"));
        bus.registerObject("/org/freedesktop/systemd1", &manager, QDBusConnection::ExportAllContents);
        service.emplace(SystemdSessionService::Paths{directory / "unit", directory / "user"}, address,
                        std::chrono::seconds(1));
        testing::writeFile(directory / "unit", "[Service]\n");
    }

    /// Runs `call` on a thread of its own, as the service's queue does, while this one answers.
    template <typename Call>
    auto onWorker(Call call) {
        auto result = std::async(std::launch::async, [&] { return call(*service); });
        testing::runUntil([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        return result.get();
    }

    testing::PrivateBus system;
    testing::TemporaryDirectory directory;
    FakeManager manager;
    std::optional<SystemdSessionService> service;
};

TEST_F(SystemdSessionServiceTest, AMaskedUnitIsLeftAloneAndAnUnknownOneIsWrittenThenEnabled) {
    manager.state = "masked";
    const auto masked = onWorker([](auto& s) { return s.registerWithSession(); }).value_or(Error{});
    EXPECT_TRUE(masked.description.starts_with("moritane-camera.service is masked")) << masked.description;
    EXPECT_TRUE(manager.calls.isEmpty() && !std::filesystem::exists(directory / "user"));

    manager.state.clear();
    EXPECT_FALSE(onWorker([](auto& s) { return s.isRegistered(); }).value());
    EXPECT_EQ(onWorker([](auto& s) { return s.registerWithSession(); }), std::nullopt);
    EXPECT_EQ(manager.calls, QStringList({"Reload", "EnableUnitFiles moritane-camera.service", "Reload"}));
    EXPECT_EQ(testing::readFile(directory / "user/moritane-camera.service"), "[Service]\n");
}

TEST_F(SystemdSessionServiceTest, RestartEndsWithItsJobOrWithinTheLimit) {
    const auto restart = [&](const char* result) {
        manager.jobResult = result;
        return onWorker([](auto& s) { return s.restart(); }).value_or(Error{}).description;
    };
    EXPECT_EQ(restart("done"), "");
    EXPECT_EQ(manager.calls, QStringList({"Subscribe", "RestartUnit moritane-camera.service replace"}));
    EXPECT_TRUE(restart("failed").starts_with("systemd's job to restart moritane-camera.service ended \"failed\";"));
    EXPECT_EQ(restart(""), "systemd's job /job/7 to restart moritane-camera.service did not end within 1000 ms");
}

}  // namespace
}  // namespace moritane

#include "SystemdSessionServiceTest.moc"
