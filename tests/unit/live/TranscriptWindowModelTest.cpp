#include "core/live/TranscriptWindowModel.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/base/ManualScheduler.h"
#include "fakes/FakePasteboard.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using State = TranscriptWindowModel::State;

// Cleanups that the test answers by hand, as the Codex service would on its own queue.
struct PendingCleanup {
    std::string transcript;
    std::string context;
    CodexCompletion<std::string> completion;
};

class TranscriptWindowModelTest : public ::testing::Test {
protected:
    TranscriptWindowModel::CleanTranscript cleaner() {
        return [this](std::string transcript, std::string context, CodexCompletion<std::string> completion) {
            cleanups_.push_back({std::move(transcript), std::move(context), std::move(completion)});
            return TranscriptCleanupService::Call{};
        };
    }
    void answer(std::size_t index, CodexResult<std::string> result) {
        cleanups_.at(index).completion(std::move(result));
        main_.runUntilIdle();
    }

    ManualScheduler main_;
    testing::TestLog log_{main_};
    testing::FakePasteboard pasteboard_;
    std::vector<PendingCleanup> cleanups_;
    std::optional<TranscriptWindowModel> model_{std::in_place, main_, pasteboard_, cleaner(),
                                                log_.logger(LogCategory::app)};
};

TEST_F(TranscriptWindowModelTest, CleanupRunsOnlyOnACompleteTranscriptAndOnceAtATime) {
    auto& model = *model_;
    model.showProgress("talk.wav");
    model.cleanupTranscript("ctx");
    model.showFailure("This file does not contain an audio track.", "talk.wav");
    model.cleanupTranscript("ctx");
    EXPECT_TRUE(cleanups_.empty()) << "nothing to clean while transcribing or after a failure";

    model.show("  \n ", "talk.wav");
    model.cleanupTranscript("ctx");
    EXPECT_TRUE(cleanups_.empty()) << "an empty transcript";

    model.show(" hello ada \n", "talk.wav");
    model.cleanupTranscript("Names: Ada");
    model.cleanupTranscript("Names: Ada");
    ASSERT_EQ(cleanups_.size(), 1u) << "a second press does nothing";
    EXPECT_EQ(cleanups_[0].context, "Names: Ada");
    EXPECT_TRUE(model.isCleaningTranscript());
    answer(0, "Hello, Ada.");
    EXPECT_EQ(model.transcript(), "Hello, Ada.");
    EXPECT_FALSE(model.isCleaningTranscript());

    model.cleanupTranscript("");
    answer(1, std::unexpected(CodexFailure::system(TranscriptCleanupService::notSignedInText)));
    EXPECT_EQ(model.cleanupErrorMessage(),
              "AI cleanup failed: " + std::string(TranscriptCleanupService::notSignedInText));
    EXPECT_EQ(model.transcript(), "Hello, Ada.");
}

TEST_F(TranscriptWindowModelTest, ANewTranscriptOrClosingTheWindowDropsTheCleanupsResult) {
    model_->show("first take", "a.wav");
    model_->cleanupTranscript("");
    model_->show("second take", "a.wav");
    EXPECT_FALSE(model_->isCleaningTranscript());
    answer(0, "First take.");
    EXPECT_EQ(model_->transcript(), "second take") << "the new text stays";
    EXPECT_EQ(model_->cleanupErrorMessage(), std::nullopt);

    // Cancelling wakes the service's wait with a failure, which is not shown either.
    model_->cleanupTranscript("");
    model_->cancelCleanup();
    answer(1, std::unexpected(CodexFailure(CodexAppServerError::processEnded())));
    EXPECT_EQ(model_->cleanupErrorMessage(), std::nullopt);
    EXPECT_EQ(model_->transcript(), "second take");

    model_->cleanupTranscript("");
    model_.reset();             // the window closed
    answer(2, "Second take.");  // dropped, with no window to show it
}

}  // namespace
}  // namespace quillon
