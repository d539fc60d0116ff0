#pragma once

#include "platform/linux/CameraExtensionDeployment.h"

#include <filesystem>

namespace moritane {

/// The copies as directories: the embedded one among the application's resources, and this user's
/// installed ones side by side in one root, each named `<short version>-<build version>`, with a
/// symbolic link "current" to the one the session runs. Changes take a lock in the root, so that
/// two instances of the application never interleave theirs.
class DiskExtensionCopies final : public ExtensionCopies {
public:
    DiskExtensionCopies(std::filesystem::path embeddedDirectory, std::filesystem::path installedRoot);

    /// ~/.local/share/moritane/SystemExtensions/<identifier>, whatever XDG_DATA_HOME says.
    static std::filesystem::path userInstalledRoot();

    [[nodiscard]] Result<ExtensionCopy> embedded() const override;
    [[nodiscard]] std::vector<ExtensionCopy> installed() const override;
    /// Copies to a hidden directory, flushed to disk, then renamed into place and made current. A
    /// copy of the same versions that is not current is replaced; one that is current is kept
    /// until removeStale(), and the new one takes the next free name ("-2", "-3", ...).
    [[nodiscard]] std::optional<Error> install() override;
    /// Also removes what an install cut short left behind.
    void removeStale() override;
    [[nodiscard]] std::filesystem::path currentProgram() const override;

    static constexpr std::string_view programName = "moritane-camera";

private:
    /// The name of the directory "current" leads to; empty when there is none.
    [[nodiscard]] std::string currentName() const;
    [[nodiscard]] std::optional<Error> copyEmbedded(const std::filesystem::path& destination) const;
    [[nodiscard]] std::optional<Error> makeCurrent(const std::string& name) const;

    std::filesystem::path m_embedded;
    std::filesystem::path m_root;
};

}  // namespace moritane
