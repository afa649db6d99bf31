#include "core/app/MenuBarController.h"

#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using testing::FakePasteboard;
using testing::FakeStatusItem;
using testing::TestLog;

class MenuBarControllerTest : public ::testing::Test {
protected:
    void SetUp() override { controller_->setup(); }

    ManualScheduler main_;
    ManualScheduler logQueue_;
    TestLog log_{logQueue_};
    FakeStatusItem statusItem_;
    FakePasteboard pasteboard_;
    std::unique_ptr<MenuBarController> controller_ =
        std::make_unique<MenuBarController>(main_, statusItem_, pasteboard_, log_.logger(LogCategory::app));
};

struct IconCase {
    AppState state;
    StatusItemAppearance expected;
};

TEST_F(MenuBarControllerTest, EachStateShowsItsIconAndOnlyActivityPulses) {
    const std::vector<IconCase> cases = {
        {AppState::idle(), {StatusIcon::idle, "Quillon", false}},
        {AppState::recording(), {StatusIcon::recording, "Recording", true}},
        {AppState::liveTranscribing(), {StatusIcon::liveTranscribing, "Live Transcription", true}},
        {AppState::transcribing(), {StatusIcon::transcribing, "Transcribing", true}},
        {AppState::error("Microphone unplugged"), {StatusIcon::error, "Error", false}},
        {AppState::error(""), {StatusIcon::error, "Error", false}},
    };
    for (const auto& [state, expected] : cases) {
        controller_->updateState(state);
        main_.runUntilIdle();
        EXPECT_EQ(controller_->state(), state);
        EXPECT_EQ(statusItem_.appearances.back(), expected) << expected.accessibilityDescription;
    }
}

TEST_F(MenuBarControllerTest, StateChangesTakeEffectOnTheMainQueueInTheOrderPosted) {
    int notifications = 0;
    controller_->onStateChanged = [&] { ++notifications; };
    statusItem_.appearances.clear();

    controller_->updateState(AppState::recording());
    controller_->updateState(AppState::error("Failed to start recording: boom"));
    EXPECT_EQ(controller_->state(), AppState::idle());
    EXPECT_TRUE(statusItem_.appearances.empty());

    main_.runUntilIdle();
    EXPECT_EQ(controller_->state(), AppState::error("Failed to start recording: boom"));
    ASSERT_EQ(statusItem_.appearances.size(), 2u);
    EXPECT_EQ(statusItem_.appearances[0].icon, StatusIcon::recording);
    EXPECT_EQ(statusItem_.appearances[1].icon, StatusIcon::error);
    EXPECT_EQ(notifications, 2);

    // An error stays until the next update, which clears it.
    controller_->updateState(AppState::idle());
    main_.runUntilIdle();
    EXPECT_EQ(statusItem_.appearances.back(), (StatusItemAppearance{StatusIcon::idle, "Quillon", false}));
}

TEST_F(MenuBarControllerTest, TheIconAppearsOnlyOnceSetUpAndShowsTheCurrentState) {
    FakeStatusItem item;
    item.trayHostPresent = false;
    MenuBarController controller(main_, item, pasteboard_, log_.logger(LogCategory::app));
    controller.updateState(AppState::transcribing());
    main_.runUntilIdle();
    EXPECT_TRUE(item.appearances.empty());

    EXPECT_FALSE(controller.setup());
    EXPECT_EQ(item.installedToolTip, "Quillon\nMiddle-click to copy the last transcription");
    ASSERT_EQ(item.appearances.size(), 1u);
    EXPECT_EQ(item.appearances[0].icon, StatusIcon::transcribing);
    EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 1u);
}

TEST_F(MenuBarControllerTest, LastTranscriptionKeepsOnlyTheNewestNonBlankText) {
    controller_->addTranscription("  first words \n");
    EXPECT_FALSE(controller_->lastTranscription());  // posted, not yet applied
    main_.runUntilIdle();
    EXPECT_EQ(controller_->lastTranscription(), "first words");

    controller_->addTranscription(" \n\t ");
    main_.runUntilIdle();
    EXPECT_EQ(controller_->lastTranscription(), "first words");

    controller_->addTranscription("second");
    main_.runUntilIdle();
    EXPECT_EQ(controller_->lastTranscription(), "second");
}

TEST_F(MenuBarControllerTest, CopyRules) {
    // Nothing stored: nothing to copy, the clipboard keeps what it had and no error is shown.
    pasteboard_.text = "older clipboard";
    EXPECT_FALSE(controller_->copyLastTranscription());
    EXPECT_EQ(pasteboard_.text, "older clipboard");

    EXPECT_FALSE(controller_->copyTranscriptionToClipboard(" \n "));
    EXPECT_EQ(pasteboard_.writes, 0);

    EXPECT_TRUE(controller_->copyTranscriptionToClipboard("\n dictated text  "));
    EXPECT_EQ(pasteboard_.text, "dictated text");
    EXPECT_TRUE(log_.output.contains(LogLevel::info, "Copied transcription to clipboard"));

    controller_->addTranscription("the last one");
    main_.runUntilIdle();
    statusItem_.chooseCopyLastTranscription();
    EXPECT_EQ(pasteboard_.text, "the last one");

    pasteboard_.failWrites = true;
    EXPECT_FALSE(controller_->copyLastTranscription());
    EXPECT_EQ(log_.output.count("Copied transcription to clipboard"), 2u);
}

TEST_F(MenuBarControllerTest, PostedChangesAreDroppedOnceTheControllerIsGone) {
    controller_->updateState(AppState::recording());
    controller_->addTranscription("text");
    controller_.reset();
    EXPECT_EQ(main_.runUntilIdle(), 2u);  // the blocks ran and did nothing
}

TEST_F(MenuBarControllerTest, DropsAreTakenWhenAllFilesAreMediaAndNothingRecords) {
    controller_->isSupportedMedia = [](const std::filesystem::path& file) { return file.extension() != ".txt"; };
    std::vector<std::filesystem::path> started;
    controller_->onTranscribeFile = [&](const std::filesystem::path& file) { started.push_back(file); };

    const std::vector<std::filesystem::path> media = {"/tmp/a.mp3", "/tmp/b.mkv"};
    const std::vector<std::filesystem::path> mixed = {"/tmp/a.mp3", "/tmp/notes.txt"};
    const std::vector<std::pair<AppState, bool>> states = {
        {AppState::idle(), true},          {AppState::transcribing(), true}, {AppState::error("x"), true},
        {AppState::recording(), false},    {AppState::liveTranscribing(), false},
    };
    for (const auto& [state, accepted] : states) {
        controller_->updateState(state);
        main_.runUntilIdle();
        EXPECT_EQ(controller_->canAcceptDroppedFiles(media), accepted) << static_cast<int>(state.kind());
        EXPECT_FALSE(controller_->canAcceptDroppedFiles(mixed));
    }
    EXPECT_FALSE(controller_->canAcceptDroppedFiles({}));

    controller_->handleDroppedFiles(mixed);
    main_.runUntilIdle();
    EXPECT_TRUE(started.empty());
    EXPECT_EQ(controller_->state(), AppState::error("Unsupported file type. Drop an audio or video file."));

    controller_->handleDroppedFiles(media);
    EXPECT_TRUE(started.empty());  // each job starts on its own turn of the main queue
    main_.runUntilIdle();
    EXPECT_EQ(started, media);
}

}  // namespace
}  // namespace quillon
