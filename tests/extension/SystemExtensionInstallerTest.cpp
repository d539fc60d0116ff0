#include "extension/SystemExtensionInstaller.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/ManualRunLoop.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <chrono>
#include <tuple>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Status = SystemExtensionInstaller::Status;
using Failure = SystemExtensionInstaller::Failure;
using Kind = SystemExtensionRequest::Kind;
using Lines = std::vector<std::string>;
using Installed = std::vector<SystemExtensionProperties>;

const std::string kDomain(osSystemExtensionErrorDomain);
const std::filesystem::path kTables = std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n";
const std::string kSubmitting = "info: Submitting activation request for org.quelbrand.moritane.cameraextension";
const std::string kReconciling = "error: no request callback within 90s; reconciling status with the OS";
const std::string kTimedOut = "error: properties probe timed out after 20s";

SystemExtensionProperties copy(std::string shortVersion, std::string build, bool enabled = true,
                               bool awaitingApproval = false, bool uninstalling = false) {
    return {std::move(build), std::move(shortVersion), enabled, awaitingApproval, uninstalling};
}

class SystemExtensionInstallerTest : public ::testing::Test {
protected:
    SystemExtensionInstallerTest() {
        embed(R"({"CFBundleShortVersionString": "1.2", "CFBundleVersion": "42", "CFBundleIdentifier": "x"})");
        published.clear();
    }

    void embed(std::string_view info) {
        const auto directory =
            bundle / "Contents/Library/SystemExtensions" / "org.quelbrand.moritane.cameraextension.systemextension";
        std::filesystem::create_directories(directory);
        testing::writeFile(directory / "Info.json", info);
    }

    /// The unified lines since the last call, as "info: ..." or "error: ...".
    Lines logged() {
        Lines lines;
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

    void answerProbe(Installed installed) {
        service.answerProperties(service.lastProbe(), std::move(installed));
        loop.drainMain();
    }
    /// A display probe a little later, answered at once; `published` then holds what it assigned.
    void display(Installed installed) {
        published.clear();
        loop.advance(2s);
        installer->refreshStatus();
        answerProbe(std::move(installed));
    }
    void finishActivation(std::int64_t result) {
        service.finish(service.lastActivation(), result);
        loop.drainMain();
    }
    void failActivation(int code, std::string description = {}) {
        service.fail(service.lastActivation(), Error{kDomain, code, std::move(description)});
        loop.drainMain();
    }

    testing::TemporaryDirectory bundle;
    ManualRunLoop loop;
    CapturingLog log;
    Localization localization = Localization::load(kTables, {"en"}).value();
    FakeSystemExtensionService service{loop};
    std::shared_ptr<SystemExtensionInstaller> installer =
        SystemExtensionInstaller::create({service, loop, log, localization, bundle.path()});
    std::vector<Status> published;
    Subscription recorder = installer->status.subscribe([this](const Status& status) { published.push_back(status); });
};

TEST_F(SystemExtensionInstallerTest, SystemErrorsMapToTheFailureTheUserReads) {
    // Domain, codes, message key, whether the diagnostic carries the description, the two flags. Codes
    // the table does not know, and any code of another domain, read as unknown.
    const std::vector<std::tuple<std::string, std::vector<int>, std::string_view, bool, bool, bool>> rows{
        {kDomain, {1, 0, 14, -1}, "extensionError.unknown", true, false, true},
        {"NSCocoaErrorDomain", {10}, "extensionError.unknown", true, false, true},
        {kDomain, {2, 4, 5, 6, 7}, "extensionError.buildProblem", false, false, true},
        {kDomain, {3}, "extensionError.moveToApplications", false, false, false},
        {kDomain, {8, 9}, "extensionError.reinstall", false, false, true},
        {kDomain, {10, 13}, "extensionError.needsApproval", false, true, false},
        {kDomain, {11, 12}, "extensionError.canceled", false, false, false},
    };
    for (const auto& [domain, codes, key, withDescription, opensSettings, needsSupport] : rows) {
        for (const int code : codes) {
            const auto prefix = fmt::format("{} #{}", domain, code);
            const auto failure = installer->failureFromError(Error{domain, code, "It broke."});
            EXPECT_EQ(failure, (Failure{localization.string(key), withDescription ? prefix + ": It broke." : prefix,
                                        opensSettings, needsSupport}));
            EXPECT_NE(failure.message, key) << prefix << " is not translated";
        }
    }
    // Failures that differ only in the diagnostic are different statuses.
    EXPECT_NE(Status::failed(installer->failureFromError({kDomain, 8, ""})),
              Status::failed(installer->failureFromError({kDomain, 9, ""})));
}

TEST_F(SystemExtensionInstallerTest, TheFailedStatusTextCarriesTheFailureInEveryLanguage) {
    for (const auto* language : {"en", "ja"}) {
        const auto text = Localization::load(kTables, {language})
                              .value()
                              .string(SystemExtensionInstaller::popoverKey(Status::Case::failed));
        EXPECT_NE(Localization::format(text, {"Oops."}).find("Oops."), std::string::npos) << language;
    }
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
    EXPECT_EQ(logged(), (Lines{
                            "info: probing installed extensions (embedded 1.2/42)",
                            "info: probe found 2 installed copies; enabled: yes, current version: yes, "
                            "awaiting approval: no",
                            "info: extension already installed and enabled; skipping activation",
                        }));
}

TEST_F(SystemExtensionInstallerTest, AnOlderOrNewerCopyIsReplacedWhateverItsVersion) {
    for (const auto& installed : {copy("1.1", "41"), copy("2.0", "50"), copy("1.2", "43")}) {
        installer->activateIfNeeded();
        answerProbe({installed});
        ASSERT_EQ(activations(), 1U);
        EXPECT_EQ(kind(), Status::Case::requesting);
        service.askToReplace(service.lastActivation(), installed, copy("1.2", "42"));
        finishActivation(0);
        EXPECT_EQ(service.replacementAnswers, std::vector{ReplacementAction::replace});
        EXPECT_EQ(kind(), Status::Case::activated);
        EXPECT_EQ(logged().at(3), fmt::format("info: replacing extension {}/{} with 1.2/42",
                                              installed.bundleShortVersion, installed.bundleVersion));
        service.clearRecords();
    }
}

TEST_F(SystemExtensionInstallerTest, ApprovalIsAwaitedWithoutATimerAndTheResultDecides) {
    for (const auto& [result, expected] : std::vector<std::pair<std::int64_t, Status::Case>>{
             {0, Status::Case::activated}, {1, Status::Case::needsUserApproval}, {7, Status::Case::failed}}) {
        installer->submitActivation();
        service.needsUserApproval(service.lastActivation());
        loop.drainMain();
        EXPECT_EQ(kind(), Status::Case::needsUserApproval);
        EXPECT_EQ(loop.validTimers(), 0U);
        finishActivation(result);
        EXPECT_EQ(kind(), expected) << result;
        EXPECT_EQ(logged(), (Lines{kSubmitting, "info: Extension request needs user approval",
                                   fmt::format("info: Extension request finished with result: {}", result)}));
    }
    // Any other result reads as an unknown error of the service, with its description.
    EXPECT_EQ(installer->status.value().failure(),
              (Failure{localization.string("extensionError.unknown"),
                       "OSSystemExtensionErrorDomain #1: The operation couldn’t be completed. "
                       "(OSSystemExtensionErrorDomain error 1.)",
                       false, true}));

    // The answer to the request is final: a second one is untracked.
    service.needsUserApproval(service.lastActivation());
    finishActivation(0);
    EXPECT_EQ(kind(), Status::Case::failed);
    EXPECT_EQ(logged(), Lines{"info: ignoring result 0 from an untracked request"});
}

TEST_F(SystemExtensionInstallerTest, AnotherErrorOfTheTrackedRequestFailsItAndStopsTheWatchdog) {
    installer->submitActivation();
    installer->submitActivation();  // assigning `requesting` again keeps the one watchdog
    EXPECT_EQ(loop.validTimers(), 1U);
    EXPECT_EQ(probes(), 0U);  // a reinstall does not look at what is installed
    failActivation(8, "Bad signature.");
    EXPECT_EQ(installer->status.value(), Status::failed(installer->failureFromError({kDomain, 8, ""})));
    EXPECT_EQ(loop.validTimers(), 0U);
    EXPECT_EQ(logged().back(),
              "error: Extension request failed: domain=OSSystemExtensionErrorDomain code=8 desc=Bad signature.");
    finishActivation(0);  // the failure was its last word
    EXPECT_EQ(kind(), Status::Case::failed);
}

TEST_F(SystemExtensionInstallerTest, ASupersededTrackedRequestReconcilesAndAnUntrackedOneOnlyLogs) {
    installer->submitActivation();
    const auto first = service.lastActivation();
    logged();
    loop.advance(30s);
    failActivation(12, "Superseded by another app.");
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(logged(), (Lines{
                            "error: Extension request failed: domain=OSSystemExtensionErrorDomain code=12 "
                            "desc=Superseded by another app.",
                            "info: activation was superseded; reconciling instead of failing",
                        }));
    ASSERT_EQ(probes(), 1U);
    // The deadline is now: the watchdog would reconcile at its next tick, but waits for the probe.
    loop.advance(5s);
    EXPECT_EQ(probes(), 1U);
    answerProbe({});  // nothing installed, and the probe forces
    EXPECT_EQ(kind(), Status::Case::idle);
    EXPECT_EQ(loop.validTimers(), 0U);

    // With another request tracked, a superseded old one only logs.
    installer->submitActivation();  // from the install row, which allows it outside `requesting`
    service.fail(first, Error{kDomain, 12, "Superseded."});
    loop.drainMain();
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(logged().back(), "info: ignoring failure (OSSystemExtensionErrorDomain #12) from an untracked request");

    // Superseded with a probe in flight: no second one, and the next tick after it reconciles.
    loop.advance(2s);
    installer->refreshStatus();
    const auto inFlight = probes();
    failActivation(12, "Superseded.");
    EXPECT_EQ(probes(), inFlight);
    answerProbe({});  // the display does not force: requesting stays
    EXPECT_EQ(kind(), Status::Case::requesting);
    loop.advance(5s);
    EXPECT_EQ(probes(), inFlight + 1);
}

TEST_F(SystemExtensionInstallerTest, WhenTheSystemNeverAnswersRequestingEndsAfterThreeUnansweredProbes) {
    std::vector<RunLoop::Duration> probeTimes;
    const auto start = loop.now();
    service.onSubmit = [&](const auto& request) {
        if (request->kind() == Kind::properties) {
            probeTimes.push_back(std::chrono::duration_cast<RunLoop::Duration>(loop.now() - start));
        }
    };
    loop.setMode(RunLoopMode::eventTracking);  // a menu held open all along holds back neither timer
    installer->submitActivation();
    logged();

    loop.advance(289s);
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(probeTimes, (std::vector<RunLoop::Duration>{90s, 180s, 270s}));
    EXPECT_EQ(logged(), (Lines{kReconciling, kTimedOut, kReconciling, kTimedOut, kReconciling}));
    loop.advance(16s);
    EXPECT_EQ(installer->status.value(), Status::failed({localization.string("extensionError.canceled"),
                                                         "properties probe unanswered x3", false, false}));
    EXPECT_EQ(logged(), (Lines{kTimedOut, "error: giving up on .requesting after 3 consecutive probe failures"}));
    EXPECT_EQ(loop.validTimers(), 0U);

    // The activation is still tracked: its late answer decides.
    finishActivation(0);
    EXPECT_EQ(kind(), Status::Case::activated);
    EXPECT_EQ(logged(), Lines{"info: Extension request finished with result: 0"});

    // Giving up started the count again, and neither a probe that ends after `requesting` nor a
    // superseded activation's probe counts: two more unanswered reconciling probes are not enough.
    installer->submitActivation();
    loop.advance(90s);
    service.needsUserApproval(service.lastActivation());
    loop.advance(20s);
    installer->submitActivation();
    failActivation(12);
    loop.advance(135s);
    EXPECT_EQ(kind(), Status::Case::requesting);
}

TEST_F(SystemExtensionInstallerTest, AnyAnsweredProbeStartsTheCountAgainAndFailedProbesCountLikeTimeouts) {
    installer->submitActivation();
    loop.advance(90s);
    service.fail(service.lastProbe(), Error{"com.example", -5, "Daemon gone."});
    loop.drainMain();    // count 1
    loop.advance(110s);  // count 2
    EXPECT_EQ(probes(), 2U);
    installer->refreshStatus();  // a display probe that finds nothing: requesting stays, but the count resets
    answerProbe({});
    EXPECT_EQ(kind(), Status::Case::requesting);
    loop.advance(180s);  // two more reconciling probes time out: count 2 again, not 4
    EXPECT_EQ(kind(), Status::Case::requesting);
    EXPECT_EQ(probes(), 5U);
    loop.advance(90s);
    EXPECT_EQ(kind(), Status::Case::failed);
}

// Unlike a display probe, a reconciling one ends requesting even with nothing enabled.
TEST_F(SystemExtensionInstallerTest, AReconcilingProbeThatFindsNoEnabledCopyEndsRequestingAtOnce) {
    installer->submitActivation();
    loop.advance(90s);
    answerProbe({copy("1.2", "42", true, false, true)});  // being uninstalled
    EXPECT_EQ(installer->status.value(), Status::idle());
    EXPECT_EQ(loop.validTimers(), 0U);
}

TEST_F(SystemExtensionInstallerTest, DisplayProbesDuringRequesting) {
    installer->submitActivation();
    // An enabled copy: activated at once, the watchdog stops, and the activation's answer still lands.
    display({copy("1.2", "42")});
    EXPECT_EQ(kind(), Status::Case::activated);
    EXPECT_EQ(loop.validTimers(), 0U);
    logged();
    finishActivation(1);
    EXPECT_EQ(kind(), Status::Case::needsUserApproval);
    EXPECT_EQ(logged(), Lines{"info: Extension request finished with result: 1"});
}

TEST_F(SystemExtensionInstallerTest, TheWatchdogTicksEveryFiveSecondsAndWaitsForAProbeInFlight) {
    installer->submitActivation();
    loop.advance(80s);
    installer->refreshStatus();  // in flight until 100 s
    loop.advance(24s);
    EXPECT_EQ(probes(), 1U);  // the ticks at 90, 95 and 100 s wait
    loop.advance(1s);         // the tick at 105 s reconciles
    EXPECT_EQ(probes(), 2U);
}

TEST_F(SystemExtensionInstallerTest, ATimedOutProbesLateAnswerIsUntrackedAndChangesNothing) {
    installer->refreshStatus();
    const auto probe = service.lastProbe();
    loop.advance(20s);
    service.answerProperties(probe, {copy("1.2", "42")});
    service.fail(probe, Error{kDomain, 1, "Late."});
    loop.drainMain();
    EXPECT_TRUE(published.empty());
    EXPECT_EQ(logged(), (Lines{kTimedOut, "info: ignoring result 0 from an untracked request",
                               "info: ignoring failure (OSSystemExtensionErrorDomain #1) from an untracked request"}));
}

TEST_F(SystemExtensionInstallerTest, RefreshingIsThrottledToOnceASecond) {
    installer->refreshStatus();
    loop.advance(999ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 1U);
    loop.advance(1001ms);
    installer->refreshStatus();  // a probe is in flight: none sent, but the throttle moves on
    EXPECT_EQ(probes(), 1U);
    answerProbe({});
    loop.advance(999ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 1U);
    loop.advance(1ms);
    installer->refreshStatus();
    EXPECT_EQ(probes(), 2U);
}

TEST_F(SystemExtensionInstallerTest, PropertiesSumUpIntoTheInstalledState) {
    const std::vector<std::tuple<Installed, std::string, Status::Case>> cases{
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
        display(installed);
        EXPECT_EQ(logged(), Lines{"info: probe found " + line});
        EXPECT_EQ(kind(), status) << line;
    }
}

TEST_F(SystemExtensionInstallerTest, AppliedStatesFollowTheirTable) {
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
    failActivation(9);
    display({copy("1.1", "41")});
    EXPECT_TRUE(published.empty());
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
        finishActivation(0);
        EXPECT_EQ(logged(), (Lines{"info: embedded extension version unreadable; activating unconditionally",
                                   kSubmitting, "info: Extension request finished with result: 0"}));
        service.clearRecords();
    }
    std::filesystem::remove_all(bundle / "Contents");
    installer->activateIfNeeded();
    EXPECT_EQ(activations(), 1U);

    // An enabled copy lifts a failure then, as it cannot be told from the current one.
    failActivation(8);
    logged();
    display({copy("1.2", "42")});
    EXPECT_EQ(logged().back(),
              "info: probe found 1 installed copies; enabled: yes, current version: no, awaiting approval: no");
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
    EXPECT_EQ(logged(), (Lines{
                            "info: probing installed extensions (embedded 1.2/42)",
                            kTimedOut,
                            "error: properties probe failed (OSSystemExtensionErrorDomain #1)",
                            kSubmitting,
                        }));
    // The activation renews the deadline that the probe began.
    loop.advance(85s);
    EXPECT_EQ(probes(), 2U);
    loop.advance(5s);
    EXPECT_EQ(probes(), 3U);
    // Neither the display probe nor the preliminary one counted: two unanswered reconciling probes are
    // not yet enough.
    loop.advance(180s);
    EXPECT_EQ(kind(), Status::Case::requesting);
}

TEST_F(SystemExtensionInstallerTest, AnInstallerThatIsGoneHearsNothing) {
    installer->submitActivation();
    installer->refreshStatus();
    service.finish(service.lastActivation(), 0);
    recorder = Subscription();
    installer.reset();
    EXPECT_EQ(loop.validTimers(), 0U);  // neither the watchdog nor the probe's time limit outlives it
    loop.advance(5min);                 // the answer posted meanwhile finds no delegate
    EXPECT_EQ(log.unifiedLines().size(), 1U);
}

}  // namespace
}  // namespace moritane
