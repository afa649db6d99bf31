#include "core/base/SpscRing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

using ::testing::ElementsAreArray;

// Each step pushes a block (all or nothing) or pops up to `pop` values, on a ring of four.
struct RingStep {
    std::vector<int> push;
    std::size_t pop = 0;
    bool pushed = true;
    std::vector<int> popped;
    std::size_t sizeAfter = 0;
};

struct RingCase {
    const char* name;
    std::vector<RingStep> steps;
};

class SpscRingTest : public ::testing::TestWithParam<RingCase> {};

TEST_P(SpscRingTest, KeepsOrderAndRefusesWhatDoesNotFit) {
    SpscRing<int> ring(4);
    int index = 0;
    for (const auto& step : GetParam().steps) {
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

INSTANTIATE_TEST_SUITE_P(
    Cases, SpscRingTest,
    ::testing::Values(
        RingCase{"emptyGivesNothing", {{{}, 3, true, {}, 0}}},
        RingCase{"fullRefusesABlockWhole",
                 {{{1, 2, 3}, 0, true, {}, 3}, {{4, 5}, 0, false, {}, 3}, {{4}, 0, true, {}, 4},
                  {{5}, 0, false, {}, 4}, {{}, 9, true, {1, 2, 3, 4}, 0}}},
        RingCase{"wrapsAroundTheEnd",
                 {{{1, 2, 3}, 2, true, {1, 2}, 1},
                  {{4, 5, 6}, 0, true, {}, 4},  // 5 and 6 land in slots 0 and 1
                  {{}, 3, true, {3, 4, 5}, 1},
                  {{7, 8, 9}, 9, true, {6, 7, 8, 9}, 0}}},
        RingCase{"popTakesOnlyWhatWaits", {{{1}, 4, true, {1}, 0}, {{2, 3}, 1, true, {2}, 1}}}),
    [](const ::testing::TestParamInfo<RingCase>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quillon
