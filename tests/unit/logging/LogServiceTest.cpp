#include "core/logging/LogService.h"

#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using testing::TestLog;

class LogServiceTest : public ::testing::Test {
protected:
    std::vector<std::string> ring() {
        std::vector<std::string> lines;
        log_.service->readLines([&](std::vector<std::string> all) { lines = std::move(all); });
        queue_.runUntilIdle();
        return lines;
    }

    ManualScheduler queue_;
    TestLog log_{queue_};
};

TEST_F(LogServiceTest, RingKeepsTheLastThousandInPostingOrder) {
    Logger logger = log_.logger(LogCategory::audio);
    for (int i = 0; i < 1001; ++i) logger.debug("line " + std::to_string(i));
    auto lines = ring();
    ASSERT_EQ(lines.size(), 1000u);
    EXPECT_TRUE(lines.front().ends_with(" - line 1"));
    EXPECT_TRUE(lines.back().ends_with(" - line 1000"));
}

// The caller gets the platform log at once and the ring later. A line below the platform log's
// level still reaches the ring, and a message of several lines stays one entry there.
TEST_F(LogServiceTest, RingTakesEveryLevelAndMultiLineMessagesWhole) {
    log_.output.setMinimumLevel(LogLevel::info);
    log_.logger(LogCategory::hotkey).debug("quiet");
    log_.logger(LogCategory::models).error("first\nsecond");
    EXPECT_TRUE(log_.output.contains(LogLevel::error, "first\nsecond"));
    EXPECT_EQ(log_.output.entries().size(), 1u);
    EXPECT_EQ(queue_.pendingCount(), 2u) << "the caller did not wait for the ring";
    auto lines = ring();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].ends_with(" - quiet"));
    EXPECT_TRUE(lines[1].ends_with(" - first\nsecond"));
}

}  // namespace
}  // namespace quillon
