#include <gtest/gtest.h>

#include "core/audio/AudioDeviceManager.h"
#include "core/audio/MicrophonePermission.h"
#include "fakes/FakeAudioDevices.h"
#include "fakes/FakeMicrophoneAccess.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using testing::FakeAudioDevices;
using testing::FakeMicrophoneAccess;

const AudioDevice defaultRow{"system", "System Default", "System Default"};

struct DeviceWorld {
    DeviceWorld() { port.devices = {{"alsa_input.usb", "USB Microphone"}, {"mic", "Built-in Microphone"}}; }

    void settle() {
        main.runUntilIdle();
        port.answer();
        main.runUntilIdle();
    }

    ManualScheduler main;
    testing::TestLog log{main};
    FakeAudioDevices port;
    AudioDeviceManager manager{port, main, log.logger(LogCategory::audio)};
};

TEST(AudioDeviceManager, ListsMicrophonesAfterTheDefaultRowAndOnlyItWhenTheServerFails) {
    DeviceWorld world;
    EXPECT_EQ(world.manager.devices(), std::vector<AudioDevice>{defaultRow});
    world.settle();
    EXPECT_EQ(world.manager.devices(),
              (std::vector<AudioDevice>{defaultRow, {"alsa_input.usb", "USB Microphone", "alsa_input.usb"},
                                        {"mic", "Built-in Microphone", "mic"}}));

    world.port.failure = "The sound server is not running";
    world.manager.updateDevices();
    world.settle();
    EXPECT_EQ(world.manager.devices(), std::vector<AudioDevice>{defaultRow});
}

TEST(AudioDeviceManager, StoredChoiceFallsBackToTheDefaultOnlyWhenItIsGone) {
    DeviceWorld world;
    EXPECT_EQ(world.manager.inputDeviceForUID("alsa_input.gone"), "alsa_input.gone") << "trusted before the first list";
    world.settle();
    struct Case {
        std::string stored;
        std::optional<std::string> recorded;
    };
    for (const auto& c : {Case{"System Default", std::nullopt}, Case{"alsa_input.usb", "alsa_input.usb"},
                          Case{"alsa_input.gone", std::nullopt}}) {
        EXPECT_EQ(world.manager.inputDeviceForUID(c.stored), c.recorded) << c.stored;
    }
    EXPECT_EQ(world.log.output.countContaining("alsa_input.gone is no longer available"), 1u)
        << "the fallback is logged";
}

TEST(AudioDeviceManager, AnswerAfterDestructionIsDropped) {
    ManualScheduler main;
    testing::TestLog log{main};
    FakeAudioDevices port;
    { AudioDeviceManager manager(port, main, log.logger(LogCategory::audio)); }
    EXPECT_FALSE(port.onDevicesChanged);
    port.answer();
    main.runUntilIdle();
}

TEST(MicrophonePermission, TheDesktopIsAskedOnlyWhileUndecidedAndAnswersOnTheMainThread) {
    struct Case {
        RecordPermission state;
        std::optional<bool> platformAnswer;
        bool granted;
    };
    for (const auto& c : {Case{RecordPermission::undetermined, true, true},
                          Case{RecordPermission::undetermined, false, false},
                          Case{RecordPermission::granted, std::nullopt, true},
                          Case{RecordPermission::denied, std::nullopt, false}}) {
        SCOPED_TRACE(static_cast<int>(c.state));
        ManualScheduler main;
        testing::TestLog log{main};
        FakeMicrophoneAccess access;
        access.permission = c.state;
        MicrophonePermission permission(access, main, log.logger(LogCategory::app));
        std::optional<bool> completed;
        permission.requestMicrophoneAccess([&](bool granted) { completed = granted; });
        EXPECT_EQ(access.requests.size(), c.platformAnswer ? 1u : 0u);
        if (c.platformAnswer) {
            access.answer(*c.platformAnswer);
            EXPECT_FALSE(completed) << "the answer hops to the main thread";
            main.runUntilIdle();
        }
        EXPECT_EQ(completed, c.granted);
        EXPECT_EQ(permission.microphonePermissionGranted(), c.granted);
    }
}

}  // namespace
}  // namespace quillon
