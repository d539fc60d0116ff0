#include "library/SavedImage.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace moritane {

namespace {

Error decodingError(std::string description) {
    return Error{"SavedImage", 1, std::move(description)};
}

const std::string* stringMember(const nlohmann::json& object, const char* key) {
    const auto member = object.find(key);
    return member != object.end() && member->is_string() ? member->get_ptr<const std::string*>() : nullptr;
}

}  // namespace

Result<std::string> encodeSavedImages(const std::vector<SavedImage>& images) {
    auto array = nlohmann::ordered_json::array();
    for (const auto& image : images) {
        array.push_back({{"id", image.id.uuidString()}, {"name", image.name}, {"fileName", image.fileName}});
    }
    try {
        return array.dump();
    } catch (const nlohmann::json::type_error& error) {
        return Error{"SavedImage", 2, error.what()};
    }
}

Result<std::vector<SavedImage>> decodeSavedImages(std::string_view bytes) {
    const auto json = nlohmann::json::parse(bytes, nullptr, false);
    if (json.is_discarded()) {
        return decodingError("the data is not valid JSON");
    }
    if (!json.is_array()) {
        return decodingError("the top level is not an array");
    }
    std::vector<SavedImage> images;
    images.reserve(json.size());
    for (std::size_t index = 0; index < json.size(); ++index) {
        const auto& object = json[index];
        const auto* id = object.is_object() ? stringMember(object, "id") : nullptr;
        const auto* name = object.is_object() ? stringMember(object, "name") : nullptr;
        const auto* fileName = object.is_object() ? stringMember(object, "fileName") : nullptr;
        if (id == nullptr || name == nullptr || fileName == nullptr) {
            return decodingError(fmt::format(R"(entry {} lacks "id", "name" or "fileName" as text)", index));
        }
        const auto uuid = Uuid::fromString(*id);
        if (!uuid) {
            return decodingError(fmt::format("entry {} has an \"id\" that is not a UUID", index));
        }
        images.push_back(SavedImage{*uuid, *name, *fileName});
    }
    return images;
}

}  // namespace moritane
