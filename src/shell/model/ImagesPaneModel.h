#pragma once

#include "library/ImageManager.h"
#include "library/SavedImage.h"
#include "support/Uuid.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// The rows in rename mode, by id, with the text of their name field: the pane's only state of its
/// own. Keyed by id, it survives renames and moves.
using EditedNames = std::map<Uuid, std::string>;

/// Everything the images pane reads, as it stands at the moment of drawing.
struct ImagesPaneState {
    std::vector<SavedImage> savedImages;
    std::filesystem::path imagesDirectory;
    EditedNames editedNames;
};

struct ImageRowModel {
    Uuid id;
    std::string name;
    /// The image file's own name, shown beside the name while the row is not being renamed.
    std::string fileName;
    /// None when the entry's file name could not name a file in the library.
    std::optional<std::filesystem::path> thumbnailFile;
    bool isEditingName = false;
    /// The text of the name field, while editing.
    std::string editedName{};
    /// The file name and the rename and delete buttons, or else the save button.
    bool showsFileName = true;
    bool showsRename = true;
    bool showsDelete = true;
    bool showsSave = false;

    friend bool operator==(const ImageRowModel&, const ImageRowModel&) = default;
};

struct ImagesPaneContent {
    /// The empty state instead of the list.
    bool isEmpty = true;
    /// In library order.
    std::vector<ImageRowModel> rows;
};

ImagesPaneContent makeImagesPaneContent(const ImagesPaneState& state);

/// `text` without the white space and line breaks at either end, Unicode's as well as ASCII's.
std::string trimmedName(std::string_view text);

/// Puts the row of `image` in rename mode, its field holding the current name.
void startEditing(EditedNames& editedNames, const SavedImage& image);

/// Ends the rename mode of the row `id` and renames the entry to the field's text, trimmed, unless
/// that is empty: an empty field is the way to back out.
void commitEditing(EditedNames& editedNames, const Uuid& id, ImageManager& imageManager);

/// Drops the rename mode of rows whose entries have left the library.
void forgetMissingRows(EditedNames& editedNames, const std::vector<SavedImage>& savedImages);

/// Deletes the first entry with `id`; nothing when there is none.
void deleteImage(ImageManager& imageManager, const Uuid& id);

/// Moves the rows at `fromOffsets` to `toOffset`, counted before the move. A drop that would leave
/// the order as it is writes nothing.
void moveRows(ImageManager& imageManager, const std::set<std::size_t>& fromOffsets, std::size_t toOffset);

}  // namespace moritane
