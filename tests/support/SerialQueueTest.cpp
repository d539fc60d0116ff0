#include "support/SerialQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <set>
#include <vector>

namespace moritane {
namespace {

TEST(SerialQueueTest, RunsWorkFromManyThreadsInOrderOnOneThreadOfItsOwn) {
    std::array<std::vector<int>, 4> order;
    std::set<std::thread::id> threads;
    std::promise<void> finished;
    {
        SerialQueue queue("com.orsk.moritane.test");
        std::vector<std::thread> producers;
        for (auto& produced : order) {
            producers.emplace_back([&, list = &produced] {
                for (int i = 0; i < 250; ++i) {
                    queue.async([&, list, i] {
                        list->push_back(i);
                        threads.insert(std::this_thread::get_id());
                    });
                }
            });
        }
        for (auto& producer : producers) {
            producer.join();
        }
        queue.async([&] { finished.set_value(); });
        finished.get_future().wait();
    }
    for (const auto& produced : order) {
        ASSERT_EQ(produced.size(), 250U);
        EXPECT_TRUE(std::is_sorted(produced.begin(), produced.end()));
    }
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

}  // namespace
}  // namespace moritane
