#include "core/base/ManualScheduler.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quillon {
namespace {

using namespace std::chrono_literals;

TEST(ManualScheduler, RunsTasksInDueOrderThenPostingOrder) {
    ManualScheduler scheduler;
    std::vector<std::string> order;
    scheduler.postAfter(2s, [&] { order.push_back("late"); });
    scheduler.post([&] { order.push_back("first"); });
    scheduler.postAfter(1s, [&] { order.push_back("soon-a"); });
    scheduler.postAfter(1s, [&] { order.push_back("soon-b"); });
    scheduler.post([&] { order.push_back("second"); });

    EXPECT_EQ(scheduler.runUntilIdle(), 2u);
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second"}));
    scheduler.advance(2s);
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "soon-a", "soon-b", "late"}));
}

TEST(ManualScheduler, TimersPostedByTimersRunAtTheirDueTimeWithinOneAdvance) {
    ManualScheduler scheduler;
    const auto start = scheduler.now();
    std::vector<Duration> seen;
    std::function<void()> tick = [&] {
        seen.push_back(scheduler.now() - start);
        scheduler.postAfter(20ms, tick);
    };
    scheduler.postAfter(20ms, tick);
    scheduler.advance(60ms);
    EXPECT_EQ(seen, (std::vector<Duration>{20ms, 40ms, 60ms}));
    EXPECT_EQ(scheduler.now() - start, 60ms);
}

// Posts to its scheduler when destroyed, as a session whose last owner is a task does.
struct PostsWhenDestroyed {
    Scheduler& scheduler;
    int& ran;
    ~PostsWhenDestroyed() {
        scheduler.post([&ran = ran] { ++ran; });
    }
};

TEST(ManualScheduler, CapturesOfDroppedTasksMayPostToTheScheduler) {
    int ran = 0;
    {
        ManualScheduler scheduler;
        auto cancelled = std::make_shared<PostsWhenDestroyed>(scheduler, ran);
        scheduler.postAfter(1s, [cancelled] {}).cancel();
        cancelled.reset();  // the cancelled task holds the last reference
        scheduler.advance(2s);
        EXPECT_EQ(ran, 1) << "the post made while the cancelled task was dropped runs";

        auto pending = std::make_shared<PostsWhenDestroyed>(scheduler, ran);
        scheduler.postAfter(1min, [pending] {});
        pending.reset();
    }  // the scheduler drops the pending task, whose capture posts once more: dropped too
    EXPECT_EQ(ran, 1);
}

}  // namespace
}  // namespace quillon
