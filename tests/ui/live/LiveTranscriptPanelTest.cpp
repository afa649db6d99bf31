// The live transcript window's own behaviour: which controls are enabled and what they say,
// and following the end of the text.
// First, before Qt defines its `emit` keyword, which the Codex fake uses as a name.
#include "../../unit/live/LiveTranscriptCoordinatorFixture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QScrollBar>
#include <QTest>

#include "core/audio/SystemAudioSourceCatalog.h"
#include "core/codex/CodexCapabilityModel.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeSystemAudioProcesses.h"
#include "ui/ChromeIconButton.h"
#include "ui/CodexRequirementsPopover.h"
#include "ui/TranscriptCleanupButton.h"
#include "ui/live/ClearTranscriptConfirmation.h"
#include "ui/live/EditableLiveTranscriptView.h"
#include "ui/live/LiveTranscriptPane.h"
#include "ui/live/LiveTranscriptPanelQt.h"
#include "ui/live/LiveTranscriptTitlebar.h"

namespace quillon::testing {
namespace {

class LiveTranscriptPanelTest : public LiveTranscriptCoordinatorTest {
public:
    LiveTranscriptPanelQt& panel() {
        if (!panel_) {
            panel_ = std::make_unique<LiveTranscriptPanelQt>(
                coordinator(), catalog, capability,
                LiveTranscriptPanelQt::Services{pasteboard, urls, store, {}});
            panel_->show();
        }
        return *panel_;
    }
    // Model changes reach the window in the next pass of the event loop, the editor's scroll to
    // the end a pass or two later.
    void settle() {
        for (int pass = 0; pass < 3; ++pass) QApplication::processEvents();
    }
    LiveTranscriptTitlebar& titlebar() { return *panel().titlebar(); }
    LiveTranscriptPane& pane() { return *panel().transcriptPane(); }

    FakeSystemAudioProcesses processes;
    SystemAudioSourceCatalog catalog{main, processes, "quillon"};
    CodexCapabilityModel capability{host};  // no executable: Codex is missing
    FakePasteboard pasteboard;
    std::unique_ptr<LiveTranscriptPanelQt> panel_;
};

TEST_F(LiveTranscriptPanelTest, ControlsSayWhatTheyDoAndAreEnabledOnlyWhenTheyCanAct) {
    panel();
    EXPECT_EQ(titlebar().recordingButton()->accessibleName(), "Start transcription");
    EXPECT_FALSE(titlebar().audioRecordingButton()->isEnabled()) << "audio is recorded only during a run";
    EXPECT_FALSE(pane().clearButton()->isEnabled());
    EXPECT_FALSE(pane().copyButton()->isEnabled());
    EXPECT_FALSE(pane().cleanupButton()->button()->isEnabled());

    listen();
    update(last(), "Hello there.", "and");
    settle();
    EXPECT_EQ(titlebar().recordingButton()->accessibleName(), "Pause transcription");
    EXPECT_TRUE(titlebar().audioRecordingButton()->isEnabled());
    EXPECT_TRUE(pane().clearButton()->isEnabled());

    // Without Codex the cleanup shows what is needed instead of starting.
    QTest::mouseClick(pane().cleanupButton()->button(), Qt::LeftButton);
    EXPECT_TRUE(pane().cleanupButton()->requirements()->isVisible());
    EXPECT_FALSE(model().isCleaningTranscript());
    pane().cleanupButton()->requirements()->close();

    QTest::mouseClick(titlebar().recordingButton(), Qt::LeftButton);
    settle();
    EXPECT_FALSE(coordinator().isActive());
    EXPECT_FALSE(titlebar().audioRecordingButton()->isEnabled());

    // Clearing asks first.
    QTest::mouseClick(pane().clearButton(), Qt::LeftButton);
    ASSERT_TRUE(pane().clearConfirmation()->isVisible());
    const auto buttons = pane().clearConfirmation()->findChildren<QAbstractButton*>();
    const auto clear =
        std::find_if(buttons.begin(), buttons.end(), [](auto* b) { return b->text() == "Clear Transcript"; });
    ASSERT_NE(clear, buttons.end());
    QTest::mouseClick(*clear, Qt::LeftButton);
    settle();
    EXPECT_TRUE(model().committedText().empty());
    EXPECT_FALSE(pane().clearButton()->isEnabled());
}

TEST_F(LiveTranscriptPanelTest, TheTranscriptFollowsTheEndUntilTheUserScrollsAway) {
    panel();
    listen();
    std::string text;
    for (int line = 0; line < 80; ++line)
        text += "A line of the growing transcript number " + std::to_string(line) + ".\n";
    update(last(), text);
    settle();
    auto* editor = pane().editor();
    EXPECT_TRUE(editor->isAtBottom());
    EXPECT_FALSE(pane().followButton()->isVisibleTo(&panel()));

    editor->verticalScrollBar()->setValue(0);
    settle();
    EXPECT_FALSE(editor->isFollowing());
    EXPECT_TRUE(pane().followButton()->isVisibleTo(&panel()));
    update(last(), text + "More words.");
    settle();
    EXPECT_EQ(editor->verticalScrollBar()->value(), 0) << "a reader who scrolled away stays there";

    QTest::mouseClick(pane().followButton(), Qt::LeftButton);
    settle();
    EXPECT_TRUE(editor->isFollowing());
    EXPECT_TRUE(editor->isAtBottom());
}

}  // namespace
}  // namespace quillon::testing
