#include "core/dictation/InsertionDeliveryQueue.h"

#include "DictationWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::Calls;

class InsertionDeliveryQueueTest : public testing::DictationWorld {
protected:
    // Opens a delivery bound to `field`, as a recording start does.
    Uuid begin(const std::shared_ptr<testing::FakeTextElement>& field) {
        const Uuid id = Uuid::random();
        queue.begin(id, FocusedTextTarget{field, field->processIdentifier});
        return id;
    }
    void say(const Uuid& id, const std::string& text) {
        queue.insertFinalizedPhrase(text, text, id);
        settle();
    }

    InsertionDeliveryQueue queue{main, insertion, pasteboard, *menu, log.logger(LogCategory::app)};
};

TEST_F(InsertionDeliveryQueueTest, WaitingTextLandsOldestFirstInOnePieceWithinAQuarterSecondOfTheFocus) {
    const Uuid older = begin(editor);
    const Uuid newer = begin(editor);
    insertion.focused = notes;
    say(newer, "second");
    say(older, "Hello");
    say(older, "world.");
    advance(2s);
    EXPECT_TRUE(insertion.insertions.empty());
    EXPECT_EQ(main.pendingCount(), 1u) << "one timer at a time, never a busy loop";

    insertion.focused = editor;
    advance(249ms);
    EXPECT_TRUE(insertion.insertions.empty());
    advance(1ms);
    EXPECT_EQ(insertion.insertions, (Calls{"editor: Hello world.", "editor: second"}));
    EXPECT_FALSE(queue.isFocusMonitorRunning());
    EXPECT_EQ(main.pendingCount(), 0u);
}

// Phrases go trimmed into the focused bound field, blank ones change nothing, and the tray keeps
// the whole text so far.
TEST_F(InsertionDeliveryQueueTest, OneTextAtATimeOnTheWorkerInTheOrderSpoken) {
    const Uuid id = begin(editor);
    queue.insertFinalizedPhrase("  One. ", "One.", id);
    main.runUntilIdle();
    EXPECT_TRUE(insertion.insertions.empty()) << "insertion runs on its worker, never on the main queue";
    queue.insertFinalizedPhrase("Two.", "One. Two.", id);
    queue.insertFinalizedPhrase(" \n\t", "blank", id);
    queue.insertFinalizedPhrase("Three.", "One. Two. Three.", id);
    main.runUntilIdle();
    EXPECT_EQ(worker.pendingCount(), 1u) << "the next text waits for the previous one's completion";
    worker.runUntilIdle();
    EXPECT_EQ(insertion.insertions, (Calls{"editor: One."}));
    EXPECT_EQ(worker.pendingCount(), 0u);
    settle();
    EXPECT_EQ(insertion.insertions, (Calls{"editor: One.", "editor: Two. Three."}));
    EXPECT_EQ(menu->lastTranscription(), "One. Two. Three.");

    // A text that finds its field without the focus comes back ahead of what was said meanwhile.
    insertion.focused = notes;
    queue.insertFinalizedPhrase("Four.", "", id);
    main.runUntilIdle();
    queue.insertFinalizedPhrase("Five.", "", id);
    settle();
    EXPECT_EQ(queue.delivery(id)->pendingText, "Four. Five.");
    insertion.focused = editor;
    advance(250ms);
    EXPECT_EQ(insertion.insertions.back(), "editor: Four. Five.");
    EXPECT_FALSE(queue.isFocusMonitorRunning());
}

TEST_F(InsertionDeliveryQueueTest, WhatCannotBeInsertedGoesToTheClipboardAndLatePhrasesAreDropped) {
    const Uuid id = begin(editor);
    insertion.insertFailure = TextInsertionError::insertionFailed;
    say(id, "lost words");
    EXPECT_EQ(pasteboard.text, "lost words");
    insertion.insertFailure.reset();
    say(id, "next words");  // starts afresh: the copied text is not sent again
    EXPECT_EQ(insertion.insertions, (Calls{"editor: next words"}));

    insertion.focused = notes;
    say(id, "keep me");
    insertion.insertFailure = TextInsertionError::accessibilityNotGranted;
    queue.finishInsertionDelivery(id, "");
    settle();
    EXPECT_EQ(pasteboard.text, "keep me");
    pasteboard.text.reset();
    queue.finishInsertionDelivery(id, "keep me");  // a second finish finds nothing
    say(id, "too late");
    EXPECT_FALSE(pasteboard.text);
    EXPECT_EQ(menu->lastTranscription(), "keep me");
    EXPECT_EQ(queue.size(), 0u);
}

}  // namespace
}  // namespace quillon
