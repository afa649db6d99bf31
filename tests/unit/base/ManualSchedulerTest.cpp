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

TEST(ManualScheduler, TimersRunAtTheirDueTimeAlsoWhenPostedByTimers) {
    ManualScheduler scheduler;
    const auto start = scheduler.now();
    std::vector<Duration> seen;
    std::function<void()> tick = [&] {
        seen.push_back(scheduler.now() - start);
        if (seen.size() < 5) scheduler.postAfter(20ms, tick);
    };
    scheduler.postAfter(20ms, tick);
    scheduler.advance(60ms);
    EXPECT_EQ(seen, (std::vector<Duration>{20ms, 40ms, 60ms}));
    EXPECT_EQ(scheduler.now() - start, 60ms);

    scheduler.postAfter(90s, [] {});
    EXPECT_TRUE(scheduler.runNext());  // the tick at 80 ms
    EXPECT_EQ(scheduler.now() - start, 80ms);
    while (scheduler.runNext()) {
    }
    EXPECT_EQ(seen.size(), 5u);
    EXPECT_EQ(scheduler.now() - start, 90060ms) << "runNext jumps to each timer in turn";
}

TEST(ManualScheduler, RepeatingTimerRunsAtWholeIntervalsUntilCancelledEvenFromItsOwnRun) {
    ManualScheduler scheduler;
    const auto start = scheduler.now();
    std::vector<Duration> runs;
    TimerHandle handle;
    handle = scheduler.postRepeating(20ms, [&] {
        runs.push_back(scheduler.now() - start);
        if (runs.size() == 4) handle.cancel();
    });
    scheduler.post([] {});
    EXPECT_EQ(scheduler.runUntilIdle(), 1u) << "the first run waits one interval";
    scheduler.advance(50ms);
    EXPECT_EQ(runs, (std::vector<Duration>{20ms, 40ms}));
    scheduler.advance(1s);
    EXPECT_EQ(runs, (std::vector<Duration>{20ms, 40ms, 60ms, 80ms}));
    EXPECT_EQ(scheduler.pendingCount(), 0u);
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
