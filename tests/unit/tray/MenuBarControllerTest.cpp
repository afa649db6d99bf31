#include "core/tray/MenuBarController.h"

#include <gtest/gtest.h>

#include "core/base/ManualScheduler.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

class MenuBarControllerTest : public ::testing::Test {
protected:
    MenuBarControllerTest() { controller->setup(); }

    ManualScheduler main;
    ManualScheduler logQueue;
    testing::TestLog log{logQueue};
    testing::FakeStatusItem statusItem;
    testing::FakePasteboard pasteboard;
    std::unique_ptr<MenuBarController> controller =
        std::make_unique<MenuBarController>(main, statusItem, pasteboard, log.logger(LogCategory::app));
};

TEST_F(MenuBarControllerTest, KeepsTheNewestNonBlankTranscriptionAndCopiesTextTrimmed) {
    pasteboard.text = "older clipboard";
    EXPECT_FALSE(controller->copyLastTranscription()) << "nothing to copy yet";
    EXPECT_FALSE(controller->copyTranscriptionToClipboard(" \n "));
    EXPECT_EQ(pasteboard.text, "older clipboard");
    EXPECT_TRUE(controller->copyTranscriptionToClipboard("\n dictated text  "));
    EXPECT_EQ(pasteboard.text, "dictated text");

    controller->addTranscription("first");
    EXPECT_FALSE(controller->lastTranscription()) << "posted, not yet applied";
    controller->addTranscription("  second \n");
    controller->addTranscription(" \n\t ");
    main.runUntilIdle();
    EXPECT_EQ(controller->lastTranscription(), "second");
    pasteboard.failWrites = true;
    EXPECT_FALSE(controller->copyLastTranscription());

    // Changes posted before the controller went are dropped when their turn comes.
    controller->updateState(AppState::recording());
    controller->addTranscription("text");
    controller.reset();
    EXPECT_EQ(main.runUntilIdle(), 2u);
}

TEST_F(MenuBarControllerTest, DropsAreTakenWhenAllFilesAreMediaAndNothingRecords) {
    controller->isSupportedMedia = [](const std::filesystem::path& file) { return file.extension() != ".txt"; };
    std::vector<std::filesystem::path> started;
    controller->onTranscribeFile = [&](const std::filesystem::path& file) { started.push_back(file); };
    const std::vector<std::filesystem::path> media = {"/tmp/a.mp3", "/tmp/b.mkv"};
    const std::vector<std::filesystem::path> mixed = {"/tmp/a.mp3", "/tmp/notes.txt"};
    const std::vector<std::pair<AppState, bool>> states = {
        {AppState::idle(), true},       {AppState::transcribing(), true},      {AppState::error("x"), true},
        {AppState::recording(), false}, {AppState::liveTranscribing(), false},
    };
    for (const auto& [state, accepted] : states) {
        controller->updateState(state);
        main.runUntilIdle();
        EXPECT_EQ(controller->canAcceptDroppedFiles(media), accepted) << static_cast<int>(state.kind());
        EXPECT_FALSE(controller->canAcceptDroppedFiles(mixed));
    }
    EXPECT_FALSE(controller->canAcceptDroppedFiles({}));

    controller->handleDroppedFiles(mixed);
    main.runUntilIdle();
    EXPECT_TRUE(started.empty());
    EXPECT_EQ(controller->state(), AppState::error("Unsupported file type. Drop an audio or video file."));
    controller->handleDroppedFiles(media);
    EXPECT_TRUE(started.empty()) << "each job starts on its own turn of the main queue";
    main.runUntilIdle();
    EXPECT_EQ(started, media);
}

}  // namespace
}  // namespace quillon
