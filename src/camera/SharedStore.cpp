#include "camera/SharedStore.h"

#include "support/Files.h"

namespace moritane {

std::optional<std::filesystem::path> SharedStore::appGroupContainerURL() const {
    return m_container.containerURL(Constants::appGroupIdentifier);
}

std::filesystem::path SharedStore::fallbackSharedDirectoryURL() const {
    auto directory = m_container.fixedSharedDirectory();
    // A failure, an existing directory included, is not ours to report: later writes under it
    // fail by themselves.
    std::call_once(m_fallbackMade, [&] { files::createDirectories(directory); });
    return directory;
}

std::filesystem::path SharedStore::sharedDirectoryURL() const {
    if (auto container = appGroupContainerURL()) {
        return *container;
    }
    return fallbackSharedDirectoryURL();
}

std::filesystem::path SharedStore::stateFileURL() const {
    return sharedDirectoryURL() / Constants::stateFileName;
}

std::filesystem::path SharedStore::heartbeatFileURL() const {
    return sharedDirectoryURL() / Constants::heartbeatFileName;
}

std::filesystem::path SharedStore::imagesIndexURL() const {
    return sharedDirectoryURL() / Constants::imagesIndexFileName;
}

std::filesystem::path SharedStore::imagesDirectoryURL() const {
    auto directory = sharedDirectoryURL() / Constants::imagesFolderName / "";
    files::createDirectories(directory);
    return directory;
}

std::optional<Error> SharedStore::writeState(const Constants::CameraState& state) const {
    const auto path = stateFileURL();
    auto bytes = Constants::encode(state);
    if (!bytes) {
        return bytes.error();
    }
    return files::writeFileAtomically(path, bytes.value());
}

void SharedStore::refreshHeartbeat(std::chrono::system_clock::time_point now) const {
    const auto path = heartbeatFileURL();
    if (!files::exists(path)) {
        files::createEmptyFile(path);
    }
    files::setModificationTime(path, now);
}

}  // namespace moritane
