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

}  // namespace
}  // namespace quillon
