#include <gtest/gtest.h>

#include "core/live/LiveTranscriptModel.h"
#include "fakes/FakePasteboard.h"

namespace quillon::testing {
namespace {

TEST(LiveTranscriptModelTest, FullTextJoinsTheNonEmptyPartsWithOneBlank) {
    LiveTranscriptModel model;
    EXPECT_EQ(model.fullText(), "");
    model.setProvisionalText("maybe");
    EXPECT_EQ(model.fullText(), "maybe");
    model.setCommittedText("Said ");
    EXPECT_EQ(model.fullText(), "Said  maybe") << "nothing is adjusted";
    model.setProvisionalText("");
    EXPECT_EQ(model.fullText(), "Said ");
}

TEST(LiveTranscriptModelTest, ClearKeepsTheContextAndTheVisibility) {
    LiveTranscriptModel model;
    model.setCommittedText("a");
    model.setProvisionalText("b");
    model.setErrorMessage("e");
    model.setCleaningTranscript(true);
    model.setCleanupErrorMessage("c");
    model.setSummaryMarkdown("# S");
    model.setSummaryState(LiveSummaryState::failed("x"));
    model.setSummaryContext("Names");
    model.setSummaryVisible(true);
    model.setListening(true);
    model.clear();
    EXPECT_EQ(model.fullText(), "");
    EXPECT_FALSE(model.errorMessage() || model.cleanupErrorMessage() || model.isCleaningTranscript());
    EXPECT_EQ(model.summaryMarkdown(), "");
    EXPECT_EQ(model.summaryState(), LiveSummaryState::idle());
    EXPECT_EQ(model.summaryContext(), "Names");
    EXPECT_TRUE(model.isSummaryVisible() && model.isListening());
}

TEST(LiveTranscriptModelTest, ChangesAreAnnouncedOnceAndOnlyWhenReal) {
    LiveTranscriptModel model;
    int changes = 0;
    model.onChange = [&] { ++changes; };
    model.setSummaryState(LiveSummaryState::ready());
    model.setSummaryState(LiveSummaryState::ready());
    model.setSummaryState(LiveSummaryState::failed("a"));
    model.setSummaryState(LiveSummaryState::failed("b"));
    EXPECT_EQ(changes, 3);

    model.setRecordingAudio(true);
    model.setFinishingAudioRecording(true);
    EXPECT_FALSE(model.isRecordingAudio()) << "recording and finishing exclude each other";
    EXPECT_TRUE(model.isFinishingAudioRecording());
}

TEST(LiveTranscriptModelTest, CopyingPutsTrimmedTextOrNothingOnTheClipboard) {
    LiveTranscriptModel model;
    FakePasteboard pasteboard;
    pasteboard.text = "before";
    model.setCommittedText(" \n ");
    model.copyToClipboard(pasteboard);
    model.copySummaryToClipboard(pasteboard);
    EXPECT_EQ(pasteboard.text, "before");

    model.setCommittedText("\n Hello");
    model.setProvisionalText("there \n");
    model.copyToClipboard(pasteboard);
    EXPECT_EQ(pasteboard.text, "Hello there");

    model.setSummaryMarkdown("# Title\n\n- item\n");
    model.copySummaryToClipboard(pasteboard);
    EXPECT_EQ(pasteboard.text, "# Title\n\n- item\n") << "the Markdown source, unchanged";
}

}  // namespace
}  // namespace quillon::testing
