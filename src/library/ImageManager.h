#pragma once

#include "camera/CameraManager.h"
#include "camera/SharedStore.h"
#include "library/SavedImage.h"
#include "support/Log.h"
#include "support/Published.h"
#include "support/RunLoop.h"
#include "support/SharedInstance.h"
#include "support/Uuid.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace moritane {

/// The library of still images: the only writer of images.json and of the Images folder. The
/// list belongs to the main thread and every change rewrites the whole index at once. No
/// operation reports a failure to its caller; each logs one line at most.
class ImageManager {
public:
    struct Dependencies {
        const SharedStore& store;
        /// Asked only when a delete may concern the image on show.
        SharedInstance<CameraManager>& cameraManager;
        RunLoop& runLoop;
        Log& log;
    };

    /// Loads images.json; writes nothing.
    static std::shared_ptr<ImageManager> create(Dependencies dependencies);

    ImageManager(const ImageManager&) = delete;
    ImageManager& operator=(const ImageManager&) = delete;
    ImageManager(ImageManager&&) = delete;
    ImageManager& operator=(ImageManager&&) = delete;
    ~ImageManager() = default;

    /// In the user's order, which is the order of images.json.
    Published<std::vector<SavedImage>> savedImages;

    /// Copies the file at `source` into the library and appends an entry for it. Any thread: the
    /// copy runs on the caller's thread, the change of the list on the main thread, which the
    /// caller waits for (so a caller must never be what the main thread is waiting on).
    void addImage(const std::filesystem::path& source);

    /// Renames the first entry with `id`; nothing at all when there is none.
    void renameImage(const Uuid& id, const std::string& newName);

    /// Removes the entries at `offsets` and their files, and turns the camera off when it was
    /// showing one of them. Positions past the end are not entries and are passed over.
    void deleteImages(const std::set<std::size_t>& offsets);

    /// Moves the entries at `fromOffsets` to `toOffset`, a position counted before the move,
    /// keeping their order.
    void moveImages(const std::set<std::size_t>& fromOffsets, std::size_t toOffset);

    /// Writes images.json from the list as it is.
    void saveImages();

private:
    explicit ImageManager(Dependencies dependencies) : m_dependencies(dependencies) {}

    void loadImages();
    void append(SavedImage image, const std::filesystem::path& source, const std::filesystem::path& destination);

    Dependencies m_dependencies;
    /// An images.json that is there but could not be loaded is the user's: the first save moves
    /// it aside instead of replacing it.
    bool m_indexToSetAside = false;
};

}  // namespace moritane
