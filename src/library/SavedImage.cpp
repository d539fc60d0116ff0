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

std::optional<std::filesystem::path> imageFileURL(const std::filesystem::path& imagesDirectory,
                                                  const SavedImage& image) {
    const auto& name = image.fileName;
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    return imagesDirectory / name;
}

Result<std::string> encodeSavedImages(const std::vector<SavedImage>& images) {
    // Written member by member rather than through a document tree: a save rewrites the whole
    // index, so this runs once per change over every entry.
    std::string bytes = "[";
    bytes.reserve(images.size() * 160 + 2);
    try {
        for (const auto& image : images) {
            if (bytes.size() > 1) {
                bytes += ',';
            }
            bytes += R"({"id":")";
            bytes += image.id.uuidString();
            bytes += R"(","name":)";
            bytes += nlohmann::json(image.name).dump();
            bytes += R"(,"fileName":)";
            bytes += nlohmann::json(image.fileName).dump();
            bytes += '}';
        }
    } catch (const nlohmann::json::type_error& error) {
        return Error{"SavedImage", 2, error.what()};
    }
    bytes += ']';
    return bytes;
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
