#include "camera/CameraState.h"

#include <gtest/gtest.h>

namespace moritane::Constants {
namespace {

const auto kImage = *Uuid::fromString("6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8");

TEST(CameraStateTest, EncodesTheExactCompactBytes) {
    struct Row {
        CameraState state;
        std::string bytes;
    };
    const std::vector<Row> rows{
        {{CameraMode::off, std::nullopt, std::nullopt}, R"({"mode":"off"})"},
        {{CameraMode::camera, std::nullopt, std::nullopt}, R"({"mode":"camera"})"},
        {{CameraMode::image, kImage, std::nullopt},
         R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"})"},
        {{CameraMode::off, std::nullopt, "usb-0000:00:14.0-1"},
         R"({"mode":"off","selectedCameraId":"usb-0000:00:14.0-1"})"},
        {{CameraMode::image, kImage, "cam \"é\""},
         R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","selectedCameraId":"cam \"é\""})"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(encode(row.state).value(), row.bytes);
        EXPECT_EQ(decodeCameraState(row.bytes).value(), row.state) << row.bytes;
    }
}

TEST(CameraStateTest, ReadsNullAndAbsentIdsAsNoneAcceptsLowerCaseAndIgnoresOtherKeys) {
    const auto state = decodeCameraState(
        R"({"selectedCameraId":null,"extra":[1,2],"mode":"image","selectedImageId":"6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8"})");
    ASSERT_TRUE(state) << state.error().description;
    EXPECT_EQ(state.value(), (CameraState{CameraMode::image, kImage, std::nullopt}));
    EXPECT_EQ(decodeCameraState(R"({"mode":"camera","selectedImageId":null})").value(),
              (CameraState{CameraMode::camera, std::nullopt, std::nullopt}));
}

TEST(CameraStateTest, AnyBrokenRuleFailsTheWholeRead) {
    for (const auto* bytes : {
             "", "{", R"({"mode":"off")", R"(["off"])", R"("off")", R"({})", R"({"mode":"Off"})", R"({"mode":" off"})",
             R"({"mode":null})", R"({"mode":1})", R"({"mode":"image","selectedImageId":"not-a-uuid"})",
             R"({"mode":"image","selectedImageId":42})", R"({"mode":"camera","selectedCameraId":7})",
             R"({"mode":"camera","selectedCameraId":{"id":"x"}})",
             "{\"mode\":\"off\",\"selectedCameraId\":\"\xc3\x28\"}",  // not UTF-8
         }) {
        EXPECT_FALSE(decodeCameraState(bytes)) << bytes;
    }
}

}  // namespace
}  // namespace moritane::Constants
