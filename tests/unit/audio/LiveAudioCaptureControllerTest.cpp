#include <gtest/gtest.h>

#include <vector>

#include "core/audio/LiveAudioCaptureController.h"
#include "core/base/ManualScheduler.h"
#include "fakes/FakeAudioCapture.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::CallJournal;

const LiveAudioConfiguration microphone{LiveAudioMode::microphone, std::nullopt, "System Audio"};
const LiveAudioConfiguration allSystemAudio{LiveAudioMode::systemAudio, std::nullopt, "System Audio"};
const LiveAudioConfiguration callApp{LiveAudioMode::systemAudio, "chromium", "Chromium"};
const LiveAudioConfiguration callAppRenamed{LiveAudioMode::systemAudio, "chromium", "Chromium Web Browser"};
const LiveAudioConfiguration mixed{LiveAudioMode::microphoneAndSystemAudio, "chromium", "Chromium"};

const AudioCaptureError appGone{AudioCaptureError::Kind::applicationUnavailable, ""};

struct World {
    ManualScheduler main;
    ManualScheduler mixerQueue;
    CallJournal journal;
    testing::FakeAudioCapture microphone;
    testing::FakeSystemAudioTap tap;
    LiveAudioCaptureController controller{main, mixerQueue, microphone, tap};

    World() {
        microphone.journal = &journal;
        tap.journal = &journal;
    }
};

TEST(LiveAudioCaptureControllerTest, FailedStartStopsWhatAlreadyRan) {
    World world;
    world.tap.startFailures = {appGone};
    auto started = world.controller.start(mixed);
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error(), appGone);
    EXPECT_FALSE(world.microphone.running);
    EXPECT_FALSE(world.controller.isRunning());
}

TEST(LiveAudioCaptureControllerTest, ReconfigureRestoresThePreviousSourceOrStopsWithBothErrors) {
    struct Case {
        const char* name;
        std::vector<std::optional<AudioCaptureError>> microphoneFailures;
        std::vector<std::optional<AudioCaptureError>> tapFailures;
        LiveAudioConfiguration target;
        std::optional<LiveAudioReconfigureError> expectedError;
        std::optional<LiveAudioConfiguration> expectedRunning;
        bool touchesSources;
    };
    const Case cases[] = {
        {"equal configuration", {}, {}, callApp, std::nullopt, callApp, false},
        {"only the display name differs", {}, {}, callAppRenamed, std::nullopt, callAppRenamed, true},
        {"change and restoration fail",
         {},
         {appGone, appGone},
         allSystemAudio,
         LiveAudioCaptureError{appGone, appGone},
         std::nullopt,
         true},
    };
    for (const auto& c : cases) {
        World world;
        ASSERT_TRUE(world.controller.start(callApp));
        world.microphone.startFailures = c.microphoneFailures;
        world.tap.startFailures = c.tapFailures;
        world.journal.clear();
        auto result = world.controller.reconfigure(c.target);
        if (c.expectedError) {
            ASSERT_FALSE(result) << c.name;
            EXPECT_EQ(result.error(), *c.expectedError) << c.name;
        } else {
            EXPECT_TRUE(result) << c.name;
        }
        EXPECT_EQ(world.controller.currentConfiguration(), c.expectedRunning) << c.name;
        EXPECT_EQ(world.controller.isRunning(), c.expectedRunning.has_value()) << c.name;
        EXPECT_EQ(!world.journal.empty(), c.touchesSources) << c.name;
        if (!c.expectedRunning) {
            // Stopped for good: a later change starts from nothing.
            world.tap.startFailures.clear();
            EXPECT_TRUE(world.controller.reconfigure(microphone)) << c.name;
            EXPECT_EQ(world.controller.currentConfiguration(), microphone) << c.name;
        }
    }
}

TEST(LiveAudioCaptureControllerTest, RunTimeErrorsReachTheMainQueueOncePerCaptureAndCaptureGoesOn) {
    World world;
    std::vector<AudioCaptureError> errors;
    world.controller.onError = [&](const AudioCaptureError& e) { errors.push_back(e); };
    ASSERT_TRUE(world.controller.start(microphone));
    const AudioCaptureError lost{AudioCaptureError::Kind::connectionLost, ""};
    world.microphone.fail(lost);
    EXPECT_TRUE(errors.empty());
    world.tap.error(lost);  // the server's death fails every source: one report
    world.main.runUntilIdle();
    EXPECT_EQ(errors, std::vector<AudioCaptureError>{lost});
    EXPECT_TRUE(world.controller.isRunning());

    // An error of a capture that has since stopped is dropped; the next capture reports again.
    world.microphone.fail(lost);
    world.controller.stop();
    ASSERT_TRUE(world.controller.start(microphone));
    world.main.runUntilIdle();
    EXPECT_EQ(errors.size(), 1u);
    world.microphone.fail(lost);
    world.main.runUntilIdle();
    EXPECT_EQ(errors.size(), 2u);
}

}  // namespace
}  // namespace quillon
