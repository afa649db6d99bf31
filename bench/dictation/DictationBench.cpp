// How soon the microphone delivers once a dictation starts: from AudioRecorder::startRecording()
// (what the hotkey's press leads to once the focused field is known) to the first block on the
// audio thread, with the real PulseAudio capture at 16000 Hz and the WAV chunk written on its own
// queue. Run inside tests/integration/desktop-session, whose microphone streams all the time.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "core/audio/AudioDeviceManager.h"
#include "core/audio/LevelMeter.h"
#include "core/base/ManualScheduler.h"
#include "core/dictation/AudioRecorder.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeAudioDevices.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/audio/AudioCapturePulse.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/SystemWallClock.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/sound/RealFFTAvTx.h"

using namespace quillon;
using Clock = std::chrono::steady_clock;

int main() {
    ManualScheduler main;  // the recorder's timers are not needed here
    testing::TestLog log(main);
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings(store, loginItem, log.logger(LogCategory::settings));
    testing::FakeAudioDevices audioDevices;
    AudioDeviceManager devices(audioDevices, main, log.logger(LogCategory::audio));
    RealFFTAvTx fft(LevelMeter::fftSize);
    SystemWallClock clock;
    LevelMeter meter(fft, main, clock);
    TemporaryFilesPosix files(log.logger(LogCategory::audio));
    AudioCapturePulse capture;
    SerialQueue writer("bench.dictation.recording");
    AudioRecorder recorder({main, writer, capture, files, meter, devices, settings},
                           log.logger(LogCategory::audio));
    recorder.onRecordingComplete = [](const std::filesystem::path& file) { std::filesystem::remove(file); };

    std::atomic<Clock::rep> firstBlock{0};
    recorder.setOnPCM16Data([&firstBlock](std::span<const std::byte>) {
        Clock::rep none = 0;
        firstBlock.compare_exchange_strong(none, Clock::now().time_since_epoch().count());
    });

    constexpr int runs = 30;
    std::vector<double> milliseconds;
    for (int run = 0; run < runs; ++run) {
        firstBlock = 0;
        const auto started = Clock::now();
        if (auto result = recorder.startRecording(false, true); !result) {
            std::fprintf(stderr, "The recording did not start: %s\n", result.error().c_str());
            return 1;
        }
        while (firstBlock == 0 && Clock::now() - started < std::chrono::seconds(5))
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        if (firstBlock == 0) {
            std::fputs("No audio arrived within 5 s\n", stderr);
            return 1;
        }
        const auto arrived = Clock::time_point(Clock::duration(firstBlock.load()));
        milliseconds.push_back(std::chrono::duration<double, std::milli>(arrived - started).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        recorder.stopRecording();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        main.runUntilIdle();  // the chunk's completion: its file is deleted
    }
    // The first start of a process is shown apart: on a sound server started just before (as in the
    // test session) the server's first stream from its microphone takes over a second to start;
    // a second process on the same server starts as fast as any later start.
    const double first = milliseconds.front();
    milliseconds.erase(milliseconds.begin());
    std::ranges::sort(milliseconds);
    const std::size_t count = milliseconds.size();
    std::printf("Dictation start to the first microphone block (PulseAudio, 16000 Hz):\n");
    std::printf("  first start of this process %.1f ms\n", first);
    std::printf("  later starts (%zu): median %.1f ms, 90th percentile %.1f ms, worst %.1f ms\n", count,
                milliseconds[count / 2], milliseconds[count * 9 / 10], milliseconds.back());
    return 0;
}
