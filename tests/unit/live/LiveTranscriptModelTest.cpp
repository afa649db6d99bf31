#include "core/live/LiveTranscriptModel.h"

#include <gtest/gtest.h>

#include "fakes/FakePasteboard.h"

namespace quillon {
namespace {

using testing::FakePasteboard;

// The transcript joins its two parts with one blank; its copy is trimmed and a blank one leaves the
// clipboard alone, while the summary is copied as its Markdown source.
TEST(LiveTranscriptModel, FullTextAndTheTwoCopies) {
    struct Case {
        std::string committed, provisional, summary;
        std::string fullText;
        std::optional<std::string> copied, summaryCopied;  // absent: the clipboard keeps what it had
    };
    const Case cases[] = {
        {"", "and then", "", "and then", "and then", std::nullopt},
        {" Hello. ", "so", "", " Hello.  so", "Hello.  so", std::nullopt},
        {" \n", "\t", "", " \n \t", std::nullopt, std::nullopt},
        {"", "", "## Points\n\n- one\n", "", std::nullopt, "## Points\n\n- one\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fullText);
        LiveTranscriptModel model;
        model.setCommittedText(c.committed);
        model.setProvisionalText(c.provisional);
        model.setSummaryMarkdown(c.summary);
        EXPECT_EQ(model.fullText(), c.fullText);
        FakePasteboard pasteboard;
        pasteboard.text = "before";
        model.copyToClipboard(pasteboard);
        EXPECT_EQ(pasteboard.text, c.copied.value_or("before"));
        pasteboard.text = "before";
        model.copySummaryToClipboard(pasteboard);
        EXPECT_EQ(pasteboard.text, c.summaryCopied.value_or("before"));
    }
}

TEST(LiveTranscriptModel, ClearEmptiesTheTranscriptAndSummaryButKeepsContextVisibilityAndAudio) {
    LiveTranscriptModel model;
    model.setCommittedText("text");
    model.setProvisionalText("more");
    model.setErrorMessage("Capture failed.");
    model.setCleaningTranscript(true);  // clear() during a cleanup: stopping it is the coordinator's job
    model.setCleanupErrorMessage("Cleanup failed.");
    model.setSummaryMarkdown("- point");
    model.setSummaryState(LiveSummaryState::failed("Codex failed."));
    model.setSummaryContext("a meeting about budgets");
    model.setSummaryVisible(true);
    model.setListening(true);
    model.setProcessing(true);
    model.setChangingAudioSource(true);
    model.setRecordingAudio(true);
    int changes = 0;
    model.onChange = [&] { ++changes; };

    model.clear();
    EXPECT_EQ(changes, 7) << "one redraw for each field that changed";
    EXPECT_EQ(model.fullText(), "");
    EXPECT_FALSE(model.errorMessage());
    EXPECT_FALSE(model.isCleaningTranscript());
    EXPECT_FALSE(model.cleanupErrorMessage());
    EXPECT_EQ(model.summaryMarkdown(), "");
    EXPECT_EQ(model.summaryState(), LiveSummaryState::idle());

    EXPECT_EQ(model.summaryContext(), "a meeting about budgets");
    EXPECT_TRUE(model.isSummaryVisible());
    EXPECT_TRUE(model.isListening());
    EXPECT_TRUE(model.isProcessing());
    EXPECT_TRUE(model.isChangingAudioSource());
    EXPECT_TRUE(model.isRecordingAudio());

    model.clear();
    EXPECT_EQ(changes, 7) << "clearing an empty transcript redraws nothing";
}

TEST(LiveTranscriptModel, RecordingAndFinishingTheRecordingAreNeverBothTrue) {
    LiveTranscriptModel model;
    model.setRecordingAudio(true);
    model.setFinishingAudioRecording(true);
    EXPECT_FALSE(model.isRecordingAudio());
    EXPECT_TRUE(model.isFinishingAudioRecording());
    model.setRecordingAudio(true);
    EXPECT_TRUE(model.isRecordingAudio());
    EXPECT_FALSE(model.isFinishingAudioRecording());
}

}  // namespace
}  // namespace quillon
