#include "core/base/SpscRing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

using ::testing::ElementsAreArray;

// Each step pushes a block (all or nothing), then pops up to `pop` values.
struct RingStep {
    std::vector<int> push;
    std::size_t pop = 0;
    bool pushed = true;
    std::vector<int> popped;
    std::size_t sizeAfter = 0;
};

TEST(SpscRingTest, KeepsOrderAndRefusesWhatDoesNotFit) {
    const std::vector<RingStep> steps{
        {{}, 3, true, {}, 0},  // empty: nothing
        // Full: a block that does not fit is refused whole.
        {{1, 2, 3}, 0, true, {}, 3},
        {{4, 5}, 0, false, {}, 3},
        {{4}, 0, true, {}, 4},
        {{5}, 0, false, {}, 4},
        {{}, 9, true, {1, 2, 3, 4}, 0},
        // Around the end.
        {{1, 2, 3}, 2, true, {1, 2}, 1},
        {{4, 5, 6}, 0, true, {}, 4},  // 5 and 6 land in slots 0 and 1
        {{}, 3, true, {3, 4, 5}, 1},
        {{7, 8, 9}, 9, true, {6, 7, 8, 9}, 0},
        // A pop takes only what waits.
        {{1}, 4, true, {1}, 0},
        {{2, 3}, 1, true, {2}, 1},
    };
    SpscRing<int> ring(4);
    int index = 0;
    for (const auto& step : steps) {
        SCOPED_TRACE("step " + std::to_string(index++));
        if (!step.push.empty()) {
            EXPECT_EQ(ring.tryPush(step.push), step.pushed);
        }
        if (step.pop > 0) {
            std::vector<int> out(step.pop, -1);
            out.resize(ring.pop(out));
            EXPECT_THAT(out, ElementsAreArray(step.popped));
        }
        EXPECT_EQ(ring.size(), step.sizeAfter);
        EXPECT_EQ(ring.freeRoom(), 4 - step.sizeAfter);
    }
}

}  // namespace
}  // namespace quillon
