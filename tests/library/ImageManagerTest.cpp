#include "library/ImageManager.h"

#include "cameraextension/SharedStateReader.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <atomic>
#include <thread>

namespace moritane {
namespace {

using Constants::CameraMode;

const auto kFirst = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kSecond = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

std::vector<std::string> names(const std::vector<SavedImage>& images) {
    std::vector<std::string> result;
    for (const auto& image : images) {
        result.push_back(image.name);
    }
    return result;
}

class ImageManagerTest : public ::testing::Test {
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

    testing::TemporaryDirectory root;
    testing::TemporaryDirectory sources;
    FakeAppGroupContainer container{root.path(), root / "fixed"};
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    CapturingLog log;
    SharedInstance<CameraManager> camera{[this] { return CameraManager::create({store, defaults, loop, log}); }};
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
    const std::vector<std::pair<std::string, std::string>> cases{
        {"holiday photo.final.jpeg", "holiday photo.final"},
        {"README", "README"},
        {"写真 その1.png", "写真 その1"},
        {".hidden", ".hidden"},
        {"trailing.", "trailing."},
    };
    for (const auto& [sourceName, expectedName] : cases) {
        manager->addImage(source(sourceName));
        const auto& image = manager->savedImages.value().back();
        EXPECT_EQ(image.name, expectedName);
        ASSERT_EQ(image.fileName.size(), 37 + sourceName.size());
        EXPECT_EQ(image.fileName.substr(36), "_" + sourceName);
        const auto prefix = Uuid::fromString(image.fileName.substr(0, 36));
        ASSERT_TRUE(prefix) << image.fileName;
        EXPECT_EQ(prefix->uuidString(), image.fileName.substr(0, 36));  // upper case
        EXPECT_NE(*prefix, image.id);
        EXPECT_TRUE(files::exists(fileOf(image)));
    }
    EXPECT_EQ(onDisk(), manager->savedImages.value());
}

TEST_F(ImageManagerTest, ImportingOneFileTwiceMakesTwoIndependentEntries) {
    const auto manager = make();
    const auto photo = source("cat.jpg", "meow");
    manager->addImage(photo);
    manager->addImage(photo);
    const auto& images = manager->savedImages.value();
    ASSERT_EQ(images.size(), 2U);
    EXPECT_EQ(images[0].name, images[1].name);
    EXPECT_NE(images[0].id, images[1].id);
    EXPECT_NE(images[0].fileName, images[1].fileName);
    EXPECT_EQ(testing::readFile(fileOf(images[0])), "meow");
    EXPECT_EQ(testing::readFile(fileOf(images[1])), "meow");
}

TEST_F(ImageManagerTest, ANameThatIsNoUtf8IsKeptWithReplacementCharacters) {
    const auto manager = make();
    manager->addImage(source("caf\xe9.png"));
    ASSERT_EQ(manager->savedImages.value().size(), 1U);
    const auto& image = manager->savedImages.value()[0];
    EXPECT_EQ(image.name, "caf\xEF\xBF\xBD");
    EXPECT_EQ(image.fileName.substr(36), "_caf\xEF\xBF\xBD.png");
    EXPECT_TRUE(files::exists(fileOf(image)));
    EXPECT_EQ(onDisk(), manager->savedImages.value());
}

TEST_F(ImageManagerTest, AFailedCopyLogsInJapaneseAndChangesNothing) {
    const auto manager = library({"A"});
    const auto before = testing::readFile(index());
    std::filesystem::create_directories(sources / "folder.png");
    ASSERT_EQ(::mkfifo((sources / "pipe.png").c_str(), 0600), 0);
    // Readable by name but failing on the first read: the partial copy must not stay behind.
    for (const std::filesystem::path& bad : {sources / "missing.png", sources / "folder.png", sources / "pipe.png",
                                             std::filesystem::path("/proc/self/mem")}) {
        manager->addImage(bad);
        ASSERT_EQ(log.lines().size(), 1U) << bad;
        EXPECT_TRUE(log.lines()[0].starts_with("ImageManager: 画像のコピーに失敗: ")) << log.lines()[0];
        log.clear();
    }
    EXPECT_EQ(names(manager->savedImages.value()), std::vector<std::string>{"A"});
    EXPECT_EQ(testing::readFile(index()), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root / "Images"), {}), 1);
}

TEST_F(ImageManagerTest, AnImagesFolderThatIsAFileFailsTheCopyOnly) {
    testing::writeFile(root / "Images", "not a folder");
    const auto manager = make();
    log.clear();
    manager->addImage(source("a.png"));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.lines()[0].starts_with("ImageManager: 画像のコピーに失敗: ")) << log.lines()[0];
    EXPECT_TRUE(manager->savedImages.value().empty());
    EXPECT_FALSE(files::exists(index()));
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
                      R"({"id":"11111111-2222-4333-8444-555555555555","name":"First","fileName":"f1"}])";
    testing::writeFile(index(), text);
    const auto manager = make();
    EXPECT_EQ(manager->savedImages.value(),
              (std::vector<SavedImage>{{kSecond, "Second", "f2"}, {kFirst, "First", "f1"}}));
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{fmt::format("ImageManager: loaded 2 images from {}", index().string())});
    EXPECT_EQ(testing::readFile(index()), text);
    manager->renameImage(kFirst, "Renamed");
    EXPECT_EQ(testing::readFile(index()),
              R"([{"id":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE","name":"Second","fileName":"f2"},)"
              R"({"id":"11111111-2222-4333-8444-555555555555","name":"Renamed","fileName":"f1"}])");
}

TEST_F(ImageManagerTest, AnIndexThatCannotBeLoadedIsKeptAsideBeforeTheNextSave) {
    const std::string good = R"({"id":"11111111-2222-4333-8444-555555555555","name":"n","fileName":"f"})";
    const std::vector<std::string> undecodable{
        "[" + good + R"(,{"id":"not a uuid","name":"n","fileName":"f"}])",
        "[" + good + R"(,{"id":"AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE","name":7,"fileName":"f"}])",
        "{" + good + "}",
        "[" + good.substr(0, 30),
        "",
    };
    for (const auto& content : undecodable) {
        const testing::TemporaryDirectory directory;
        const FakeAppGroupContainer otherContainer(directory.path(), directory / "fixed");
        const SharedStore otherStore(otherContainer);
        log.clear();
        testing::writeFile(directory / "images.json", content);
        const auto manager = ImageManager::create({otherStore, camera, loop, log});
        EXPECT_TRUE(manager->savedImages.value().empty());
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_TRUE(log.lines()[0].starts_with("ImageManager: failed to decode images.json: ")) << log.lines()[0];
        EXPECT_EQ(testing::readFile(directory / "images.json"), content);

        manager->addImage(source("new.png"));
        const auto aside = files::setAsidePath(directory / "images.json", loop.now());
        EXPECT_EQ(testing::readFile(aside), content);
        EXPECT_EQ(SharedStateReader(directory.path()).images().value(), manager->savedImages.value());
        EXPECT_EQ(log.lines()[2], "ImageManager: kept the images.json it could not load as " + aside.string());
    }
}

TEST_F(ImageManagerTest, AnIndexThatCannotBeReadCountsAsAbsentButIsKeptToo) {
    std::filesystem::create_directory(index());
    testing::writeFile(index() / "inside", "x");
    const auto manager = make();
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               fmt::format("ImageManager: no images.json at {} (first run?)", index().string())});
    manager->addImage(source("a.png"));
    EXPECT_EQ(testing::readFile(files::setAsidePath(index(), loop.now()) / "inside"), "x");
    EXPECT_EQ(onDisk(), manager->savedImages.value());
}

TEST_F(ImageManagerTest, AnOversizedIndexIsNotReadAndIsKept) {
    testing::writeFile(index(), "[");
    std::filesystem::resize_file(index(), maxImagesIndexBytes + 1);
    const auto manager = make();
    EXPECT_TRUE(manager->savedImages.value().empty());
    manager->renameImage(kFirst, "nothing to rename");
    EXPECT_EQ(std::filesystem::file_size(index()), maxImagesIndexBytes + 1);  // no change, no save
    manager->addImage(source("a.png"));
    EXPECT_EQ(std::filesystem::file_size(files::setAsidePath(index(), loop.now())), maxImagesIndexBytes + 1);
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
    const auto state = testing::readFile(root / "state.json");
    log.clear();

    manager->renameImage(shown.id, "  Beach \"2024\"  ");
    EXPECT_EQ(names(onDisk()), (std::vector<std::string>{"A", "  Beach \"2024\"  "}));
    EXPECT_EQ(onDisk()[1].fileName, shown.fileName);
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(2)});
    EXPECT_EQ(testing::readFile(root / "state.json"), state);

    log.clear();
    const auto before = files::modificationTime(index());
    manager->renameImage(Uuid::random(), "Nobody");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(files::modificationTime(index()), before);
}

TEST_F(ImageManagerTest, RenamingAnIdHeldTwiceRenamesTheFirstOnly) {
    testing::writeFile(index(), R"([{"id":"11111111-2222-4333-8444-555555555555","name":"a","fileName":"f1"},)"
                                R"({"id":"11111111-2222-4333-8444-555555555555","name":"b","fileName":"f2"}])");
    const auto manager = make();
    manager->renameImage(kFirst, "c");
    EXPECT_EQ(names(onDisk()), (std::vector<std::string>{"c", "b"}));
}

TEST_F(ImageManagerTest, DeletingTheImageOnShowRemovesFileEntryIndexThenTurnsTheCameraOff) {
    const auto manager = library({"A.png", "B.png", "C.png"});
    const auto images = manager->savedImages.value();
    camera.get().selectImage(images[2].id);
    log.clear();

    manager->deleteImages({0, 2});
    EXPECT_EQ(names(manager->savedImages.value()), std::vector<std::string>{"B"});
    EXPECT_FALSE(files::exists(fileOf(images[0])));
    EXPECT_TRUE(files::exists(fileOf(images[1])));
    EXPECT_FALSE(files::exists(fileOf(images[2])));
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{wroteLine(1), "CameraManager: wrote state mode=off image=nil camera=nil"}));
    EXPECT_EQ(camera.get().currentMode.value(), CameraMode::off);
    EXPECT_EQ(camera.get().lastSelectedImageId(), images[2].id);  // left for the shortcut to cope with
}

TEST_F(ImageManagerTest, AnyOtherDeleteLeavesTheCameraStateUnwritten) {
    const auto manager = library({"A.png", "B.png", "C.png"});
    const auto images = manager->savedImages.value();
    camera.get().selectImage(images[0].id);
    log.clear();
    manager->deleteImages({1});  // not the image on show
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(2)});

    camera.get().switchToCamera();
    camera.get().selectedImageId = images[0].id;  // an id outside image mode does not count
    log.clear();
    manager->deleteImages({0});
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(1)});

    camera.get().turnOff();
    log.clear();
    manager->deleteImages({0});
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(0)});
    EXPECT_EQ(testing::readFile(index()), "[]");
}

TEST_F(ImageManagerTest, DeletingAnEntryWhoseFileIsGoneLogsNothingForTheFile) {
    const auto manager = library({"A.png", "B.png"});
    std::filesystem::remove(fileOf(manager->savedImages.value()[0]));
    manager->deleteImages({0});
    EXPECT_EQ(log.lines(), std::vector<std::string>{wroteLine(1)});
    EXPECT_EQ(names(onDisk()), std::vector<std::string>{"B"});
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

TEST_F(ImageManagerTest, AChangeOfOrderSurvivesARestart) {
    library({"A", "B", "C"})->moveImages({2}, 0);
    EXPECT_EQ(names(make()->savedImages.value()), (std::vector<std::string>{"C", "A", "B"}));
}

TEST_F(ImageManagerTest, TheExtensionFindsTheSelectedImagesFileThroughTheIndex) {
    const auto manager = library({"A.png", "B.png"});
    const auto chosen = manager->savedImages.value()[1];
    camera.get().selectImage(chosen.id);
    const SharedStateReader extension(root.path());
    EXPECT_EQ(extension.output().imageFile, fileOf(chosen));
    EXPECT_EQ(testing::readFile(*extension.output().imageFile), "B.png");
    manager->deleteImages({1});
    EXPECT_EQ(extension.output().mode, CameraMode::off);
}

// The extension reads images.json without any lock while the application replaces it.
TEST_F(ImageManagerTest, AReaderBesideAThousandSavesNeverSeesAPartialIndex) {
    const auto manager = library({"A", "B", "C"});
    std::atomic<bool> saving = true;
    std::atomic<int> reads = 0;
    std::atomic<int> bad = 0;
    std::thread reader([&] {
        const SharedStateReader extension(root.path());
        while (saving) {
            const auto images = extension.images();
            if (!images || images.value().size() != 3) {
                ++bad;
            }
            ++reads;
        }
    });
    const auto id = manager->savedImages.value()[1].id;
    for (int save = 0; save < 1000; ++save) {
        manager->renameImage(id, std::string(static_cast<std::size_t>(save % 97) * 20, 'n'));
    }
    saving = false;
    reader.join();
    EXPECT_GT(reads, 0);
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(log.lines().size(), 1000U);
}

}  // namespace
}  // namespace moritane
