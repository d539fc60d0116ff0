#include "shell/model/ImagesPaneModel.h"

#include "testsupport/ManagersFixture.h"

#include <algorithm>

namespace moritane {
namespace {

using Constants::CameraMode;

const auto kBeach = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kDesk = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");
const auto kHill = *Uuid::fromString("99999999-8888-4777-8666-555555555555");

class ImagesPaneModelTest : public testing::ManagersFixture {
protected:
    /// Three entries, set in memory only: images.json is not there until something writes it. The
    /// file of "Desk" is missing.
    ImageManager& library() {
        auto& manager = managers.images.get();
        testing::writeFile(managers.store.imagesDirectoryURL() / "beach.png", "beach");
        testing::writeFile(managers.store.imagesDirectoryURL() / "hill.png", "hill");
        manager.savedImages = {
            {kBeach, "Beach", "beach.png"}, {kDesk, "Desk", "desk.png"}, {kHill, "Hill", "hill.png"}};
        log.clear();
        return manager;
    }

    [[nodiscard]] std::vector<std::string> names() {
        std::vector<std::string> made;
        std::ranges::transform(managers.images.get().savedImages.value(), std::back_inserter(made), &SavedImage::name);
        return made;
    }

    [[nodiscard]] long writes() const {
        return std::ranges::count_if(log.lines(),
                                     [](const std::string& line) { return line.starts_with("ImageManager: wrote"); });
    }

    [[nodiscard]] ImagesPaneContent content() {
        return makeImagesPaneContent(
            {managers.images.get().savedImages.value(), managers.store.imagesDirectoryURL(), editedNames});
    }

    EditedNames editedNames;
};

TEST_F(ImagesPaneModelTest, RowsFollowTheLibraryAndOnlyTheEditedRowChanges) {
    EXPECT_TRUE(content().isEmpty);
    managers.images.get().savedImages = {{kBeach, "Beach", "beach.png"}, {kDesk, "Desk", "../desk.png"}};
    const auto before = content();
    ASSERT_EQ(before.rows.size(), 2U);
    EXPECT_FALSE(before.isEmpty);
    EXPECT_EQ(std::tie(before.rows[0].fileName, before.rows[1].fileName), std::tuple("beach.png", "desk.png"));
    EXPECT_EQ(before.rows[0].thumbnailFile, managers.store.imagesDirectoryURL() / "beach.png");
    EXPECT_EQ(before.rows[1].thumbnailFile, std::nullopt);  // it would reach outside the library

    startEditing(editedNames, {kBeach, "Beach", "beach.png"});
    editedNames[kBeach] = "Beach at noon";
    const auto editing = content();
    EXPECT_EQ(editing.rows[1], before.rows[1]);
    const auto& row = editing.rows[0];
    EXPECT_EQ(std::tie(row.isEditingName, row.editedName, row.name), std::tuple(true, "Beach at noon", "Beach"));
    EXPECT_EQ(std::tuple(row.showsFileName, row.showsRename, row.showsDelete, row.showsSave),
              std::tuple(false, false, false, true));
}

TEST(ImagesPaneNameTest, TrimsSpacesAndLineBreaksOfEveryKindAtBothEndsOnly) {
    const std::vector<std::pair<std::string, std::string>> cases{{"  Beach  ", "Beach"},
                                                                 {"\n\t Desk\r\n", "Desk"},
                                                                 {"\u3000山の写真\u3000", "山の写真"},
                                                                 {"\u00A0\u2003Hill\u2028\u0085", "Hill"},
                                                                 {" two  words ", "two  words"},
                                                                 {" \u3000\n", ""}};
    for (const auto& [text, trimmed] : cases) {
        EXPECT_EQ(trimmedName(text), trimmed) << text;
    }
}

TEST_F(ImagesPaneModelTest, CommitRenamesOnlyToANameThatIsNotBlankAndAlwaysEndsEditing) {
    struct Case {
        std::string typed;
        std::string name;
        long writes;
    };
    const std::vector<Case> cases{
        {" \u3000\n", "Desk", 0}, {"  Desk at night \n", "Desk at night", 1}, {"Desk", "Desk", 1}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.typed);
        auto& manager = library();
        startEditing(editedNames, {kDesk, "Desk", "desk.png"});
        startEditing(editedNames, {kHill, "Hill", "hill.png"});
        editedNames[kDesk] = test.typed;
        commitEditing(editedNames, kDesk, manager);
        EXPECT_EQ(names(), (std::vector<std::string>{"Beach", test.name, "Hill"}));
        EXPECT_EQ(writes(), test.writes);
        if (test.writes == 0) {  // the first case: nothing has written before
            EXPECT_FALSE(std::filesystem::exists(root / "images.json"));
        }
        EXPECT_EQ(editedNames, (EditedNames{{kHill, "Hill"}}));
        editedNames.clear();
    }
}

TEST_F(ImagesPaneModelTest, ARowWhoseFileHasGoneIsRenamedMovedAndDeletedWhileAnotherKeepsItsEditing) {
    auto& manager = library();
    startEditing(editedNames, {kHill, "Hill", "hill.png"});
    editedNames[kHill] = "Green hill";
    startEditing(editedNames, {kDesk, "Desk", "desk.png"});
    editedNames[kDesk] = "Old desk";
    commitEditing(editedNames, kDesk, manager);
    moveRows(manager, {2}, 0);
    forgetMissingRows(editedNames, manager.savedImages.value());
    EXPECT_EQ(names(), (std::vector<std::string>{"Hill", "Beach", "Old desk"}));
    EXPECT_EQ(content().rows[0].editedName, "Green hill");

    managers.camera->selectImage(kHill);
    deleteImage(manager, kDesk);
    deleteImage(manager, kHill);
    EXPECT_EQ(managers.camera->currentMode.value(), CameraMode::off) << "the image on show was deleted";
    forgetMissingRows(editedNames, manager.savedImages.value());
    EXPECT_EQ(names(), (std::vector<std::string>{"Beach"}));
    EXPECT_TRUE(editedNames.empty());
    EXPECT_EQ(writes(), 4);
}

TEST_F(ImagesPaneModelTest, DropsThatKeepTheOrderWriteNothing) {
    struct Case {
        std::set<std::size_t> from;
        std::size_t to;
        std::vector<std::string> names;
    };
    const std::vector<Case> cases{
        {{1}, 1, {"Beach", "Desk", "Hill"}},    {{1}, 2, {"Beach", "Desk", "Hill"}},
        {{0, 1}, 2, {"Beach", "Desk", "Hill"}}, {{}, 0, {"Beach", "Desk", "Hill"}},
        {{1}, 0, {"Desk", "Beach", "Hill"}},    {{1}, 3, {"Beach", "Hill", "Desk"}},
        {{0, 2}, 1, {"Beach", "Hill", "Desk"}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(::testing::PrintToString(test.from) + " to " + std::to_string(test.to));
        auto& manager = library();
        moveRows(manager, test.from, test.to);
        EXPECT_EQ(names(), test.names);
        const bool unchanged = test.names == std::vector<std::string>{"Beach", "Desk", "Hill"};
        EXPECT_EQ(writes(), unchanged ? 0 : 1);
    }
}

}  // namespace
}  // namespace moritane
