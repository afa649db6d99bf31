#include <unistd.h>

#include <future>

#include <atspi/atspi.h>
#include <gtest/gtest.h>
#include <QApplication>
#include <QLineEdit>

#include "DesktopWorld.h"
#include "platform/linux/accessibility/AtspiFocusSearch.h"
#include "platform/linux/accessibility/AtspiThread.h"
#include "platform/linux/accessibility/GObjectPtr.h"

namespace quillon {
namespace {

using namespace std::chrono;

// Runs `ask` on another thread while this one serves Qt, as a second program would.
template <typename Ask>
auto askWhileServing(Ask ask) {
    auto answer = std::async(std::launch::async, ask);
    while (answer.wait_for(milliseconds(5)) != std::future_status::ready) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return answer.get();
}

// Qt answers the bus on the GUI thread. Were the focus search to ask Quillon's own window while
// that thread waits for the search, the call would hang until its time-out: the search never
// asks this process, so a field of Quillon's own is never a target.
TEST(OwnProcessFocusTest, AFocusedFieldOfThisProcessIsNeverAsked) {
    if (const auto missing = testing::missingDesktop(); !missing.empty()) GTEST_SKIP() << missing;
    testing::DesktopWorld world;
    QLineEdit field("Quillon's own text");
    field.setWindowTitle("Own field");
    field.show();
    field.activateWindow();
    field.setFocus();
    const int self = static_cast<int>(::getpid());
    ASSERT_TRUE(testing::serveEventsUntil([&] {
        world.applications.activate(self);
        return world.applications.frontmostProcessIdentifier() == self && field.hasFocus();
    })) << "the test's window never became the active one";

    // Asked from another thread while this one serves the bus, the field is there and focused
    // (once Qt has registered the window, a moment after showing it).
    testing::TestLog log{world.mainQueue};
    const auto fieldIsOnTheBus = [&] {
        return AtspiThread::shared()->run([&] {
            AtspiResponsiveness responsiveness(log.logger(LogCategory::insertion), seconds(5), seconds(5));
            AtspiFocusSearch anyProcess(responsiveness, 4000, -1);
            GObjectPtr<AtspiAccessible> application(anyProcess.applicationForProcess(self));
            if (!application) return false;
            GObjectPtr<AtspiAccessible> focused(anyProcess.focusedDescendant(application.get()));
            return focused && atspi_accessible_get_role(focused.get(), nullptr) == ATSPI_ROLE_TEXT;
        });
    };
    const bool onTheBus = testing::serveEventsUntil([&] { return askWhileServing(fieldIsOnTheBus); });
    ASSERT_TRUE(onTheBus) << "the test's own field never showed on the accessibility bus";

    // Asked as Quillon asks, from the thread that serves Qt: nothing, and at once.
    EXPECT_EQ(world.inserter.focusedInsertionElement(), nullptr);
    EXPECT_EQ(world.inserter.captureFocusedTextTarget().error(), TextInsertionError::noFocusedElement);
    EXPECT_EQ(world.log.output.count(
                  "An application did not answer the accessibility bus in time; skipping it for a while"),
              0u);
}

}  // namespace
}  // namespace quillon
