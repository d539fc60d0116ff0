#include "platform/linux/DeviceNodeCameraAuthorization.h"

#include "VideoNodeTree.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(DeviceNodeCameraAuthorizationTest, OnlyACameraThatCannotBeOpenedDeniesAccess) {
    using enum testing::VideoNodeTree::Node;
    using Entry = std::tuple<std::string, testing::VideoNodeTree::Node, std::string, std::string>;
    struct Case {
        std::string what;
        std::vector<Entry> nodes;
        AuthorizationStatus expected;
    };
    const std::vector<Case> cases{
        {"no camera", {}, AuthorizationStatus::authorized},
        {"a camera that opens", {{"video0", openable, "Integrated Camera", "0"}}, AuthorizationStatus::authorized},
        {"a camera behind a directory", {{"video0", directory, "Integrated Camera", "0"}}, AuthorizationStatus::denied},
        {"a camera behind a pipe", {{"video2", pipe, "Integrated Camera", "0"}}, AuthorizationStatus::denied},
        {"a camera's metadata node",
         {{"video0", openable, "Integrated Camera", "0"}, {"video1", directory, "Integrated Camera", "1"}},
         AuthorizationStatus::authorized},
        {"the virtual camera", {{"video9", directory, "Moritane", "0"}}, AuthorizationStatus::authorized},
        {"one camera of two",
         {{"video0", openable, "A", "0"}, {"video2", directory, "B", "0"}},
         AuthorizationStatus::denied},
    };
    for (const auto& [what, nodes, expected] : cases) {
        const testing::VideoNodeTree tree;
        for (const auto& [name, kind, kernelName, index] : nodes) {
            tree.add(name, kind, kernelName, index);
        }
        EXPECT_EQ(DeviceNodeCameraAuthorization(tree.dev, tree.sysfs).authorizationStatus(), expected) << what;
    }
}

}  // namespace
}  // namespace moritane
