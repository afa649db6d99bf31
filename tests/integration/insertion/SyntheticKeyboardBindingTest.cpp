#include <gtest/gtest.h>

#include <QString>

#include <numeric>

#include "DesktopWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

// `count` distinct characters that are on no keyboard map (CJK ideographs from `first`).
std::string ideographs(char32_t first, std::size_t count) {
    std::u32string text(count, first);
    std::iota(text.begin(), text.end(), first);
    return QString::fromStdU32String(text).toStdString();
}

class SyntheticKeyboardBindingTest : public testing::DesktopWorldTest {};

// A phrase that runs out of spare keycodes waits for one to settle; the previous phrase's
// restoration falls due meanwhile and must leave alone the keys this phrase has just bound.
TEST_F(SyntheticKeyboardBindingTest, LastPhrasesRestorationSparesTheKeysTheNextOneBinds) {
    SyntheticKeyboardXTest keyboard(nullptr, {.settle = 600ms, .restoreAfter = 150ms});
    ASSERT_TRUE(keyboard.isAvailable());
    const std::size_t spare = keyboard.spareKeycodeCount();
    ASSERT_GE(spare, 3u);

    // No window has the focus, so the characters go nowhere; only the bindings matter here.
    ASSERT_TRUE(keyboard.typeText(ideographs(0x4E00, spare - 2)));
    ASSERT_TRUE(keyboard.typeText(ideographs(0x5E00, 3)));  // two free keycodes, then one to take back
    EXPECT_EQ(keyboard.boundKeycodeCount(), spare) << "keys bound by the second phrase were unmapped under it";
    EXPECT_TRUE(testing::serveEventsUntil([&] { return keyboard.boundKeycodeCount() == 0; }));
}

}  // namespace
}  // namespace quillon
