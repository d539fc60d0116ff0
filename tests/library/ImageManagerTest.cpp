#include "library/ImageManager.h"

#include "cameraextension/SharedStateReader.h"
#include "support/Files.h"
#include "testsupport/CoreFixture.h"

#include <fmt/format.h>

#include <sys/stat.h>
#include <atomic>
#include <thread>

namespace moritane {
namespace {

const auto kFirst = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kSecond = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

std::vector<std::string> names(const std::vector<SavedImage>& images) {
    std::vector<std::string> result;
    for (const auto& image : images) {
        result.push_back(image.name);
    }
    return result;
}

class ImageManagerTest : public testing::CoreFixture {
protected:
    std::shared_ptr<ImageManager> make() { return ImageManager::create({store, camera, loop, log}); }

    /// A source file outside the shared directory.
    std::filesystem::path source(const std::string& name, std::string_view bytes = "image bytes") {
        std::filesystem::create_directories(sources.path());
        testing::writeFile(sources / name, bytes);
        return sources / name;
    }

    /// Seeds the library with images named "A", "B", ... whose files exist.
    std::shared_ptr<ImageManager> library(const std::vector<std::string>& entries) {
        auto manager = make();
        for (const auto& name : entries) {
            manager->addImage(source(name, name));
        }
        camera.get();  // up and running, as in the application
        log.clear();
        return manager;
    }

    [[nodiscard]] std::vector<SavedImage> onDisk() const {
        auto images = SharedStateReader(root.path()).images();
        return images ? images.value() : std::vector<SavedImage>{};
    }
    [[nodiscard]] std::filesystem::path index() const { return root / "images.json"; }
    [[nodiscard]] std::filesystem::path fileOf(const SavedImage& image) const {
        return root / "Images" / image.fileName;
    }
    [[nodiscard]] std::string wroteLine(std::size_t entries) const {
        return fmt::format("ImageManager: wrote images.json ({} entries, {} bytes) to {}", entries,
                           std::filesystem::file_size(index()), index().string());
    }

    testing::TemporaryDirectory sources;
};

TEST_F(ImageManagerTest, AFirstRunWritesNothingUntilTheFirstImport) {
    const auto manager = make();
    EXPECT_TRUE(manager->savedImages.value().empty());
    EXPECT_FALSE(files::exists(index()));
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               fmt::format("ImageManager: no images.json at {} (first run?)", index().string())});
    log.clear();

    const auto photo = source("photo.png", "\x89PNG\r\n\x1a\n-bytes");
    manager->addImage(photo);
    ASSERT_EQ(manager->savedImages.value().size(), 1U);
    const auto& image = manager->savedImages.value()[0];
    EXPECT_EQ(image.name, "photo");
    EXPECT_EQ(testing::readFile(fileOf(image)), "\x89PNG\r\n\x1a\n-bytes");
    EXPECT_EQ(onDisk(), manager->savedImages.value());
    EXPECT_EQ(log.lines(), (std::vector<std::string>{fmt::format("ImageManager: copied {} -> {}, savedImages count=1",
                                                                 photo.string(), fileOf(image).string()),
                                                     wroteLine(1)}));
    EXPECT_FALSE(camera.isMade());  // an import never touches the camera
}

TEST_F(ImageManagerTest, ImportKeepsTheSourceNameBehindAFreshUuidAndDropsOnlyTheLastExtension) {
    const auto manager = make();
    struct Case {
        std::string source;
        std::string name;
        std::string fileSuffix;
    };
    const std::vector<Case> cases{
        {"holiday photo.final.jpeg", "holiday photo.final", "_holiday photo.final.jpeg"},
        {"README", "README", "_README"},
        {"写真 その1.png", "写真 その1", "_写真 その1.png"},
        {".hidden", ".hidden", "_.hidden"},
        {"trailing.", "trailing.", "_trailing."},
        {"caf\xe9.png", "caf\xEF\xBF\xBD", "_caf\xEF\xBF\xBD.png"},  // no UTF-8: replacement characters
        {"README", "README", "_README"},                             // the same file again: an entry of its own
    };
    std::set<std::string> fileNames;
    std::set<Uuid> ids;
    for (const auto& [sourceName, expectedName, fileSuffix] : cases) {
        SCOPED_TRACE(sourceName);
        manager->addImage(source(sourceName, sourceName));
        const auto& image = manager->savedImages.value().back();
        EXPECT_EQ(image.name, expectedName);
        EXPECT_EQ(image.fileName.substr(36), fileSuffix);
        const auto prefix = Uuid::fromString(image.fileName.substr(0, 36));
        ASSERT_TRUE(prefix) << image.fileName;
        EXPECT_EQ(prefix->uuidString(), image.fileName.substr(0, 36));  // upper case
        EXPECT_NE(*prefix, image.id);
        EXPECT_EQ(testing::readFile(fileOf(image)), sourceName);
        fileNames.insert(image.fileName);
        ids.insert(image.id);
    }
    EXPECT_EQ(fileNames.size(), cases.size());
    EXPECT_EQ(ids.size(), cases.size());
}

TEST_F(ImageManagerTest, AFailedCopyLogsInJapaneseAndChangesNothing) {
    const auto manager = library({"A"});
    const auto before = testing::readFile(index());
    std::filesystem::create_directories(sources / "folder.png");
    ASSERT_EQ(::mkfifo((sources / "pipe.png").c_str(), 0600), 0);
    // /proc/self/mem opens but fails on the first read: the partial copy must not stay behind. The
    // last source is fine, but the Images folder has become a file.
    for (const std::filesystem::path& bad : {sources / "missing.png", sources / "folder.png", sources / "pipe.png",
                                             std::filesystem::path("/proc/self/mem"), source("a.png")}) {
        if (bad == sources / "a.png") {
            std::filesystem::rename(root / "Images", root / "Images.moved");
            testing::writeFile(root / "Images", "not a folder");
        }
        manager->addImage(bad);
        ASSERT_EQ(log.lines().size(), 1U) << bad;
        EXPECT_TRUE(log.lines()[0].starts_with("ImageManager: 画像のコピーに失敗: ")) << log.lines()[0];
        log.clear();
    }
    EXPECT_EQ(names(manager->savedImages.value()), std::vector<std::string>{"A"});
    EXPECT_EQ(testing::readFile(index()), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root / "Images.moved"), {}), 1);
}

TEST_F(ImageManagerTest, AnImportFromAnotherThreadChangesTheListOnTheMainThread) {
    const auto manager = make();
    std::vector<bool> toldOnMain;
    const auto subscription = manager->savedImages.subscribe(
        [&](const std::vector<SavedImage>&) { toldOnMain.push_back(loop.isMainThread()); });
    std::atomic<bool> finished = false;
    std::thread importer([&] {
        manager->addImage(source("from worker.png"));
        loop.post([&] { finished = true; });
    });
    while (!finished) {
        loop.waitAndDrainMain();
    }
    importer.join();
    EXPECT_EQ(toldOnMain, (std::vector<bool>{true, true}));
    EXPECT_EQ(names(manager->savedImages.value()), std::vector<std::string>{"from worker"});
    EXPECT_EQ(onDisk(), manager->savedImages.value());
}

TEST_F(ImageManagerTest, LoadingKeepsTheOrderAndRewritesOnlyOnTheNextChange) {
    const auto text = R"([{"name":"Second","fileName":"f2","id":"aaaaaaaa-bbbb-4ccc-8ddd-eeeeeeeeeeee","x":[1]},)"
                      R"({"id":"11111111-2222-4333-8444-555555555555","name":"First","fileName":"f1"},)"
                      R"({"id":"11111111-2222-4333-8444-555555555555","name":"Twin","fileName":"f3"}])";
    testing::writeFile(index(), text);
    const auto manager = make();
    EXPECT_EQ(manager->savedImages.value(),
              (std::vector<SavedImage>{{kSecond, "Second", "f2"}, {kFirst, "First", "f1"}, {kFirst, "Twin", "f3"}}));
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{fmt::format("ImageManager: loaded 3 images from {}", index().string())});
    EXPECT_EQ(testing::readFile(index()), text);
    manager->renameImage(kFirst, "Renamed");  // an id held twice: the first only
    EXPECT_EQ(testing::readFile(index()),
              R"([{"id":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE","name":"Second","fileName":"f2"},)"
              R"({"id":"11111111-2222-4333-8444-555555555555","name":"Renamed","fileName":"f1"},)"
              R"({"id":"11111111-2222-4333-8444-555555555555","name":"Twin","fileName":"f3"}])");
}

TEST_F(ImageManagerTest, AnIndexThatCannotBeLoadedStartsEmptyAndIsKeptAsideAtTheNextSave) {
    struct Case {
        std::string what;
        std::function<void(const std::filesystem::path&)> makeIndex;
        std::string logStart;
    };
    const std::vector<Case> cases{
        {"undecodable",
         [](const auto& path) { testing::writeFile(path, R"([{"id":"not a uuid","name":"n","fileName":"f"}])"); },
         "ImageManager: failed to decode images.json: "},
        {"a directory", [](const auto& path) { std::filesystem::create_directory(path); },
         "ImageManager: no images.json at "},
        {"oversized",
         [](const auto& path) {
             testing::writeFile(path, "[");
             std::filesystem::resize_file(path, maxImagesIndexBytes + 1);
         },
         "ImageManager: no images.json at "},
    };
    for (const auto& [what, makeIndex, logStart] : cases) {
        SCOPED_TRACE(what);
        const testing::TemporaryDirectory directory;
        const FakeAppGroupContainer otherContainer(directory.path(), directory / "fixed");
        const SharedStore otherStore(otherContainer);
        const auto path = directory / "images.json";
        makeIndex(path);
        struct stat before {};
        ::stat(path.c_str(), &before);
        log.clear();
        const auto manager = ImageManager::create({otherStore, camera, loop, log});
        EXPECT_TRUE(manager->savedImages.value().empty());
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_TRUE(log.lines()[0].starts_with(logStart)) << log.lines()[0];

        manager->addImage(source("new.png"));
        const auto aside = files::setAsidePath(path, loop.now());
        struct stat kept {};
        ASSERT_EQ(::stat(aside.c_str(), &kept), 0);
        EXPECT_EQ(kept.st_ino, before.st_ino);  // the user's own file, whole
        EXPECT_EQ(kept.st_size, before.st_size);
        EXPECT_EQ(SharedStateReader(directory.path()).images().value(), manager->savedImages.value());
        EXPECT_EQ(log.lines()[2], "ImageManager: kept the images.json it could not load as " + aside.string());
    }
}

TEST_F(ImageManagerTest, AFailedWriteIsLoggedAndTheListStaysAhead) {
    const auto manager = make();
    std::filesystem::create_directory(index());  // appears after the load: not the user's index
    log.clear();
    manager->addImage(source("a.png"));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_TRUE(log.lines()[1].starts_with("ImageManager: failed to write images.json: ")) << log.lines()[1];
    EXPECT_EQ(manager->savedImages.value().size(), 1U);
    std::filesystem::remove(index());
    manager->renameImage(manager->savedImages.value()[0].id, "b");
    EXPECT_EQ(onDisk(), manager->savedImages.value());
}

TEST_F(ImageManagerTest, RenamingTouchesOnlyTheIndex) {
    const auto manager = library({"A.png", "B.png"});
    const auto shown = manager->savedImages.value()[1];
    camera.get().selectImage(shown.id);
    const auto state = stateFile();
    log.clear();

    manager->renameImage(shown.id, "  Beach \"2024\"  ");
    EXPECT_EQ(names(onDisk()), (std::vector<std::string>{"A", "  Beach \"2024\"  "}));
    EXPECT_EQ(onDisk()[1].fileName, shown.fileName);
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(2)});
    EXPECT_EQ(stateFile(), state);

    log.clear();
    const auto before = files::modificationTime(index());
    manager->renameImage(Uuid::random(), "Nobody");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(files::modificationTime(index()), before);
}

TEST_F(ImageManagerTest, DeletingRemovesFilesEntriesAndIndexThenOnlyTheImageOnShowTurnsTheCameraOff) {
    const auto manager = library({"A.png", "B.png", "C.png", "D.png"});
    const auto images = manager->savedImages.value();
    camera.get().selectImage(images[3].id);
    std::filesystem::remove(fileOf(images[2]));  // a file already gone is no failure
    log.clear();
    manager->deleteImages({2});
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(3)});

    log.clear();
    manager->deleteImages({0, 2});
    EXPECT_EQ(names(manager->savedImages.value()), std::vector<std::string>{"B"});
    EXPECT_FALSE(files::exists(fileOf(images[0])));
    EXPECT_TRUE(files::exists(fileOf(images[1])));
    EXPECT_FALSE(files::exists(fileOf(images[3])));
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{wroteLine(1), "CameraManager: wrote state mode=off image=nil camera=nil"}));
    EXPECT_EQ(camera.get().lastSelectedImageId(), images[3].id);  // left for the shortcut to cope with

    camera.get().switchToCamera();
    camera.get().selectedImageId = images[1].id;  // an id outside image mode does not count
    log.clear();
    manager->deleteImages({0});
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(0)});
    EXPECT_EQ(testing::readFile(index()), "[]");
}

TEST_F(ImageManagerTest, ADeleteNeverReachesOutsideTheImagesFolder) {
    testing::writeFile(root / "precious", "keep");
    testing::writeFile(index(), R"([{"id":"11111111-2222-4333-8444-555555555555","name":"a","fileName":"../precious"},)"
                                R"({"id":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE","name":"b","fileName":".."}])");
    const auto manager = make();
    manager->deleteImages({0, 1, 7});
    EXPECT_EQ(testing::readFile(root / "precious"), "keep");
    EXPECT_TRUE(std::filesystem::is_directory(root / "Images"));
    EXPECT_EQ(testing::readFile(index()), "[]");
}

TEST_F(ImageManagerTest, MovesCountTheTargetBeforeTheMoveAndKeepOrder) {
    struct Case {
        std::set<std::size_t> from;
        std::size_t to;
        std::string expected;
    };
    const std::vector<Case> cases{
        {{1, 3}, 0, "BDACE"}, {{1, 3}, 5, "ACEBD"}, {{1, 3}, 2, "ABDCE"}, {{1, 3}, 4, "ACBDE"},
        {{0}, 2, "BACDE"},    {{4}, 0, "EABCD"},    {{2}, 2, "ABCDE"},    {{2}, 3, "ABCDE"},
    };
    const auto manager = library({"A", "B", "C", "D", "E"});
    const auto original = manager->savedImages.value();
    for (const auto& [from, to, expected] : cases) {
        manager->savedImages = original;
        manager->moveImages(from, to);
        std::string order;
        for (const auto& image : onDisk()) {
            order += image.name;
        }
        EXPECT_EQ(order, expected) << "to " << to;
    }
}

}  // namespace
}  // namespace moritane
