#include "shell/model/ImagesPaneModel.h"

#include "support/Utf8.h"

#include <algorithm>

namespace moritane {

namespace {

// White space and line breaks as Unicode counts them: the separators, the ASCII controls that
// break or space, and NEL.
bool isSpaceOrLineBreak(char32_t point) {
    return (point >= 0x09 && point <= 0x0D) || point == 0x20 || point == 0x85 || point == 0xA0 || point == 0x1680 ||
           (point >= 0x2000 && point <= 0x200A) || point == 0x2028 || point == 0x2029 || point == 0x202F ||
           point == 0x205F || point == 0x3000;
}

/// The last path component of the entry's file URL, as a URL names it: trailing slashes aside.
std::string lastPathComponent(const std::filesystem::path& imagesDirectory, const std::string& fileName) {
    auto path = (imagesDirectory / fileName).string();
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const auto slash = path.rfind('/');
    return slash == std::string::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

}  // namespace

ImagesPaneContent makeImagesPaneContent(const ImagesPaneState& state) {
    ImagesPaneContent content;
    content.isEmpty = state.savedImages.empty();
    for (const auto& image : state.savedImages) {
        ImageRowModel row{.id = image.id,
                          .name = image.name,
                          .fileName = lastPathComponent(state.imagesDirectory, image.fileName),
                          .thumbnailFile = imageFileURL(state.imagesDirectory, image)};
        if (const auto edited = state.editedNames.find(image.id); edited != state.editedNames.end()) {
            row.isEditingName = true;
            row.editedName = edited->second;
            row.showsFileName = row.showsRename = row.showsDelete = false;
            row.showsSave = true;
        }
        content.rows.push_back(std::move(row));
    }
    return content;
}

std::string trimmedName(std::string_view text) {
    const auto points = utf8::codePoints(text);
    const auto first = std::find_if_not(points.begin(), points.end(), isSpaceOrLineBreak);
    const auto last = std::find_if_not(points.rbegin(), std::make_reverse_iterator(first), isSpaceOrLineBreak).base();
    std::string trimmed;
    for (auto point = first; point != last; ++point) {
        trimmed += utf8::encode(*point);
    }
    return trimmed;
}

void startEditing(EditedNames& editedNames, const SavedImage& image) {
    editedNames.insert_or_assign(image.id, image.name);
}

void commitEditing(EditedNames& editedNames, const Uuid& id, ImageManager& imageManager) {
    const auto edited = editedNames.find(id);
    if (edited == editedNames.end()) {
        return;
    }
    const auto name = trimmedName(edited->second);
    editedNames.erase(edited);
    if (!name.empty()) {
        imageManager.renameImage(id, name);
    }
}

void forgetMissingRows(EditedNames& editedNames, const std::vector<SavedImage>& savedImages) {
    std::erase_if(editedNames, [&](const auto& entry) {
        return std::none_of(savedImages.begin(), savedImages.end(),
                            [&](const SavedImage& image) { return image.id == entry.first; });
    });
}

void deleteImage(ImageManager& imageManager, const Uuid& id) {
    const auto& images = imageManager.savedImages.value();
    const auto found =
        std::find_if(images.begin(), images.end(), [&](const SavedImage& image) { return image.id == id; });
    if (found != images.end()) {
        imageManager.deleteImages({static_cast<std::size_t>(found - images.begin())});
    }
}

void moveRows(ImageManager& imageManager, const std::set<std::size_t>& fromOffsets, std::size_t toOffset) {
    if (fromOffsets.empty()) {
        return;
    }
    // One unbroken run dropped inside itself or at either of its ends stays where it is.
    const auto first = *fromOffsets.begin();
    const auto last = *fromOffsets.rbegin();
    if (last - first + 1 == fromOffsets.size() && toOffset >= first && toOffset <= last + 1) {
        return;
    }
    imageManager.moveImages(fromOffsets, toOffset);
}

}  // namespace moritane
