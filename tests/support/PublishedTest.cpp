#include "platform/sim/ManualRunLoop.h"
#include "support/Published.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace moritane {
namespace {

TEST(PublishedTest, SubscribersHearTheNewValueBeforeItIsStored) {
    Published<int> property(1);
    std::vector<std::pair<int, int>> heard;  // (argument, stored value at that moment)
    auto subscription = property.subscribe([&](int value) { heard.emplace_back(value, property.value()); });
    property = 2;
    property = 2;  // the same value is told again
    EXPECT_EQ(heard, (std::vector<std::pair<int, int>>{{1, 1}, {2, 1}, {2, 2}}));
    EXPECT_EQ(property.value(), 2);
}

TEST(PublishedTest, AnActionMayCancelAnotherSubscriberWhileBeingTold) {
    Published<int> property(0);
    Subscription second;
    std::vector<std::string> heard;
    auto first = property.subscribe([&](int value) {
        heard.push_back("first " + std::to_string(value));
        if (value == 1) {
            second.cancel();
        }
    });
    second = property.subscribe([&](int value) { heard.push_back("second " + std::to_string(value)); });
    property = 1;
    property = 2;
    EXPECT_EQ(heard, (std::vector<std::string>{"first 0", "second 0", "first 1", "first 2"}));
}

TEST(PublishedTest, MainQueueDeliveryComesOnALaterTurnWithEachValueInOrder) {
    ManualRunLoop loop;
    Published<int> property(7);
    std::vector<int> heard;
    auto subscription = property.subscribe(loop, [&](int value) { heard.push_back(value); });
    property = 8;
    EXPECT_TRUE(heard.empty());
    loop.drainMain();
    EXPECT_EQ(heard, (std::vector<int>{7, 8}));
}

TEST(PublishedTest, AnEndedSubscriptionHearsNothingMoreEvenWhatWasQueuedAndMayOutliveTheProperty) {
    ManualRunLoop loop;
    int calls = 0;
    Subscription outliving;
    {
        Published<int> property(0);
        {
            auto dropped = property.subscribe([&](int) { ++calls; });  // hears the present value only
        }
        auto queued = property.subscribe(loop, [&](int) { ++calls; });
        property = 1;
        queued.cancel();
        loop.drainMain();
        outliving = property.subscribe([](int) {});
    }
    outliving.cancel();
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace moritane
