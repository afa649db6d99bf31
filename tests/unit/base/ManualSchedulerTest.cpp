#include "core/base/ManualScheduler.h"

#include <gtest/gtest.h>

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

TEST(ManualScheduler, TimerSeesItsOwnDueTimeAndClockEndsAtTarget) {
    ManualScheduler scheduler;
    const auto start = scheduler.now();
    TimePoint seen{};
    scheduler.postAfter(250ms, [&] { seen = scheduler.now(); });
    scheduler.advance(1s);
    EXPECT_EQ(seen - start, 250ms);
    EXPECT_EQ(scheduler.now() - start, 1s);
}

TEST(ManualScheduler, CancelledTimerNeverRunsAndIsNotPending) {
    ManualScheduler scheduler;
    bool ran = false;
    auto handle = scheduler.postAfter(30s, [&] { ran = true; });
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    handle.cancel();
    EXPECT_EQ(scheduler.pendingCount(), 0u);
    scheduler.advance(1min);
    EXPECT_FALSE(ran);
    EXPECT_TRUE(handle.isCancelled());
    TimerHandle{}.cancel();  // an empty handle is harmless
}

TEST(ManualScheduler, TasksPostedByTasksRunWithinTheSameAdvanceWhenDue) {
    ManualScheduler scheduler;
    std::vector<int> ticks;
    std::function<void()> tick = [&] {
        ticks.push_back(static_cast<int>(ticks.size()));
        if (ticks.size() < 5) scheduler.postAfter(20ms, tick);
    };
    scheduler.postAfter(20ms, tick);
    scheduler.advance(60ms);
    EXPECT_EQ(ticks.size(), 3u);
    scheduler.advance(1s);
    EXPECT_EQ(ticks.size(), 5u);
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

TEST(ManualScheduler, RunNextJumpsToTheNextTimer) {
    ManualScheduler scheduler;
    const auto start = scheduler.now();
    int runs = 0;
    scheduler.postAfter(90s, [&] { ++runs; });
    EXPECT_TRUE(scheduler.runNext());
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(scheduler.now() - start, 90s);
    EXPECT_FALSE(scheduler.runNext());
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
