#include "platform/linux/base/SerialQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillon {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

TEST(SerialQueue, TasksRunInDueOrderAndACancelledTimerNever) {
    SerialQueue queue("test-order");
    std::mutex mutex;
    std::vector<std::string> order;
    const auto note = [&](std::string what) {
        return [&, what] {
            std::lock_guard lock(mutex);
            order.push_back(what);
        };
    };
    std::promise<void> last;
    queue.postAfter(30ms, [&] {
        note("late")();
        last.set_value();
    });
    queue.postAfter(10ms, note("cancelled")).cancel();
    queue.postAfter(20ms, note("timer"));
    queue.post(note("first"));
    queue.post(note("second"));
    last.get_future().wait();
    std::lock_guard lock(mutex);
    EXPECT_THAT(order, ElementsAre("first", "second", "timer", "late"));
}

TEST(SerialQueue, RepeatingTimerKeepsItsPaceAndStopsWhenCancelledFromItsOwnRun) {
    SerialQueue queue("test-repeating");
    std::vector<Duration> runs;  // the worker's alone until the timer is cancelled
    std::promise<TimerHandle> made;
    std::promise<void> fifth;
    const auto start = queue.now();
    auto handle = made.get_future().share();
    made.set_value(queue.postRepeating(5ms, [&] {
        runs.push_back(queue.now() - start);
        if (runs.size() == 5) {
            handle.get().cancel();
            fifth.set_value();
        }
    }));
    fifth.get_future().wait();
    // Due after any further run would be: the queue runs tasks in due order.
    std::promise<void> later;
    queue.postAfter(20ms, [&] { later.set_value(); });
    later.get_future().wait();
    ASSERT_EQ(runs.size(), 5u) << "no run after the cancel";
    for (std::size_t i = 0; i < runs.size(); ++i) {
        EXPECT_GE(runs[i], 5ms * static_cast<int>(i + 1)) << "run " << i << " came before its time";
    }
}

// Posts to its queue when destroyed, as a session whose last owner is a task does.
struct PostsWhenDestroyed {
    Scheduler& queue;
    std::promise<void>& posted;
    ~PostsWhenDestroyed() {
        queue.post([&posted = posted] { posted.set_value(); });
    }
};

TEST(SerialQueue, CapturesOfDroppedTasksMayPostToTheQueue) {
    std::promise<void> fromCancelled;
    std::promise<void> fromDropped;
    {
        SerialQueue queue("test-captures");
        auto capture = std::make_shared<PostsWhenDestroyed>(queue, fromCancelled);
        queue.postAfter(1ms, [capture] {}).cancel();
        capture.reset();  // the cancelled task holds the last reference
        fromCancelled.get_future().wait();

        auto pending = std::make_shared<PostsWhenDestroyed>(queue, fromDropped);
        queue.postAfter(1h, [pending] {});
        pending.reset();
    }  // the queue drops the pending task, whose capture posts once more: dropped too
    EXPECT_NE(fromDropped.get_future().wait_for(0s), std::future_status::ready) << "posted after the end: never run";
}

TEST(SerialQueue, WakeupSignalsMergeAndASignalDuringTheRunAsksForOneMore) {
    SerialQueue queue("test-wakeup");
    std::promise<void> firstStarted, release, secondRan;
    auto released = release.get_future().share();
    std::atomic<int> runs{0};
    auto wakeup = queue.makeWakeup([&] {
        const int run = ++runs;
        if (run == 1) {
            firstStarted.set_value();
            released.wait();
        }
        if (run == 2) secondRan.set_value();
    });
    wakeup->signal();
    firstStarted.get_future().wait();
    std::thread other([&] {
        wakeup->signal();
        wakeup->signal();
    });
    other.join();
    release.set_value();
    secondRan.get_future().wait();
    std::promise<void> settled;  // due after a third run, were one asked for
    queue.post([&settled] { settled.set_value(); });
    settled.get_future().wait();
    EXPECT_EQ(runs, 2) << "two signals during the first run ask for one more, not two";
}

}  // namespace
}  // namespace quillon
