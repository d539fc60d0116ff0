#include "library/SavedImage.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

const auto kId = *Uuid::fromString("0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9");

TEST(SavedImageTest, EncodesACompactArrayWithUpperCaseIds) {
    EXPECT_EQ(encodeSavedImages({}).value(), "[]");
    const std::vector<SavedImage> images{{kId, "Beach \"2024\"", "F00D-uuid_beach.final.png"}};
    const auto bytes = encodeSavedImages(images).value();
    EXPECT_EQ(
        bytes,
        R"([{"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","name":"Beach \"2024\"","fileName":"F00D-uuid_beach.final.png"}])");
    EXPECT_EQ(decodeSavedImages(bytes).value(), images);
}

TEST(SavedImageTest, RefusesToEncodeBytesThatAreNoUtf8) {
    const auto refused = encodeSavedImages({{kId, "caf\xe9", "f"}});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().domain, "SavedImage");
}

TEST(SavedImageTest, OneBadObjectFailsTheWholeIndex) {
    const std::string good = R"({"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","name":"n","fileName":"f"})";
    for (const auto& bad : {
             std::string(R"({"name":"n","fileName":"f"})"),
             std::string(R"({"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","fileName":"f"})"),
             std::string(R"({"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","name":"n"})"),
             std::string(R"({"id":"not-a-uuid","name":"n","fileName":"f"})"),
             std::string(R"({"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","name":5,"fileName":"f"})"),
             std::string(R"({"id":"0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9","name":"n","fileName":null})"),
             std::string(R"("just text")"),
             std::string("null"),
         }) {
        EXPECT_FALSE(decodeSavedImages("[" + good + "," + bad + "]")) << bad;
    }
    for (const auto* notAnIndex : {"", "{}", R"({"images":[]})", "[", "\"[]\""}) {
        EXPECT_FALSE(decodeSavedImages(notAnIndex)) << notAnIndex;
    }
}

}  // namespace
}  // namespace moritane
