#include "cameraextension/SharedStateReader.h"

#include "support/Files.h"

#include <fmt/format.h>

#include <algorithm>

namespace moritane {

Result<Constants::CameraState> SharedStateReader::state() const {
    auto bytes = files::readFile(m_directory / Constants::stateFileName, Constants::maxStateFileBytes);
    if (!bytes) {
        return bytes.error();
    }
    return Constants::decodeCameraState(bytes.value());
}

Result<std::vector<SavedImage>> SharedStateReader::images() const {
    auto bytes = files::readFile(m_directory / Constants::imagesIndexFileName, maxImagesIndexBytes);
    if (!bytes) {
        return bytes.error();
    }
    return decodeSavedImages(bytes.value());
}

std::optional<SharedStateReader::TimePoint> SharedStateReader::heartbeat() const {
    return files::modificationTime(m_directory / Constants::heartbeatFileName);
}

std::optional<std::chrono::nanoseconds> SharedStateReader::heartbeatAge(TimePoint now) const {
    const auto seen = heartbeat();
    if (!seen) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now - *seen);
}

SharedStateReader::Output SharedStateReader::output() const {
    const auto current = state();
    if (!current) {
        return Output{Constants::CameraMode::off, std::nullopt, std::nullopt,
                      fmt::format("cannot read {}: {}", Constants::stateFileName, current.error().description)};
    }
    const auto& value = current.value();
    Output output{value.mode, std::nullopt, std::nullopt, std::nullopt};
    switch (value.mode) {
    case Constants::CameraMode::off:
        break;
    case Constants::CameraMode::camera:
        output.cameraId = value.selectedCameraId;
        break;
    case Constants::CameraMode::image:
        output.problem = imageFile(value.selectedImageId, output.imageFile);
        break;
    }
    return output;
}

std::optional<std::string> SharedStateReader::imageFile(const std::optional<Uuid>& id,
                                                        std::optional<std::filesystem::path>& file) const {
    if (!id) {
        return "the state names no image";
    }
    const auto index = images();
    if (!index) {
        return fmt::format("cannot read {}: {}", Constants::imagesIndexFileName, index.error().description);
    }
    const auto& entries = index.value();
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [&](const SavedImage& image) { return image.id == *id; });
    if (entry == entries.end()) {
        return fmt::format("image {} is not in {}", id->uuidString(), Constants::imagesIndexFileName);
    }
    file = imageFileURL(m_directory / Constants::imagesFolderName, *entry);
    if (!file) {
        return fmt::format("image {} has no usable file name", id->uuidString());
    }
    return std::nullopt;
}

}  // namespace moritane
