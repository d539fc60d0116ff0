#include "platform/linux/JournalLog.h"

#include "platform/sim/CapturingLog.h"
#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <array>
#include <regex>

namespace moritane {
namespace {

/// A datagram socket bound at the journal's address while it lives, standing in for journald so
/// that the real library's sending can be watched; invalid where that address cannot be taken (a
/// real journal, no permission).
class JournalStandIn {
public:
    JournalStandIn() {
        sockaddr_un address{AF_UNIX, {}};
        std::string_view(JournalLog::journalSocket).copy(address.sun_path, sizeof(address.sun_path) - 1);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
        m_bound = ::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    JournalStandIn(const JournalStandIn&) = delete;
    JournalStandIn& operator=(const JournalStandIn&) = delete;
    ~JournalStandIn() {
        if (m_bound) {
            ::unlink(JournalLog::journalSocket);
        }
        if (m_madeDirectory) {
            ::rmdir(m_directory.c_str());
        }
    }
    [[nodiscard]] bool valid() const { return m_bound; }
    /// The next entry sent, or nothing when none waits.
    std::string receive() {
        std::array<char, 4096> buffer{};
        const auto count = ::recv(m_socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string{};
    }

private:
    std::filesystem::path m_directory = std::filesystem::path(JournalLog::journalSocket).parent_path();
    bool m_madeDirectory = ::mkdir(m_directory.c_str(), 0755) == 0;
    files::FileDescriptor m_socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    bool m_bound = false;
};

TEST(JournalLogTest, UnifiedLinesGoToTheJournalOnlyWhereOneListens) {
    CapturingLog fallback;
    JournalLog log(fallback);
    {
        JournalStandIn journal;
        if (!journal.valid()) {
            GTEST_SKIP() << "the journal's address is taken or cannot be made here";
        }
        log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::error, "probe timed out");
        const auto entry = journal.receive();
        for (const auto* field : {"MESSAGE=probe timed out\n", "SUBSYSTEM=com.orsk.moritane\n",
                                  "CATEGORY=SystemExtensionInstaller\n", "PRIORITY=3\n"}) {
            EXPECT_NE(entry.find(field), std::string::npos) << field << " in " << entry;
        }
        EXPECT_TRUE(fallback.unifiedLines().empty());
    }
    // With nobody at the address the library still reports success, and nothing may be lost.
    log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::info, "second");
    EXPECT_EQ(fallback.unifiedLines(),
              (std::vector<CapturingLog::UnifiedLine>{
                  {"com.orsk.moritane", "SystemExtensionInstaller", LogLevel::info, "second"}}));
    log.write("CameraManager: plain");
    EXPECT_EQ(fallback.lines(), std::vector<std::string>{"CameraManager: plain"});
}

TEST(JournalLogTest, StandardErrorLinesCarryATimeStampTheProcessAndTheText) {
    const testing::TemporaryDirectory root;
    {
        const files::FileDescriptor file(::open((root / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
        ASSERT_TRUE(file.valid());
        StderrLog log(file.get(), "moritane");
        log.write("CameraManager: wrote state mode=off image=nil camera=nil");
        log.unified("com.orsk.moritane", "SystemExtensionInstaller", LogLevel::error, "failed");
    }
    const std::regex expected(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} moritane\[\d+\] CameraManager: wrote state mode=off image=nil camera=nil
\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} moritane\[\d+\] \[com\.orsk\.moritane:SystemExtensionInstaller\] error: failed
)");
    const auto content = testing::readFile(root / "err");
    EXPECT_TRUE(std::regex_match(content, expected)) << content;
}

}  // namespace
}  // namespace moritane
