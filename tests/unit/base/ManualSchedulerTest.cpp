#include "core/base/ManualScheduler.h"

#include <gtest/gtest.h>

#include <memory>

namespace quillon {
namespace {

using namespace std::chrono_literals;

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
