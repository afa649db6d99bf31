// Where audio comes from and goes to: the system audio catalogue, the microphones and their
// permission, and the WAV files that recordings are written to.
#include <gtest/gtest.h>

#include <vector>

#include "core/audio/AudioDeviceManager.h"
#include "core/audio/LiveAudioFileRecorder.h"
#include "core/audio/MicrophonePermission.h"
#include "core/audio/SystemAudioSourceCatalog.h"
#include "core/audio/WAVWriter.h"
#include "core/base/ManualScheduler.h"
#include "fakes/FakeAudioDevices.h"
#include "fakes/FakeAudioFileWriter.h"
#include "fakes/FakeMicrophoneAccess.h"
#include "fakes/FakeSystemAudioProcesses.h"
#include "fakes/FakeTemporaryFiles.h"
#include "fakes/FakeWritableFile.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

SystemAudioProcess stream(int pid, std::string application, std::string name, bool playing) {
    return {pid, "process-" + std::to_string(pid), std::move(application), std::move(name), "", playing};
}

TEST(SystemAudioSourceCatalogTest, GroupsByApplicationPlayingFirstThenByNameWithoutQuillon) {
    ManualScheduler main;
    testing::FakeSystemAudioProcesses processes;
    processes.list = {
        stream(10, "zeta", "zeta player", false), stream(20, "chromium", "Chromium", false),
        stream(21, "chromium", "Chromium", true), stream(30, "quillon", "Quillon", true),
        stream(40, "alpha", "Alpha", false),      stream(50, "beta", "beta", false),
    };
    SystemAudioSourceCatalog catalog(main, processes, "quillon");
    int changes = 0;
    catalog.onApplicationsChanged = [&] { ++changes; };

    std::vector<std::string> order;
    for (const auto& application : catalog.applications()) order.push_back(application.bundleIdentifier);
    EXPECT_EQ(order, (std::vector<std::string>{"chromium", "alpha", "beta", "zeta"}));
    EXPECT_EQ(catalog.applications()[0].processIdentifiers, (std::vector<int>{20, 21}));

    // zeta starts playing: it moves ahead of the silent ones at the next refresh.
    processes.list[0].isRunningOutput = true;
    main.advance(2s);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(catalog.applications()[1].bundleIdentifier, "zeta");
}

struct RecorderWorld {
    ManualScheduler main;
    ManualScheduler queue;
    testing::FakeAudioFileWriterFactory files;
    testing::FakeTemporaryFiles temporaryFiles;
    LiveAudioFileRecorder recorder{main, queue, files, temporaryFiles};
    std::vector<LiveAudioFileRecorderError> errors;
    std::vector<std::optional<std::filesystem::path>> finished;

    RecorderWorld() {
        recorder.onError = [this](const LiveAudioFileRecorderError& e) { errors.push_back(e); };
    }
    void finish() {
        recorder.finish([this](std::optional<std::filesystem::path> path) { finished.push_back(path); });
        queue.runUntilIdle();
        main.runUntilIdle();
    }
};

TEST(LiveAudioFileRecorderTest, WritesInBatchesOfAtLeastATenthOfASecondAndFlushesAtFinish) {
    struct Case {
        std::size_t bytes;
        std::vector<std::size_t> writesBeforeFinish;
        std::vector<std::size_t> writesInAll;
    };
    const Case cases[] = {
        {9600, {4800}, {4800}},
        {9598, {}, {4799}},
        {9601, {4800}, {4800}},  // the odd byte is dropped
        {0, {}, {}},             // finish right after start: a file with no audio
    };
    for (const auto& c : cases) {
        RecorderWorld world;
        ASSERT_TRUE(world.recorder.start());
        ASSERT_TRUE(world.recorder.start());  // a second start keeps the first file
        world.recorder.appendPCM16(std::vector<std::byte>(c.bytes, std::byte{1}));
        world.queue.advance(100ms);
        ASSERT_EQ(world.files.files.size(), 1u);
        const auto& file = *world.files.files[0];
        EXPECT_EQ(file.writes, c.writesBeforeFinish) << c.bytes;
        world.finish();
        EXPECT_EQ(file.writes, c.writesInAll) << c.bytes;
        EXPECT_TRUE(file.closed);
        ASSERT_EQ(world.finished.size(), 1u);
        EXPECT_EQ(world.finished[0], file.path);
        EXPECT_EQ(file.path.parent_path(), world.temporaryFiles.folder) << "private to the user";
        world.recorder.appendPCM16(std::vector<std::byte>(9600));  // after finish: dropped
        world.queue.advance(1s);
        EXPECT_EQ(file.writes, c.writesInAll) << c.bytes;
    }
}

TEST(LiveAudioFileRecorderTest, ReportsOneWriteErrorPerRecordingAndFailsToStartCleanly) {
    RecorderWorld world;
    world.files.openFailure = "disk full";
    auto started = world.recorder.start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().description(), "Could not start the audio recording: disk full");
    EXPECT_FALSE(world.recorder.isRecording());
    world.finish();
    EXPECT_EQ(world.finished, (std::vector<std::optional<std::filesystem::path>>{std::nullopt}));

    world.files.writeFailure = "no space";
    for (int recording = 0; recording < 2; ++recording) {
        ASSERT_TRUE(world.recorder.start());
        for (int i = 0; i < 2; ++i) {
            world.recorder.appendPCM16(std::vector<std::byte>(9600));
            world.queue.advance(100ms);
        }
        world.finish();
    }
    ASSERT_EQ(world.errors.size(), 2u);
    EXPECT_EQ(world.errors[0].description(), "Could not write the audio recording: no space");
}

using testing::FakeFileContents;
using testing::FakeWritableFile;

std::uint32_t readU32(const std::vector<std::byte>& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value |= std::to_integer<std::uint32_t>(bytes[at + i]) << (8 * i);
    return value;
}

struct WriterWorld {
    std::shared_ptr<FakeFileContents> contents = std::make_shared<FakeFileContents>();
    WAVWriter writer{std::make_unique<FakeWritableFile>(contents)};
};

// A failed header is written again with the next block; a failed block counts in no size.
TEST(WAVWriter, SizesCountOnlyWhatWasWrittenInFull) {
    WriterWorld world;
    const std::vector<std::byte> block(4, std::byte{7});
    for (const bool headerWritten : {false, true}) {
        world.contents->failWritesAfter = 0;
        EXPECT_FALSE(world.writer.write(block));
        EXPECT_EQ(world.writer.isHeaderWritten(), headerWritten);
        world.contents->failWritesAfter = -1;
        ASSERT_TRUE(world.writer.write(block));
    }
    ASSERT_TRUE(world.writer.finalize());

    const auto& bytes = world.contents->bytes;
    EXPECT_EQ(bytes.size(), 44u + 8u);
    EXPECT_EQ(readU32(bytes, 4), bytes.size() - 8);
    EXPECT_EQ(readU32(bytes, 40), bytes.size() - 44);
}

// The header's layout and sizes in a real file are the sound integration test's; here the failures.
TEST(WAVWriter, FinalizeStopsAtTheFailingStepAndReportsIt) {
    struct Case {
        const char* name;
        void (*inject)(FakeFileContents&);
        std::uint32_t dataSizeInHeader;  // what has been patched in already stays
    };
    for (const auto& c : {Case{"seek", [](FakeFileContents& f) { f.failSeek = true; }, 0},
                          Case{"write", [](FakeFileContents& f) { f.failWritesAfter = 0; }, 0},
                          Case{"close", [](FakeFileContents& f) { f.failClose = true; }, 4}}) {
        SCOPED_TRACE(c.name);
        WriterWorld world;
        ASSERT_TRUE(world.writer.write(std::vector<std::byte>(4, std::byte{7})));
        c.inject(*world.contents);
        const auto result = world.writer.finalize();
        ASSERT_FALSE(result);
        EXPECT_FALSE(result.error().empty());
        EXPECT_EQ(readU32(world.contents->bytes, 40), c.dataSizeInHeader);
        EXPECT_FALSE(world.contents->closed);
    }
}

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
