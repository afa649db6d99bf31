#include "core/dictation/InsertionDeliveryQueue.h"

#include <gtest/gtest.h>

#include "core/app/MenuBarController.h"
#include "core/base/ManualScheduler.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeTextInsertion.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::FakePasteboard;
using testing::FakeStatusItem;
using testing::FakeTextElement;
using testing::FakeTextInsertion;
using testing::TestLog;
using Insertion = FakeTextInsertion::Insertion;

class InsertionDeliveryQueueTest : public ::testing::Test {
protected:
    void SetUp() override {
        queue_.setMenuBarController(menu_);
        insertion_.focused = editor_;
    }

    // Starts a delivery bound to `field`, as a recording start does.
    Uuid beginSession(const std::shared_ptr<FakeTextElement>& field) {
        const Uuid id = Uuid::random();
        queue_.begin(id, FocusedTextTarget{field, field->processIdentifier});
        return id;
    }

    void phrase(const Uuid& id, const std::string& text, const std::string& accumulated = {}) {
        queue_.insertFinalizedPhrase(text, accumulated.empty() ? text : accumulated, id);
        main_.runUntilIdle();
    }

    std::optional<std::string> lastTranscription() {
        main_.runUntilIdle();
        return menu_->lastTranscription();
    }

    ManualScheduler main_;
    ManualScheduler logQueue_;
    TestLog log_{logQueue_};
    FakeStatusItem statusItem_;
    FakePasteboard pasteboard_;
    FakeTextInsertion insertion_;
    std::shared_ptr<MenuBarController> menu_ =
        std::make_shared<MenuBarController>(main_, statusItem_, pasteboard_, log_.logger(LogCategory::app));
    InsertionDeliveryQueue queue_{main_, insertion_, log_.logger(LogCategory::app)};
    std::shared_ptr<FakeTextElement> editor_ = FakeTextInsertion::makeField("editor", 100);
    std::shared_ptr<FakeTextElement> notes_ = FakeTextInsertion::makeField("notes", 200);
};

TEST_F(InsertionDeliveryQueueTest, PhraseGoesStraightIntoTheFocusedBoundField) {
    const Uuid id = beginSession(editor_);
    phrase(id, "  Hello there. ", "Earlier words. Hello there.");

    EXPECT_EQ(insertion_.insertions, (std::vector<Insertion>{{"editor", "Hello there."}}));
    EXPECT_TRUE(log_.output.contains(LogLevel::info, "Inserted finalized transcription text"));
    // The last transcription is the whole text so far, not the phrase.
    EXPECT_EQ(lastTranscription(), "Earlier words. Hello there.");
    EXPECT_FALSE(queue_.isFocusMonitorRunning());
    EXPECT_EQ(main_.pendingCount(), 0u);
}

TEST_F(InsertionDeliveryQueueTest, BlankPhraseChangesNothing) {
    const Uuid id = beginSession(editor_);
    insertion_.focused = notes_;
    phrase(id, " \n\t", "accumulated");
    EXPECT_TRUE(insertion_.insertions.empty());
    EXPECT_FALSE(lastTranscription());
    EXPECT_EQ(queue_.delivery(id)->pendingText, "");
    EXPECT_FALSE(queue_.isFocusMonitorRunning());
}

struct FocusCase {
    const char* name;
    std::function<std::shared_ptr<FakeTextElement>(const std::shared_ptr<FakeTextElement>& bound)> focus;
    bool inserted;
};

TEST_F(InsertionDeliveryQueueTest, TextGoesOnlyIntoTheBoundFieldWhileRecording) {
    const std::vector<FocusCase> cases = {
        {"another reference to the same field", [](const auto& bound) { return FakeTextInsertion::makeField(bound->name, bound->processIdentifier); }, true},
        {"nothing focused", [](const auto&) { return nullptr; }, false},
        {"same process, another field", [](const auto& bound) { return FakeTextInsertion::makeField("search", bound->processIdentifier); }, false},
        {"same name in another process", [](const auto& bound) { return FakeTextInsertion::makeField(bound->name, 999); }, false},
        {"process no longer readable",
         [](const auto& bound) {
             auto field = FakeTextInsertion::makeField(bound->name, bound->processIdentifier);
             field->processReadable = false;
             return field;
         },
         false},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        insertion_.insertions.clear();
        const Uuid id = beginSession(editor_);
        insertion_.focused = testCase.focus(editor_);
        phrase(id, "words");
        EXPECT_EQ(insertion_.insertions.size(), testCase.inserted ? 1u : 0u);
        EXPECT_EQ(queue_.delivery(id)->pendingText, testCase.inserted ? "" : "words");
        queue_.discard(id);
        main_.advance(1s);  // lets a running monitor see that nothing waits any more
    }
}

TEST_F(InsertionDeliveryQueueTest, WaitingTextLandsInOnePieceWithinAQuarterSecondOfTheFocusReturning) {
    const Uuid id = beginSession(editor_);
    insertion_.focused = notes_;
    phrase(id, "Hello", "Hello");
    phrase(id, "world.", "Hello world.");
    EXPECT_TRUE(insertion_.insertions.empty());
    EXPECT_TRUE(queue_.isFocusMonitorRunning());

    main_.advance(2s);
    EXPECT_TRUE(insertion_.insertions.empty());
    EXPECT_EQ(queue_.delivery(id)->pendingText, "Hello world.");
    EXPECT_EQ(main_.pendingCount(), 1u);  // one timer at a time, never a busy loop

    insertion_.focused = editor_;
    main_.advance(250ms);
    EXPECT_EQ(insertion_.insertions, (std::vector<Insertion>{{"editor", "Hello world."}}));
    // With nothing waiting the monitor ends and nothing more is scheduled.
    EXPECT_FALSE(queue_.isFocusMonitorRunning());
    EXPECT_EQ(main_.pendingCount(), 0u);
}

TEST_F(InsertionDeliveryQueueTest, OlderSessionsTextGoesFirst) {
    const Uuid older = beginSession(editor_);
    const Uuid newer = beginSession(editor_);
    insertion_.focused = notes_;
    phrase(newer, "second");
    phrase(older, "first");
    insertion_.focused = editor_;
    main_.advance(250ms);
    EXPECT_EQ(insertion_.insertedTexts(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(InsertionDeliveryQueueTest, FailedInsertionGoesToTheClipboardAndTheNextPhraseStartsAfresh) {
    const Uuid id = beginSession(editor_);
    insertion_.insertFailure = TextInsertionError::insertionFailed;
    phrase(id, "lost words");
    EXPECT_EQ(pasteboard_.text, "lost words");
    EXPECT_TRUE(log_.output.contains(LogLevel::error,
                                     "Could not insert finalized transcription text; copied it to the clipboard: "
                                     "Failed to insert text into focused element"));
    EXPECT_EQ(queue_.delivery(id)->pendingText, "");

    insertion_.insertFailure.reset();
    phrase(id, "next words");
    EXPECT_EQ(insertion_.insertedTexts(), (std::vector<std::string>{"next words"}));
    EXPECT_TRUE(queue_.contains(id));
}

TEST_F(InsertionDeliveryQueueTest, PhraseAfterTheDeliveryEndedIsDropped) {
    const Uuid id = beginSession(editor_);
    queue_.finishInsertionDelivery(id, "");
    phrase(id, "too late");
    EXPECT_TRUE(insertion_.insertions.empty());
    EXPECT_FALSE(lastTranscription());
    EXPECT_EQ(queue_.size(), 0u);
}

struct FinishCase {
    const char* name;
    std::string pending;
    std::string transcript;
    std::vector<std::string> inserted;
    std::optional<std::string> lastTranscription;
};

TEST_F(InsertionDeliveryQueueTest, FinishInsertsOnlyWhatWaitsAndRemembersTheFinalTranscript) {
    const std::vector<FinishCase> cases = {
        {"nothing at all", "", "", {}, std::nullopt},
        {"blank transcript", "", " \n ", {}, std::nullopt},
        {"final text differs from what was inserted", "", " The final words. ", {}, "The final words."},
        {"waiting text", "waiting", "", {"waiting"}, "waiting"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto fresh = std::make_shared<MenuBarController>(main_, statusItem_, pasteboard_, log_.logger(LogCategory::app));
        queue_.setMenuBarController(fresh);
        insertion_.insertions.clear();

        const Uuid id = beginSession(editor_);
        if (!testCase.pending.empty()) {
            insertion_.focused = notes_;
            phrase(id, testCase.pending);
        }
        queue_.finishInsertionDelivery(id, testCase.transcript);
        main_.runUntilIdle();
        EXPECT_EQ(insertion_.insertedTexts(), testCase.inserted);
        EXPECT_EQ(fresh->lastTranscription(), testCase.lastTranscription);
        EXPECT_FALSE(queue_.contains(id));
        insertion_.focused = editor_;
    }
    EXPECT_TRUE(log_.output.contains(LogLevel::info,
                                     "Inserted pending transcription text into the field focused at recording completion"));
}

TEST_F(InsertionDeliveryQueueTest, FinishFallsBackToTheClipboardAndASecondFinishDoesNothing) {
    const Uuid id = beginSession(editor_);
    insertion_.focused = notes_;
    phrase(id, "keep me");
    insertion_.insertFailure = TextInsertionError::accessibilityNotGranted;
    queue_.finishInsertionDelivery(id, "keep me");
    EXPECT_EQ(pasteboard_.text, "keep me");
    EXPECT_TRUE(log_.output.contains(LogLevel::error,
                                     "Could not insert pending transcription text at recording completion; copied it "
                                     "to the clipboard: Accessibility permission not granted"));

    pasteboard_.text.reset();
    queue_.finishInsertionDelivery(id, "keep me");
    EXPECT_FALSE(pasteboard_.text);
    EXPECT_EQ(queue_.size(), 0u);
}

}  // namespace
}  // namespace quillon
