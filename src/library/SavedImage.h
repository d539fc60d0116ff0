#pragma once

#include "support/Error.h"
#include "support/Uuid.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// One entry of the image library: the element of images.json.
struct SavedImage {
    Uuid id;
    /// Shown to the user; the only field the user changes.
    std::string name;
    /// The file inside the Images folder; set at import and never changed.
    std::string fileName;

    friend bool operator==(const SavedImage&, const SavedImage&) = default;
};

/// Larger index files are not read: at about 150 bytes an entry, this is some 400,000 images.
inline constexpr std::size_t maxImagesIndexBytes = 64UL * 1024UL * 1024UL;

/// The image's file in `imagesDirectory`. None when `fileName` is not one plain name (empty, ".",
/// "..", or holding a "/"): such a name never comes from an import and must not reach outside.
std::optional<std::filesystem::path> imageFileURL(const std::filesystem::path& imagesDirectory,
                                                  const SavedImage& image);

/// The index as one compact JSON array of {"id", "name", "fileName"} objects, in list order, ids
/// in upper case. Fails only for text that is not valid UTF-8.
Result<std::string> encodeSavedImages(const std::vector<SavedImage>& images);

/// Reads an index: a top-level array whose objects all carry the three string members, "id" a
/// UUID in either case; other members are ignored and one bad object fails the whole index.
Result<std::vector<SavedImage>> decodeSavedImages(std::string_view bytes);

}  // namespace moritane
