#include "extension/SystemExtensionInstaller.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/ManualRunLoop.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Status = SystemExtensionInstaller::Status;
using Failure = SystemExtensionInstaller::Failure;
using Kind = SystemExtensionRequest::Kind;

const std::string kDomain(osSystemExtensionErrorDomain);

SystemExtensionProperties copy(std::string shortVersion, std::string build, bool enabled = true,
                               bool awaitingApproval = false, bool uninstalling = false) {
    return {std::move(build), std::move(shortVersion), enabled, awaitingApproval, uninstalling};
}

Localization englishTables() {
    auto tables = Localization::load(std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n", {"en"});
    EXPECT_TRUE(tables) << tables.error().description;
    return std::move(tables).value();
}

class SystemExtensionInstallerTest : public ::testing::Test {
protected:
    SystemExtensionInstallerTest() {
        embed(R"({"CFBundleShortVersionString": "1.2", "CFBundleVersion": "42", "CFBundleIdentifier": "x"})");
        installer = SystemExtensionInstaller::create({service, loop, log, localization, bundle.path()});
        recorder = installer->status.subscribe([this](const Status& status) { published.push_back(status); });
        published.clear();
    }

    void embed(std::string_view info) {
        const auto directory =
            bundle / "Contents/Library/SystemExtensions" / "org.quelbrand.moritane.cameraextension.systemextension";
        std::filesystem::create_directories(directory);
        testing::writeFile(directory / "Info.json", info);
    }

    /// The unified lines since the last call, as "info: ..." or "error: ...".
    std::vector<std::string> logged() {
        std::vector<std::string> lines;
        for (const auto& line : log.unifiedLines()) {
            EXPECT_EQ(line.subsystem, "com.orsk.moritane");
            EXPECT_EQ(line.category, "SystemExtensionInstaller");
            lines.push_back((line.level == LogLevel::info ? "info: " : "error: ") + line.message);
        }
        log.clear();
        return lines;
    }

    [[nodiscard]] Status::Case kind() const { return installer->status.value().kind(); }
    [[nodiscard]] std::size_t probes() const { return service.submitted(Kind::properties).size(); }
    [[nodiscard]] std::size_t activations() const { return service.submitted(Kind::activation).size(); }

    [[nodiscard]] Failure canceled(std::string diagnostic) const {
        return {localization.string("extensionError.canceled"), std::move(diagnostic), false, false};
    }

    testing::TemporaryDirectory bundle;
    ManualRunLoop loop;
    CapturingLog log;
    Localization localization = englishTables();
    FakeSystemExtensionService service{loop};
    std::shared_ptr<SystemExtensionInstaller> installer;
    std::vector<Status> published;
    Subscription recorder;
};

TEST_F(SystemExtensionInstallerTest, SystemErrorsMapToTheFailureTheUserReads) {
    const auto& l10n = localization;
    const auto failureOf = [&](std::string domain, int code) {
        return installer->failureFromError(Error{std::move(domain), code, "It broke."});
    };
    const auto row = [&](std::string_view key, std::string diagnostic, bool settings, bool support) {
        return Failure{l10n.string(key), std::move(diagnostic), settings, support};
    };
    const auto prefix = [](int code) { return fmt::format("OSSystemExtensionErrorDomain #{}", code); };

    EXPECT_EQ(failureOf(kDomain, 1), row("extensionError.unknown", prefix(1) + ": It broke.", false, true));
    for (const int code : {2, 4, 5, 6, 7}) {
        EXPECT_EQ(failureOf(kDomain, code), row("extensionError.buildProblem", prefix(code), false, true)) << code;
    }
    EXPECT_EQ(failureOf(kDomain, 3), row("extensionError.moveToApplications", prefix(3), false, false));
    EXPECT_EQ(failureOf(kDomain, 8), row("extensionError.reinstall", "OSSystemExtensionErrorDomain #8", false, true));
    EXPECT_EQ(failureOf(kDomain, 9), row("extensionError.reinstall", prefix(9), false, true));
    for (const int code : {10, 13}) {
        EXPECT_EQ(failureOf(kDomain, code), row("extensionError.needsApproval", prefix(code), true, false)) << code;
    }
    for (const int code : {11, 12}) {
        EXPECT_EQ(failureOf(kDomain, code), row("extensionError.canceled", prefix(code), false, false)) << code;
    }
    for (const int code : {0, 14, -1}) {
        EXPECT_EQ(failureOf(kDomain, code), row("extensionError.unknown", prefix(code) + ": It broke.", false, true));
    }
    EXPECT_EQ(failureOf("NSCocoaErrorDomain", 10),
              row("extensionError.unknown", "NSCocoaErrorDomain #10: It broke.", false, true));
    EXPECT_NE(l10n.string("extensionError.needsApproval"), "extensionError.needsApproval");

    // Failures that differ only in the diagnostic are different statuses.
    EXPECT_NE(Status::failed(failureOf(kDomain, 8)), Status::failed(failureOf(kDomain, 9)));
    EXPECT_EQ(Status::failed(failureOf(kDomain, 8)), Status::failed(failureOf(kDomain, 8)));
    EXPECT_NE(Status::idle(), Status::activated());
}

TEST_F(SystemExtensionInstallerTest, EveryStatusAndFailureReadsInEnglishAndJapanese) {
    const auto directory = std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n";
    for (const auto* language : {"en.json", "ja.json"}) {
        const auto table = Localization::parseTable(testing::readFile(directory / language));
        ASSERT_TRUE(table) << language;
        std::vector<std::string_view> keys{
            "extensionError.unknown",   "extensionError.buildProblem",  "extensionError.moveToApplications",
            "extensionError.reinstall", "extensionError.needsApproval", "extensionError.canceled"};
        for (const auto status : {Status::Case::idle, Status::Case::requesting, Status::Case::needsUserApproval,
                                  Status::Case::activated, Status::Case::failed}) {
            keys.push_back(SystemExtensionInstaller::popoverKey(status));
        }
        for (const auto key : keys) {
            EXPECT_TRUE(table.value().contains(key)) << language << " lacks " << key;
        }
        const Localization only({{"only", table.value()}}, {"only"}, "only");
        EXPECT_NE(Localization::format(only.string("extensionStatus.failed"), {"Oops."}).find("Oops."),
                  std::string::npos)
            << language;
    }
    EXPECT_EQ(localization.comment("extensionStatus.requesting"), "Extension status: installing");
    EXPECT_EQ(localization.comment("extensionStatus.failed"),
              "Extension status: failed with message; %@ is the error message");
}

TEST_F(SystemExtensionInstallerTest, TheCurrentVersionInstalledCostsOneProbeAndNoActivation) {
    installer->activateIfNeeded();
    EXPECT_EQ(published, std::vector{Status::requesting()});
    ASSERT_EQ(probes(), 1U);
    EXPECT_EQ(service.lastProbe()->identifier(), "org.quelbrand.moritane.cameraextension");
    installer->activateIfNeeded();  // refused while requesting
    EXPECT_EQ(probes(), 1U);

    service.answerProperties(service.lastProbe(), {copy("1.1", "41", false), copy("1.2", "42")}, 3s);
    loop.advance(3s);
    EXPECT_EQ(kind(), Status::Case::activated);
    EXPECT_EQ(activations(), 0U);
    EXPECT_EQ(loop.validTimers(), 0U);  // neither watchdog nor probe timer is left
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "info: probing installed extensions (embedded 1.2/42)",
                            "info: probe found 2 installed copies; enabled: yes, current version: yes, "
                            "awaiting approval: no",
                            "info: extension already installed and enabled; skipping activation",
                        }));
}

TEST_F(SystemExtensionInstallerTest, AnOlderOrNewerCopyIsReplacedWhateverItsVersion) {
    for (const auto& installed : {copy("1.1", "41"), copy("2.0", "50"), copy("1.2", "43")}) {
        installer->activateIfNeeded();
        service.answerProperties(service.lastProbe(), {installed});
        loop.drainMain();
        ASSERT_EQ(activations(), 1U);
        EXPECT_EQ(kind(), Status::Case::requesting);
        service.askToReplace(service.lastActivation(), installed, copy("1.2", "42"));
        service.finish(service.lastActivation(), 0);
        loop.drainMain();
        EXPECT_EQ(service.replacementAnswers, std::vector{ReplacementAction::replace});
        EXPECT_EQ(kind(), Status::Case::activated);
        const std::string found =
            "info: probe found 1 installed copies; enabled: yes, current version: no, awaiting approval: no";
        EXPECT_EQ(logged(), (std::vector<std::string>{
                                "info: probing installed extensions (embedded 1.2/42)",
                                found,
                                "info: Submitting activation request for org.quelbrand.moritane.cameraextension",
                                fmt::format("info: replacing extension {}/{} with 1.2/42", installed.bundleShortVersion,
                                            installed.bundleVersion),
                                "info: Extension request finished with result: 0",
                            }));
        service.clearRecords();
    }
}

TEST_F(SystemExtensionInstallerTest, ReinstallingSendsAnActivationWithoutAProbe) {
    installer->submitActivation();
    EXPECT_EQ(probes(), 0U);
    ASSERT_EQ(activations(), 1U);
    EXPECT_EQ(kind(), Status::Case::requesting);
    service.askToReplace(service.lastActivation(), copy("1.2", "42"), copy("1.2", "42"));
    loop.drainMain();
    EXPECT_EQ(service.replacementAnswers, std::vector{ReplacementAction::replace});
}

TEST_F(SystemExtensionInstallerTest, ApprovalIsAwaitedWithoutATimerAndTheResultDecides) {
    for (const auto& [result, expected] : std::vector<std::pair<std::int64_t, Status::Case>>{
             {0, Status::Case::activated}, {1, Status::Case::needsUserApproval}, {7, Status::Case::failed}}) {
        installer->submitActivation();
        const auto request = service.lastActivation();
        service.needsUserApproval(request);
        loop.drainMain();
        EXPECT_EQ(kind(), Status::Case::needsUserApproval);
        EXPECT_EQ(loop.validTimers(), 0U);
        loop.advance(10min);  // no timer: nothing happens however long the user takes
        EXPECT_EQ(kind(), Status::Case::needsUserApproval);
        service.finish(request, result);
        loop.drainMain();
        EXPECT_EQ(kind(), expected) << result;
        EXPECT_EQ(logged(), (std::vector<std::string>{
                                "info: Submitting activation request for org.quelbrand.moritane.cameraextension",
                                "info: Extension request needs user approval",
                                fmt::format("info: Extension request finished with result: {}", result),
                            }));
    }
    // Any other result reads as an unknown error of the service, with its description.
    EXPECT_EQ(installer->status.value().failure(),
              (Failure{localization.string("extensionError.unknown"),
                       "OSSystemExtensionErrorDomain #1: The operation couldn’t be completed. "
                       "(OSSystemExtensionErrorDomain error 1.)",
                       false, true}));

    // The answer to the request is final: a second one is untracked.
    service.finish(service.lastActivation(), 0);
    service.needsUserApproval(service.lastActivation());
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::failed);
    EXPECT_EQ(logged(), std::vector<std::string>{"info: ignoring result 0 from an untracked request"});
}

TEST_F(SystemExtensionInstallerTest, ASupersededTrackedRequestReconcilesAndAnUntrackedOneOnlyLogs) {
    installer->submitActivation();
    const auto first = service.lastActivation();
    service.needsUserApproval(first);
    loop.drainMain();
    installer->submitActivation();  // from the install row, which allows it outside `requesting`
    const auto second = service.lastActivation();
    service.fail(first, Error{kDomain, 12, "Superseded."});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    logged();

    loop.advance(30s);
    service.fail(second, Error{kDomain, 12, "Superseded by another app."});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "error: Extension request failed: domain=OSSystemExtensionErrorDomain code=12 "
                            "desc=Superseded by another app.",
                            "info: activation was superseded; reconciling instead of failing",
                        }));
    ASSERT_EQ(probes(), 1U);
    // The deadline is now: the watchdog would reconcile at its next tick, but waits for the probe.
    loop.advance(5s);
    EXPECT_EQ(probes(), 1U);
    service.answerProperties(service.lastProbe(), {});  // nothing installed, and the probe forces
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::idle);
    EXPECT_EQ(loop.validTimers(), 0U);

    // With another request tracked, a superseded old one only logs.
    installer->submitActivation();
    service.fail(first, Error{kDomain, 12, "Superseded."});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(logged().back(), "info: ignoring failure (OSSystemExtensionErrorDomain #12) from an untracked request");

    // Superseded with a probe in flight: no second one, and the next tick after it reconciles.
    loop.advance(2s);
    installer->refreshStatus();
    const auto inFlight = probes();
    service.fail(service.lastActivation(), Error{kDomain, 12, "Superseded."});
    loop.drainMain();
    EXPECT_EQ(probes(), inFlight);
    service.answerProperties(service.lastProbe(), {});  // the display does not force: requesting stays
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    loop.advance(5s);
    EXPECT_EQ(probes(), inFlight + 1);
}

TEST_F(SystemExtensionInstallerTest, AnotherErrorOfTheTrackedRequestFailsAndStopsTheWatchdog) {
    installer->submitActivation();
    installer->submitActivation();  // assigning `requesting` again keeps the one watchdog
    EXPECT_EQ(loop.validTimers(), 1U);
    service.fail(service.lastActivation(), Error{kDomain, 8, "Bad signature."});
    loop.drainMain();
    EXPECT_EQ(installer->status.value(), Status::failed(installer->failureFromError({kDomain, 8, ""})));
    EXPECT_EQ(loop.validTimers(), 0U);
    EXPECT_EQ(logged().back(),
              "error: Extension request failed: domain=OSSystemExtensionErrorDomain code=8 desc=Bad signature.");
}

TEST_F(SystemExtensionInstallerTest, WhenTheSystemNeverAnswersRequestingEndsAfterThreeUnansweredProbes) {
    std::vector<RunLoop::Duration> probeTimes;
    const auto start = loop.now();
    service.onSubmit = [&](const auto& request) {
        if (request->kind() == Kind::properties) {
            probeTimes.push_back(std::chrono::duration_cast<RunLoop::Duration>(loop.now() - start));
        }
    };
    installer->submitActivation();
    logged();

    loop.advance(289s);
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(probeTimes, (std::vector<RunLoop::Duration>{90s, 180s, 270s}));
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "error: no request callback within 90s; reconciling status with the OS",
                            "error: properties probe timed out after 20s",
                            "error: no request callback within 90s; reconciling status with the OS",
                            "error: properties probe timed out after 20s",
                            "error: no request callback within 90s; reconciling status with the OS",
                        }));
    loop.advance(16s);
    EXPECT_EQ(installer->status.value(), Status::failed(canceled("properties probe unanswered x3")));
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "error: properties probe timed out after 20s",
                            "error: giving up on .requesting after 3 consecutive probe failures",
                        }));
    EXPECT_EQ(loop.validTimers(), 0U);

    // The activation is still tracked: its late answer decides.
    service.finish(service.lastActivation(), 0);
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::activated);
    EXPECT_EQ(logged(), std::vector<std::string>{"info: Extension request finished with result: 0"});
}

TEST_F(SystemExtensionInstallerTest, AnyAnsweredProbeStartsTheCountAgainAndFailedProbesCountLikeTimeouts) {
    installer->submitActivation();
    loop.advance(90s);
    service.fail(service.lastProbe(), Error{"com.example", -5, "Daemon gone."});
    loop.drainMain();  // count 1
    loop.advance(90s);
    loop.advance(20s);  // count 2
    EXPECT_EQ(probes(), 2U);
    installer->refreshStatus();  // a display probe that finds nothing: requesting stays, but the count resets
    service.answerProperties(service.lastProbe(), {});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    loop.advance(180s);  // two more reconciling probes time out: count 2 again, not 4
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(probes(), 5U);
    loop.advance(90s);
    EXPECT_EQ(kind(), Status::Case::failed);
    const auto lines = logged();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "error: properties probe failed (com.example #-5)"), 1);
}

TEST_F(SystemExtensionInstallerTest, AReconcilingProbeThatIsAnsweredEndsRequestingAtOnce) {
    for (const auto& [installed, expected] : std::vector<std::pair<std::vector<SystemExtensionProperties>, Status>>{
             {{copy("1.2", "42", true, true)}, Status::needsUserApproval()},
             {{copy("1.0", "1")}, Status::activated()},
             {{copy("1.2", "42", true, false, true)}, Status::idle()}}) {
        installer->submitActivation();
        loop.advance(90s);
        service.answerProperties(service.lastProbe(), installed);
        loop.drainMain();
        EXPECT_EQ(installer->status.value(), expected);
        EXPECT_EQ(loop.validTimers(), 0U);
    }
}

TEST_F(SystemExtensionInstallerTest, DisplayProbesDuringRequesting) {
    installer->submitActivation();
    // Unanswered: it does not count, however often.
    for (int round = 0; round < 4; ++round) {
        installer->refreshStatus();
        loop.advance(21s);
    }
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(probes(), 4U);
    // Nothing found: requesting stays, as the display does not force.
    installer->refreshStatus();
    service.answerProperties(service.lastProbe(), {});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    // An enabled copy: activated at once, the watchdog stops, and the activation's answer still lands.
    loop.advance(2s);
    installer->refreshStatus();
    service.answerProperties(service.lastProbe(), {copy("1.2", "42")});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::activated);
    EXPECT_EQ(loop.validTimers(), 0U);
    logged();
    service.finish(service.lastActivation(), 1);
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::needsUserApproval);
    EXPECT_EQ(logged(), std::vector<std::string>{"info: Extension request finished with result: 1"});
}

TEST_F(SystemExtensionInstallerTest, TheWatchdogWaitsForAProbeInFlight) {
    installer->submitActivation();
    loop.advance(85s);
    installer->refreshStatus();  // in flight until 105 s
    loop.advance(19s);
    EXPECT_EQ(probes(), 1U);  // the ticks at 90, 95 and 100 s wait
    loop.advance(6s);         // once the probe has timed out at 105 s, the next tick reconciles
    EXPECT_EQ(probes(), 2U);
    const auto lines = logged();
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "error: no request callback within 90s; reconciling status with the OS"),
        1);
}

TEST_F(SystemExtensionInstallerTest, ATimedOutProbesLateAnswerIsUntrackedAndChangesNothing) {
    installer->refreshStatus();
    const auto probe = service.lastProbe();
    loop.advance(20s);
    EXPECT_EQ(logged(), std::vector<std::string>{"error: properties probe timed out after 20s"});
    service.answerProperties(probe, {copy("1.2", "42")});
    service.fail(probe, Error{kDomain, 1, "Late."});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::idle);
    EXPECT_TRUE(published.empty());
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "info: ignoring result 0 from an untracked request",
                            "info: ignoring failure (OSSystemExtensionErrorDomain #1) from an untracked request",
                        }));
}

TEST_F(SystemExtensionInstallerTest, RefreshingIsThrottledToOnceASecond) {
    installer->refreshStatus();
    loop.advance(500ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 1U);
    loop.advance(1500ms);
    installer->refreshStatus();  // a probe is in flight: none sent, but the throttle moves on
    EXPECT_EQ(probes(), 1U);
    service.answerProperties(service.lastProbe(), {});
    loop.drainMain();
    loop.advance(500ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 1U);
    loop.advance(500ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 2U);
}

TEST_F(SystemExtensionInstallerTest, PropertiesSumUpIntoTheInstalledState) {
    struct Case {
        std::vector<SystemExtensionProperties> installed;
        std::string line;
        Status::Case status;
    };
    const std::vector<Case> cases{
        {{}, "0 installed copies; enabled: no, current version: no, awaiting approval: no", Status::Case::idle},
        {{copy("1.0", "1", false, true), copy("1.1", "41")},
         "2 installed copies; enabled: yes, current version: no, awaiting approval: yes",
         Status::Case::needsUserApproval},
        {{copy("1.2", "42", true, true)},
         "1 installed copies; enabled: no, current version: no, awaiting approval: yes",
         Status::Case::needsUserApproval},
        {{copy("1.3", "42"), copy("1.2", "42", false), copy("1.2", "42", true, false, true)},
         "3 installed copies; enabled: yes, current version: no, awaiting approval: no",
         Status::Case::activated},
    };
    for (const auto& [installed, line, status] : cases) {
        loop.advance(2s);
        installer->refreshStatus();
        service.answerProperties(service.lastProbe(), installed);
        loop.drainMain();
        EXPECT_EQ(logged(), std::vector<std::string>{"info: probe found " + line});
        EXPECT_EQ(kind(), status) << line;
    }
}

TEST_F(SystemExtensionInstallerTest, AppliedStatesFollowTheirTable) {
    const auto display = [&](std::vector<SystemExtensionProperties> installed) {
        published.clear();
        loop.advance(2s);
        installer->refreshStatus();
        service.answerProperties(service.lastProbe(), std::move(installed));
        loop.drainMain();
    };
    display({});  // idle stays, with nothing assigned
    EXPECT_TRUE(published.empty());
    display({copy("1.2", "42")});
    EXPECT_EQ(published, std::vector{Status::activated()});
    display({copy("1.2", "42")});  // assigned again, and published again
    EXPECT_EQ(published, std::vector{Status::activated()});
    display({});
    EXPECT_EQ(published, std::vector{Status::idle()});

    // A failure stays while an old copy runs and goes once the current one is enabled.
    installer->submitActivation();
    service.fail(service.lastActivation(), Error{kDomain, 9, ""});
    loop.drainMain();
    display({copy("1.1", "41")});
    EXPECT_TRUE(published.empty());
    EXPECT_EQ(kind(), Status::Case::failed);
    display({});
    EXPECT_EQ(kind(), Status::Case::failed);
    display({copy("1.2", "42")});
    EXPECT_EQ(published, std::vector{Status::activated()});

    // Awaiting approval stays without an answer.
    installer->submitActivation();
    service.needsUserApproval(service.lastActivation());
    loop.drainMain();
    display({});
    EXPECT_TRUE(published.empty());
    EXPECT_EQ(kind(), Status::Case::needsUserApproval);
}

TEST_F(SystemExtensionInstallerTest, AnUnreadableEmbeddedBundleActivatesEveryTimeAndIsNeverCurrent) {
    for (const auto* info : {"", "[]", "{}", R"({"CFBundleShortVersionString": "1.2"})",
                             R"({"CFBundleShortVersionString": "1.2", "CFBundleVersion": 42})", "{\"CFBundle"}) {
        embed(info);
        installer->activateIfNeeded();
        EXPECT_EQ(probes(), 0U) << info;
        EXPECT_EQ(activations(), 1U) << info;
        EXPECT_EQ(logged(), (std::vector<std::string>{
                                "info: embedded extension version unreadable; activating unconditionally",
                                "info: Submitting activation request for org.quelbrand.moritane.cameraextension",
                            }));
        service.finish(service.lastActivation(), 0);
        loop.drainMain();
        logged();
        service.clearRecords();
    }
    std::filesystem::remove_all(bundle / "Contents");
    installer->activateIfNeeded();
    EXPECT_EQ(activations(), 1U);

    // An enabled copy lifts a failure then, as it cannot be told from the current one.
    service.fail(service.lastActivation(), Error{kDomain, 8, ""});
    loop.advance(2s);
    installer->refreshStatus();
    service.answerProperties(service.lastProbe(), {copy("1.2", "42")});
    loop.drainMain();
    EXPECT_EQ(logged().back(),
              "info: probe found 1 installed copies; enabled: yes, current version: no, "
              "awaiting approval: no");
    EXPECT_EQ(kind(), Status::Case::activated);
}

TEST_F(SystemExtensionInstallerTest, AnUnansweredPreliminaryProbeCostsTwentySecondsThenActivates) {
    installer->refreshStatus();  // a display probe already in flight: the preliminary one runs beside it
    loop.advance(10s);
    installer->activateIfNeeded();
    EXPECT_EQ(probes(), 2U);
    loop.advance(10s);
    EXPECT_EQ(activations(), 0U);
    service.fail(service.lastProbe(), Error{kDomain, 1, "No."});
    loop.drainMain();
    EXPECT_EQ(activations(), 1U);
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "info: probing installed extensions (embedded 1.2/42)",
                            "error: properties probe timed out after 20s",
                            "error: properties probe failed (OSSystemExtensionErrorDomain #1)",
                            "info: Submitting activation request for org.quelbrand.moritane.cameraextension",
                        }));
}

TEST_F(SystemExtensionInstallerTest, AnInstallerThatIsGoneHearsNothing) {
    installer->submitActivation();
    installer->refreshStatus();
    const auto activation = service.lastActivation();
    service.finish(activation, 0);
    recorder = Subscription();
    installer.reset();
    EXPECT_EQ(loop.validTimers(), 0U);  // neither the watchdog nor the probe's time limit outlives it
    loop.advance(5min);                 // the answer posted meanwhile finds no delegate
    EXPECT_EQ(log.unifiedLines().size(), 1U);
}

}  // namespace
}  // namespace moritane
