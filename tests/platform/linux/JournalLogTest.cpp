#include "platform/linux/JournalLog.h"

#include "platform/sim/CapturingLog.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <regex>

namespace moritane {
namespace {

TEST(JournalLogTest, UnifiedLinesGoToTheJournalAndFallBackWhenItRefuses) {
    CapturingLog fallback;
    int answer = 0;
    std::vector<std::string> sent;
    JournalLog log(
        fallback, [&](std::string_view subsystem, std::string_view category, LogLevel level, std::string_view message) {
            sent.push_back(std::string(subsystem) + "/" + std::string(category) + "/" +
                           (level == LogLevel::error ? "error" : "info") + "/" + std::string(message));
            return answer;
        });
    log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::error, "probe timed out");
    EXPECT_EQ(sent, std::vector<std::string>{"com.orsk.moritane/SystemExtensionInstaller/error/probe timed out"});
    EXPECT_TRUE(fallback.unifiedLines().empty());
    answer = -ENOENT;
    log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::info, "second");
    EXPECT_EQ(fallback.unifiedLines(),
              (std::vector<CapturingLog::UnifiedLine>{
                  {"com.orsk.moritane", "SystemExtensionInstaller", LogLevel::info, "second"}}));
    log.write("CameraManager: plain");
    EXPECT_EQ(fallback.lines(), std::vector<std::string>{"CameraManager: plain"});
}

TEST(JournalLogTest, StandardErrorLinesCarryATimeStampTheProcessAndTheText) {
    const testing::TemporaryDirectory root;
    const int descriptor = ::open((root / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(descriptor, 0);
    {
        StderrLog log(descriptor, "moritane");
        log.write("CameraManager: wrote state mode=off image=nil camera=nil");
        log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::error, "failed");
    }
    ::close(descriptor);
    const std::regex expected(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} moritane\[\d+\] CameraManager: wrote state mode=off image=nil camera=nil
\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} moritane\[\d+\] \[com\.orsk\.moritane:SystemExtensionInstaller\] error: failed
)");
    const auto content = testing::readFile(root / "err");
    EXPECT_TRUE(std::regex_match(content, expected)) << content;
}

}  // namespace
}  // namespace moritane
