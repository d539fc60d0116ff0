#include "support/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace moritane {
namespace {

TEST(NotificationCenterTest, DeliversByNameWithTheUserInfoInTheOrderObserversWereAdded) {
    NotificationCenter center;
    std::vector<std::string> heard;
    center.addObserver("a", [&](const Notification& n) { heard.push_back("1:" + n.name + "=" + n.userInfo.at("k")); });
    center.addObserver("b", [&](const Notification&) { heard.emplace_back("other"); });
    center.addObserver("a", [&](const Notification& n) { heard.push_back("2:" + n.userInfo.at("k")); });
    center.post("a", {{"k", "v"}});
    EXPECT_EQ(heard, (std::vector<std::string>{"1:a=v", "2:v"}));
}

TEST(NotificationCenterTest, AnObserverMayRemoveItselfAndPostAgainWhileBeingToldAndHearsNoMore) {
    NotificationCenter center;
    int calls = 0;
    ObserverToken token;
    token = center.addObserver("a", [&](const Notification&) {
        ++calls;
        center.removeObserver(token);
        center.post("a");
    });
    center.post("a");
    center.removeObserver(token);  // a second time is harmless
    center.post("a");
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenterTest, DeliveryRunsOnThePostingThread) {
    NotificationCenter center;
    std::atomic<std::thread::id> deliveredOn;
    center.addObserver("a", [&](const Notification&) { deliveredOn = std::this_thread::get_id(); });
    std::thread poster([&] { center.post("a"); });
    const auto posterId = poster.get_id();
    poster.join();
    EXPECT_EQ(deliveredOn.load(), posterId);
}

}  // namespace
}  // namespace moritane
