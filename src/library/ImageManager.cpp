#include "library/ImageManager.h"

#include "support/Files.h"
#include "support/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace moritane {

namespace {

/// The last component of `path` as the user named it; a trailing "/" does not make it empty.
std::string lastPathComponent(const std::filesystem::path& path) {
    std::string_view text = path.native();
    while (text.size() > 1 && text.back() == '/') {
        text.remove_suffix(1);
    }
    const auto slash = text.rfind('/');
    return std::string(slash == std::string_view::npos || text.size() == 1 ? text : text.substr(slash + 1));
}

/// `component` without its last extension. A leading dot starts a name, not an extension, and a
/// trailing dot is no extension.
std::string deletingPathExtension(const std::string& component) {
    const auto dot = component.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == component.size()) {
        return component;
    }
    return component.substr(0, dot);
}

}  // namespace

std::shared_ptr<ImageManager> ImageManager::create(Dependencies dependencies) {
    std::shared_ptr<ImageManager> manager(new ImageManager(dependencies));
    manager->loadImages();
    return manager;
}

void ImageManager::loadImages() {
    const auto path = m_dependencies.store.imagesIndexURL();
    auto bytes = files::readFile(path, maxImagesIndexBytes);
    if (!bytes) {
        m_dependencies.log.write(fmt::format("ImageManager: no images.json at {} (first run?)", path.string()));
        m_indexToSetAside = files::exists(path);
        return;
    }
    auto images = decodeSavedImages(bytes.value());
    if (!images) {
        m_dependencies.log.write(
            fmt::format("ImageManager: failed to decode images.json: {}", images.error().description));
        m_indexToSetAside = true;
        return;
    }
    savedImages = std::move(images).value();
    m_dependencies.log.write(
        fmt::format("ImageManager: loaded {} images from {}", savedImages.value().size(), path.string()));
}

void ImageManager::saveImages() {
    const auto path = m_dependencies.store.imagesIndexURL();
    const auto fail = [&](const Error& error) {
        m_dependencies.log.write(fmt::format("ImageManager: failed to write images.json: {}", error.description));
    };
    const auto bytes = encodeSavedImages(savedImages.value());
    if (!bytes) {
        fail(bytes.error());
        return;
    }
    if (m_indexToSetAside) {
        const auto aside = files::setAside(path, m_dependencies.runLoop.now());
        if (!aside && aside.error().code != ENOENT) {
            fail(aside.error());  // the next save tries again; the user's file is not replaced
            return;
        }
        m_indexToSetAside = false;
        if (aside) {
            m_dependencies.log.write(
                fmt::format("ImageManager: kept the images.json it could not load as {}", aside.value().string()));
        }
    }
    if (const auto error = files::writeFileAtomically(path, bytes.value())) {
        fail(*error);
        return;
    }
    m_dependencies.log.write(fmt::format("ImageManager: wrote images.json ({} entries, {} bytes) to {}",
                                         savedImages.value().size(), bytes.value().size(), path.string()));
}

void ImageManager::addImage(const std::filesystem::path& source) {
    // Any name is kept as it is, except bytes that are no UTF-8, which the index cannot hold.
    const auto sourceName = utf8::replacingInvalid(lastPathComponent(source));
    auto fileName = Uuid::random().uuidString() + "_" + sourceName;
    const auto destination = m_dependencies.store.imagesDirectoryURL() / fileName;
    if (const auto error = files::copyFile(source, destination)) {
        m_dependencies.log.write(fmt::format("ImageManager: 画像のコピーに失敗: {}", error->description));
        return;
    }
    SavedImage image{Uuid::random(), deletingPathExtension(sourceName), std::move(fileName)};
    // The list is read and saved on the main thread only, so the log line and the save go there
    // with the append: a save from here could race a change on the main thread and write an
    // older list over a newer one.
    m_dependencies.runLoop.sync([&] { append(std::move(image), source, destination); });
}

void ImageManager::append(SavedImage image, const std::filesystem::path& source,
                          const std::filesystem::path& destination) {
    auto images = savedImages.value();
    images.push_back(std::move(image));
    savedImages = std::move(images);
    m_dependencies.log.write(fmt::format("ImageManager: copied {} -> {}, savedImages count={}", source.string(),
                                         destination.string(), savedImages.value().size()));
    saveImages();
}

void ImageManager::renameImage(const Uuid& id, const std::string& newName) {
    auto images = savedImages.value();
    const auto entry =
        std::find_if(images.begin(), images.end(), [&](const SavedImage& image) { return image.id == id; });
    if (entry == images.end()) {
        return;
    }
    entry->name = newName;
    savedImages = std::move(images);
    saveImages();
}

void ImageManager::deleteImages(const std::set<std::size_t>& offsets) {
    const auto& current = savedImages.value();
    std::vector<Uuid> deletedIds;
    for (const auto offset : offsets) {
        if (offset < current.size()) {
            deletedIds.push_back(current[offset].id);
        }
    }
    const auto directory = m_dependencies.store.imagesDirectoryURL();
    for (const auto offset : offsets) {
        if (offset >= current.size()) {
            break;
        }
        if (const auto file = imageFileURL(directory, current[offset])) {
            files::removeItem(*file);  // a file that is already gone is no reason to keep the entry
        }
    }
    std::vector<SavedImage> remaining;
    remaining.reserve(current.size());
    for (std::size_t index = 0; index < current.size(); ++index) {
        if (!offsets.contains(index)) {
            remaining.push_back(current[index]);
        }
    }
    savedImages = std::move(remaining);
    saveImages();

    auto& camera = m_dependencies.cameraManager.get();
    const auto& shown = camera.selectedImageId.value();
    if (camera.currentMode.value() == Constants::CameraMode::image && shown &&
        std::find(deletedIds.begin(), deletedIds.end(), *shown) != deletedIds.end()) {
        camera.turnOff();
    }
}

void ImageManager::moveImages(const std::set<std::size_t>& fromOffsets, std::size_t toOffset) {
    const auto& current = savedImages.value();
    std::vector<SavedImage> reordered;
    std::vector<SavedImage> moving;
    std::vector<SavedImage> after;
    reordered.reserve(current.size());
    for (std::size_t index = 0; index < current.size(); ++index) {
        if (fromOffsets.contains(index)) {
            moving.push_back(current[index]);
        } else if (index < toOffset) {
            reordered.push_back(current[index]);
        } else {
            after.push_back(current[index]);
        }
    }
    reordered.insert(reordered.end(), moving.begin(), moving.end());
    reordered.insert(reordered.end(), after.begin(), after.end());
    savedImages = std::move(reordered);
    saveImages();
}

}  // namespace moritane
