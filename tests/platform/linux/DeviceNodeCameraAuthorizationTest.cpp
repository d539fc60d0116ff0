#include "platform/linux/DeviceNodeCameraAuthorization.h"

#include "VideoNodeTree.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(DeviceNodeCameraAuthorizationTest, OnlyACameraThatCannotBeOpenedDeniesAccess) {
    using enum testing::VideoNodeTree::Node;
    using enum AuthorizationStatus;
    using Nodes = std::vector<std::tuple<std::string, testing::VideoNodeTree::Node, std::string, std::string>>;
    for (const auto& [what, nodes, expected] : std::vector<std::tuple<std::string, Nodes, AuthorizationStatus>>{
             {"no camera", {}, authorized},
             {"a camera that opens", {{"video0", openable, "Integrated Camera", "0"}}, authorized},
             {"a camera behind a directory", {{"video0", directory, "Integrated Camera", "0"}}, denied},
             {"a camera behind a pipe", {{"video2", pipe, "Integrated Camera", "0"}}, denied},
             {"a camera's metadata node",
              {{"video0", openable, "Integrated Camera", "0"}, {"video1", directory, "Integrated Camera", "1"}},
              authorized},
             {"the virtual camera", {{"video9", directory, "Moritane", "0"}}, authorized},
             {"one camera of two", {{"video0", openable, "A", "0"}, {"video2", directory, "B", "0"}}, denied},
         }) {
        const testing::VideoNodeTree tree;
        for (const auto& [name, kind, kernelName, index] : nodes) {
            tree.add(name, kind, kernelName, index);
        }
        EXPECT_EQ(DeviceNodeCameraAuthorization(tree.dev, tree.sysfs).authorizationStatus(), expected) << what;
    }
}

}  // namespace
}  // namespace moritane
