#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/audio/AudioDeviceManager.h"
#include "core/audio/LevelMeter.h"
#include "core/audio/WAVWriter.h"
#include "core/base/ManualScheduler.h"
#include "core/dictation/AudioRecorder.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeAudioCapture.h"
#include "fakes/FakeAudioDevices.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeRealFFT.h"
#include "fakes/FakeTemporaryFiles.h"
#include "fakes/FakeWallClock.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

std::vector<std::byte> block(std::size_t samples, std::int16_t value) {
    std::vector<std::byte> bytes(samples * 2);
    for (std::size_t i = 0; i < samples; ++i) std::memcpy(bytes.data() + 2 * i, &value, 2);
    return bytes;
}

struct RecorderWorld {
    RecorderWorld() {
        recorder.onRecordingComplete = [this](const std::filesystem::path& file) {
            completed.push_back(file);
        };
        recorder.onError = [this](const std::string& description) { errors.push_back(description); };
        recorder.setOnPCM16Data([this](std::span<const std::byte> bytes) { streamed += bytes.size(); });
    }

    // Lets the writer and then the main thread catch up, as the queues would.
    void settle() {
        writer.runUntilIdle();
        main.runUntilIdle();
    }
    std::size_t filesLeft() const { return files.writables.size(); }
    bool idleTimersOnly() const { return !main.nextDueTime().has_value(); }

    ManualScheduler main;
    ManualScheduler writer;
    ManualScheduler logQueue;
    testing::TestLog log{logQueue};
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    testing::FakeAudioDevices audioDevices;
    AudioDeviceManager devices{audioDevices, main, log.logger(LogCategory::audio)};
    testing::FakeRealFFT fft;
    testing::FakeWallClock clock;
    LevelMeter meter{fft, main, clock};
    testing::FakeAudioCapture capture;
    testing::FakeTemporaryFiles files;
    AudioRecorder recorder{{main, writer, capture, files, meter, devices, settings},
                           log.logger(LogCategory::audio)};

    std::vector<std::filesystem::path> completed;
    std::vector<std::string> errors;
    std::size_t streamed = 0;
};

TEST(AudioRecorder, RecordsTheMicrophoneIntoAWavChunkHandedOverAfterTheStop) {
    RecorderWorld world;
    world.settings.setInputDeviceUID("usb-headset");
    ASSERT_TRUE(world.recorder.startRecording(false, true));
    EXPECT_EQ(world.capture.source, "usb-headset");

    // A second start changes nothing, the mode included.
    ASSERT_TRUE(world.recorder.startRecording(true, false));
    EXPECT_FALSE(world.recorder.isTapToggleMode());

    world.capture.deliver(block(320, 1000));
    world.capture.deliver({});  // an empty block is no block
    world.capture.deliver(block(160, -2));
    world.settle();
    EXPECT_EQ(world.streamed, 960u);

    world.recorder.stopRecording();
    EXPECT_FALSE(world.capture.running);
    EXPECT_FALSE(world.recorder.isRunning());
    EXPECT_TRUE(world.completed.empty()) << "the file is finalised on the writer's queue first";
    world.settle();

    ASSERT_EQ(world.completed.size(), 1u);
    const auto& wav = *world.files.writables.at(world.completed[0].filename().string());
    EXPECT_TRUE(wav.closed);
    EXPECT_EQ(wav.bytes.size(), WAVWriter::headerSize + 960);
    EXPECT_TRUE(world.idleTimersOnly()) << "an idle recorder keeps no timer";
}

TEST(AudioRecorder, OnlyAToggledRecordingIsCutIntoChunksAtTheLimit) {
    RecorderWorld world;
    world.settings.setMaxRecordingDuration(10.0);

    // Held: no limit at all.
    ASSERT_TRUE(world.recorder.startRecording(false, false));
    world.main.advance(1h);
    EXPECT_TRUE(world.recorder.isRunning());
    world.recorder.stopRecording();

    // Toggled without a file: the first roll-over gains one, and its chunk completes at the next.
    ASSERT_TRUE(world.recorder.startRecording(true, false));
    const TimePoint began = world.main.now();
    world.main.advance(10s);
    world.writer.runUntilIdle();
    EXPECT_TRUE(world.recorder.isRunning());
    EXPECT_FALSE(world.recorder.isAutomaticRollover());
    EXPECT_EQ(world.recorder.chunkStartTime(), began + 10s);
    EXPECT_TRUE(world.completed.empty());
    world.capture.deliver(block(16, 7));
    world.main.advance(10s);
    world.settle();
    ASSERT_EQ(world.completed.size(), 1u);
    EXPECT_EQ(world.filesLeft(), 2u) << "the handed-over chunk and the one recording now";

    // A held key turned into a toggle arms the limit; turning it off cancels it.
    world.recorder.stopRecording();
    ASSERT_TRUE(world.recorder.startRecording(false, true));
    world.recorder.setTapToggleMode(true);
    world.recorder.setTapToggleMode(false);
    world.main.advance(1h);
    world.settle();
    EXPECT_EQ(world.completed.size(), 2u) << "the stopped chunk's, none from the cancelled limit";
    EXPECT_TRUE(world.recorder.isRunning());

    // A limit that fires while the mode flag is off does nothing.
    world.recorder.setTapToggleMode(true);
    world.recorder.setIsTapToggleMode(false);
    world.main.advance(10s);
    world.settle();
    EXPECT_EQ(world.completed.size(), 2u);
    EXPECT_TRUE(world.errors.empty());
}

// After a failed start nothing runs and nothing is left on disk, and the next start works.
TEST(AudioRecorder, AFailedStartLeavesNothingBehind) {
    struct Case {
        bool fileFails;
        std::optional<AudioCaptureError> captureFails;
        std::string expected;
    };
    for (const auto& c : {Case{true, std::nullopt, "Failed to create audio file"},
                          Case{false, AudioCaptureError{AudioCaptureError::Kind::noMicrophone, ""},
                               "No microphone is available."}}) {
        SCOPED_TRACE(c.expected);
        RecorderWorld world;
        if (c.fileFails) world.files.failure = std::make_error_code(std::errc::no_space_on_device);
        world.capture.startFailures.push_back(c.captureFails);

        const auto started = world.recorder.startRecording(false, true);
        ASSERT_FALSE(started);
        EXPECT_EQ(started.error(), c.expected);
        EXPECT_FALSE(world.recorder.isRunning());
        EXPECT_FALSE(world.capture.running);
        EXPECT_FALSE(world.capture.pcm) << "the audio handler is gone";
        EXPECT_EQ(world.filesLeft(), 0u);
        EXPECT_TRUE(world.idleTimersOnly());

        world.files.failure.reset();
        world.capture.startFailures.clear();
        EXPECT_TRUE(world.recorder.startRecording(false, true));
    }
}

TEST(AudioRecorder, AFileThatCannotBeFinishedIsReportedAndDeleted) {
    RecorderWorld world;
    ASSERT_TRUE(world.recorder.startRecording(false, true));
    world.capture.deliver(block(160, 1));
    world.files.writables.begin()->second->failSeek = true;
    world.recorder.stopRecording();
    world.settle();
    ASSERT_EQ(world.errors.size(), 1u);
    EXPECT_TRUE(world.errors[0].starts_with("Failed to finalize WAV file: "));
    EXPECT_EQ(world.filesLeft(), 0u);

    // A roll-over whose new chunk cannot start ends the recording with an error.
    world.settings.setMaxRecordingDuration(5.0);
    ASSERT_TRUE(world.recorder.startRecording(true, true));
    world.capture.startFailures.push_back(AudioCaptureError{AudioCaptureError::Kind::noMicrophone, ""});
    world.main.advance(5s);
    world.settle();
    EXPECT_EQ(world.errors.back(), "No microphone is available.");
    EXPECT_FALSE(world.recorder.isRunning());
    EXPECT_EQ(world.completed.size(), 1u) << "the chunk before it is complete";
}

TEST(AudioRecorder, ARecorderGoneBeforeItsChunkCompletesLeavesNoFile) {
    RecorderWorld world;
    {
        AudioRecorder second({world.main, world.writer, world.capture, world.files, world.meter,
                              world.devices, world.settings},
                             world.log.logger(LogCategory::audio));
        ASSERT_TRUE(second.startRecording(false, true));
        world.capture.deliver(block(160, 1));
        second.stopRecording();
        EXPECT_EQ(world.filesLeft(), 1u);
    }
    world.settle();
    EXPECT_EQ(world.filesLeft(), 0u);
}

}  // namespace
}  // namespace quillon
