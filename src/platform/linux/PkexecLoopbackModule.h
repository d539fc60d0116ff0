#pragma once

#include "platform/linux/CameraExtensionDeployment.h"

#include <sys/types.h>
#include <atomic>
#include <filesystem>

namespace moritane {

/// The module as the kernel and kmod see it: loaded when sysfs lists it, installed when modprobe
/// finds it for the running kernel (built into it, in its tree, or added by DKMS), loaded by
/// modprobe run as the administrator through pkexec, whose agent asks the user.
class PkexecLoopbackModule final : public LoopbackModule {
public:
    struct Programs {
        std::filesystem::path modules = "/sys/module";
        std::filesystem::path pkexec = "/usr/bin/pkexec";
        /// Where Debian has it, merged /usr or not.
        std::filesystem::path modprobe = "/sbin/modprobe";
    };

    explicit PkexecLoopbackModule(Programs programs);
    PkexecLoopbackModule();

    [[nodiscard]] State state() const override;
    /// Loaded for an exit status 0; dismissed for pkexec's 126 (the dialog was dismissed) and 127
    /// (not authorised); refused by policy when the kernel turned down the module's signature, as
    /// Secure Boot does for an unsigned DKMS build; failed otherwise, with what was said.
    [[nodiscard]] LoadResult load() override;
    /// Ends pkexec, whose dialog goes with it.
    void cancel() override;

private:
    Programs m_programs;
    /// The pkexec under way, or 0.
    std::atomic<pid_t> m_loading = 0;
    std::atomic<bool> m_cancelled = false;
};

}  // namespace moritane
