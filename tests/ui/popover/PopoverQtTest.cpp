// The tray's popover as a user meets it: what each row says and allows in each state, what each
// button and key does, and where it opens beside the tray icon.
#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <vector>

#include "core/audio/MicrophonePermission.h"
#include "core/base/ManualScheduler.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/tray/MenuBarController.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/FakeMicrophoneAccess.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeUrlOpener.h"
#include "fakes/TestLog.h"
#include "ui/popover/PopoverQt.h"
#include "ui/popover/PopoverRowButton.h"

namespace quillon {
namespace {

using testing::FakeAccessibility;
using testing::FakeMicrophoneAccess;

class PopoverQtTest : public ::testing::Test {
protected:
    PopoverQtTest() {
        microphoneAccess.permission = RecordPermission::granted;
        controller.setup();
    }

    PopoverQt::Services services() {
        return {
            .controller = controller,
            .microphone = microphone,
            .accessibility = accessibility,
            .isLiveTranscriptActive = [this] { return liveActive; },
            .toggleLiveTranscript = [] {},
            .openSettings = [this] { ++settingsOpened; },
            .quit = [this] { ++quits; },
        };
    }

    void setState(AppState state) {
        controller.updateState(std::move(state));
        main.runUntilIdle();
    }

    static QPushButton* button(QWidget& popover, const QString& text) {
        for (auto* candidate : popover.findChildren<QPushButton*>()) {
            if (candidate->text() == text && candidate->isVisibleTo(&popover)) return candidate;
        }
        return nullptr;
    }
    static bool shows(QWidget& popover, const QString& text) {
        for (auto* label : popover.findChildren<QLabel*>()) {
            if (label->text() == text && label->isVisibleTo(&popover)) return true;
        }
        return button(popover, text) != nullptr;
    }

    ManualScheduler main;
    testing::TestLog log{main};
    testing::FakeStatusItem statusItem;
    testing::FakePasteboard pasteboard;
    MenuBarController controller{main, statusItem, pasteboard, log.logger(LogCategory::app)};
    FakeMicrophoneAccess microphoneAccess;
    MicrophonePermission microphone{microphoneAccess, main, log.logger(LogCategory::app)};
    FakeAccessibility desktop;
    testing::FakeUrlOpener urls;
    AccessibilityPermission accessibility{desktop, urls, log.logger(LogCategory::app)};
    bool liveActive = false;
    int settingsOpened = 0, quits = 0;
};

TEST_F(PopoverQtTest, RowsFollowTheStateAndEachOpeningLooksAtThePermissionsAgain) {
    desktop.trusted = false;
    microphoneAccess.permission = RecordPermission::denied;
    PopoverQt popover(services());
    popover.toggle(QRect(900, 0, 24, 24));
    ASSERT_TRUE(popover.isPopoverShown());

    // Idle, nothing dictated yet, both permissions missing.
    EXPECT_TRUE(shows(popover, "Ready"));
    EXPECT_TRUE(shows(popover, "Permissions Required"));
    ASSERT_TRUE(button(popover, "Copy Last Transcription"));
    EXPECT_FALSE(button(popover, "Copy Last Transcription")->isEnabled()) << "there, but nothing to copy";

    // Granted in the desktop's settings meanwhile: the next opening shows it, not the open one.
    desktop.trusted = true;
    microphoneAccess.permission = RecordPermission::granted;
    EXPECT_TRUE(shows(popover, "Permissions Required"));
    popover.toggle({});
    EXPECT_FALSE(popover.isPopoverShown());
    popover.toggle({});
    EXPECT_FALSE(shows(popover, "Permissions Required"));

    // While open it follows every change it is told of.
    struct Case {
        AppState state;
        bool liveActive;
        QString badge;
        QString liveLabel;
        bool liveEnabled;
    };
    const std::vector<Case> cases{
        {AppState::recording(), false, "Recording", "Live Transcript", false},
        // A live transcript finishing its last words is not dictation.
        {AppState::transcribing(), true, "Transcribing", "Stop Live Transcript", true},
        {AppState::error("The connection to the sound server was lost."), false, "Error", "Live Transcript",
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.badge.toStdString());
        liveActive = c.liveActive;
        setState(c.state);
        popover.refresh();
        EXPECT_TRUE(shows(popover, c.badge));
        auto* live = dynamic_cast<PopoverRowButton*>(button(popover, c.liveLabel));
        ASSERT_TRUE(live);
        EXPECT_EQ(live->isEnabled(), c.liveEnabled);
        EXPECT_DOUBLE_EQ(live->opacity(), c.liveEnabled ? 1.0 : PopoverRowButton::disabledOpacity);
        EXPECT_EQ(shows(popover, "The connection to the sound server was lost."),
                  c.state.kind() == AppState::Kind::error);
    }

    controller.addTranscription("Hello there");
    main.runUntilIdle();
    popover.refresh();
    QTest::mouseClick(button(popover, "Copy Last Transcription"), Qt::LeftButton);
    EXPECT_EQ(pasteboard.text, "Hello there");
}

TEST_F(PopoverQtTest, ButtonsAndKeysActAndCloseIt) {
    PopoverQt popover(services());
    const auto open = [&] {
        popover.toggle(QRect(900, 0, 24, 24));
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&popover));
    };

    open();
    QTest::keyClick(&popover, Qt::Key_Escape);
    EXPECT_FALSE(popover.isPopoverShown());

    // The keyboard starts on the first row, goes down to Settings past the disabled copy row, and
    // Space presses it.
    open();
    ASSERT_EQ(popover.focusWidget(), button(popover, "Live Transcript"));
    QTest::keyClick(popover.focusWidget(), Qt::Key_Down);
    EXPECT_EQ(popover.focusWidget(), button(popover, "Settings"));
    QTest::keyClick(popover.focusWidget(), Qt::Key_Space);
    EXPECT_EQ(settingsOpened, 1);
    EXPECT_FALSE(popover.isPopoverShown());

    open();
    QTest::mouseClick(button(popover, "Quit"), Qt::LeftButton);
    EXPECT_EQ(quits, 1);
}

TEST(PopoverPlacement, BesideTheIconOnItsSideOfTheScreenAndNeverOffIt) {
    const QRect screen(0, 0, 1920, 1080);
    const QSize size(300, 240);
    struct Case {
        QRect icon;
        QPoint expected;
    };
    const std::vector<Case> cases{
        {QRect(1000, 0, 24, 24), QPoint(862, 28)},      // top panel: below the icon
        {QRect(1000, 1056, 24, 24), QPoint(862, 812)},  // bottom panel: above it
        {QRect(1900, 0, 20, 24), QPoint(1620, 28)},     // at the right edge: kept on screen
        {QRect(0, 1056, 24, 24), QPoint(0, 812)},       // at the left edge
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PopoverQt::placement(c.icon, size, screen), c.expected) << c.icon.x() << "," << c.icon.y();
    }
}

}  // namespace
}  // namespace quillon
