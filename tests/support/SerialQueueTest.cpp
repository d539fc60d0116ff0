#include "support/SerialQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <set>
#include <vector>

namespace moritane {
namespace {

TEST(SerialQueueTest, RunsWorkInOrderOnOneThreadOfItsOwn) {
    std::vector<int> order;
    std::set<std::thread::id> threads;
    std::promise<void> finished;
    {
        SerialQueue queue("com.orsk.moritane.test");
        EXPECT_EQ(queue.label(), "com.orsk.moritane.test");
        for (int i = 0; i < 100; ++i) {
            queue.async([&, i] {
                order.push_back(i);
                threads.insert(std::this_thread::get_id());
            });
        }
        queue.async([&] { finished.set_value(); });
        finished.get_future().wait();
    }
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    ASSERT_EQ(threads.size(), 1U);
    EXPECT_NE(*threads.begin(), std::this_thread::get_id());
}

TEST(SerialQueueTest, DestroyingTheQueueRunsWhatIsQueued) {
    std::atomic<int> ran = 0;
    {
        SerialQueue queue("q");
        std::promise<void> gate;
        auto opened = gate.get_future().share();
        queue.async([opened] { opened.wait(); });
        for (int i = 0; i < 10; ++i) {
            queue.async([&] { ++ran; });
        }
        gate.set_value();
    }
    EXPECT_EQ(ran, 10);
}

TEST(SerialQueueTest, AcceptsWorkFromManyThreadsAtOnce) {
    std::atomic<int> ran = 0;
    {
        SerialQueue queue("q");
        std::vector<std::thread> producers;
        for (int t = 0; t < 4; ++t) {
            producers.emplace_back([&] {
                for (int i = 0; i < 250; ++i) {
                    queue.async([&] { ++ran; });
                }
            });
        }
        for (auto& producer : producers) {
            producer.join();
        }
    }
    EXPECT_EQ(ran, 1000);
}

}  // namespace
}  // namespace moritane
