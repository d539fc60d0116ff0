#include "camera/CameraState.h"

#include <nlohmann/json.hpp>

namespace moritane::Constants {

namespace {

Error decodingError(std::string description) {
    return Error{"CameraState", 1, std::move(description)};
}

/// The string at `key`: none when absent or null, an error for any other type.
Result<std::optional<std::string>> optionalString(const nlohmann::json& object, const char* key) {
    const auto member = object.find(key);
    if (member == object.end() || member->is_null()) {
        return std::optional<std::string>{};
    }
    if (!member->is_string()) {
        return decodingError(std::string("\"") + key + "\" is not a string");
    }
    return std::optional<std::string>(member->get<std::string>());
}

}  // namespace

Result<std::string> encode(const CameraState& state) {
    nlohmann::ordered_json object;
    object["mode"] = rawValue(state.mode);
    if (state.selectedImageId) {
        object["selectedImageId"] = state.selectedImageId->uuidString();
    }
    if (state.selectedCameraId) {
        object["selectedCameraId"] = *state.selectedCameraId;
    }
    try {
        return object.dump();
    } catch (const nlohmann::json::type_error& error) {
        return Error{"CameraState", 2, error.what()};
    }
}

Result<CameraState> decodeCameraState(std::string_view bytes) {
    const auto json = nlohmann::json::parse(bytes, nullptr, false);
    if (json.is_discarded()) {
        return decodingError("the data is not valid JSON");
    }
    if (!json.is_object()) {
        return decodingError("the top level is not an object");
    }
    const auto mode = json.find("mode");
    if (mode == json.end() || !mode->is_string()) {
        return decodingError("\"mode\" is missing or not a string");
    }
    CameraState state;
    if (const auto parsed = cameraModeFromRawValue(mode->get_ref<const std::string&>())) {
        state.mode = *parsed;
    } else {
        return decodingError("\"mode\" is not a mode");
    }
    auto imageId = optionalString(json, "selectedImageId");
    if (!imageId) {
        return imageId.error();
    }
    if (const auto& text = imageId.value()) {
        state.selectedImageId = Uuid::fromString(*text);
        if (!state.selectedImageId) {
            return decodingError("\"selectedImageId\" is not a UUID");
        }
    }
    auto cameraId = optionalString(json, "selectedCameraId");
    if (!cameraId) {
        return cameraId.error();
    }
    state.selectedCameraId = std::move(cameraId).value();
    return state;
}

}  // namespace moritane::Constants
