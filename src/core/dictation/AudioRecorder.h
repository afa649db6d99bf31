#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "core/audio/AudioDeviceManager.h"
#include "core/audio/LevelMeter.h"
#include "core/base/Scheduler.h"
#include "core/base/TimerHandle.h"
#include "core/base/WeakOwner.h"
#include "core/dictation/DictationRecorder.h"
#include "core/logging/Logger.h"
#include "core/ports/AudioCapture.h"
#include "core/ports/TemporaryFiles.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// The microphone recorder of dictation. Records the chosen microphone at 16 kHz through the
// capture port, feeds the level meter, hands every block to the stream consumer and, when asked,
// writes the recording into a WAV chunk "recording_<UUID>.wav" in the private temporary folder.
// A tap-to-toggle recording is cut into chunks of maxRecordingDuration: at each limit the chunk is
// finished and a new one (always with a file) starts within the same main-thread turn.
//
// A chunk file never outlives its use: the consumer of onRecordingComplete owns it from then on
// (dictation deletes it); on every other path (a failed start, a lost device, a failed
// finalisation, a completion dropped at shutdown) the recorder deletes it itself.
//
// Threads: start, stop, the limit and the roll-over run on `main`, as do onRecordingComplete and
// onError. The capture's audio thread runs the block handler, which allocates nothing, takes no
// lock and never waits: it feeds the meter's lock-free slot, copies the block into the chunk's
// sample ring and signals the writer's wake-up (on a SerialQueue a semaphore post). The WAV file
// is written on `fileWriter`, which drains the ring; at the stop the writer drains what is left,
// finalises the file and posts the completion to `main`. So onRecordingComplete comes one queue
// hop after stopRecording(), and a roll-over's completion always finds isAutomaticRollover()
// false again.
class AudioRecorder final : public DictationRecorder {
public:
    static constexpr int targetSampleRate = 16000;
    static constexpr std::chrono::seconds defaultMaxDuration{300};
    // Thirty seconds of audio may wait for the writer before samples are dropped (and counted).
    static constexpr std::size_t chunkRingSamples = targetSampleRate * 30;

    struct Collaborators {
        Scheduler& main;
        Scheduler& fileWriter;
        AudioCapture& capture;
        TemporaryFiles& temporaryFiles;
        LevelMeter& levelMeter;
        const AudioDeviceManager& devices;
        const SettingsManager& settings;
    };

    AudioRecorder(Collaborators collaborators, Logger logger);
    ~AudioRecorder() override;
    AudioRecorder(const AudioRecorder&) = delete;
    AudioRecorder& operator=(const AudioRecorder&) = delete;

    std::expected<void, std::string> startRecording(bool tapToggleMode, bool captureToFile) override;
    void stopRecording() override;
    void setTapToggleMode(bool enabled) override;
    bool isTapToggleMode() const override { return isTapToggleMode_; }
    void setIsTapToggleMode(bool enabled) override { isTapToggleMode_ = enabled; }
    void cancelMaxDurationTimer() override { maxDurationTimer_.cancel(); }
    bool isAutomaticRollover() const override { return isAutomaticRollover_; }
    bool isRunning() const override { return isRunning_; }
    void setOnPCM16Data(PCM16Handler handler) override;

    // The limit of the running tap-to-toggle recording; main thread.
    void handleMaxDurationReached();

    TimePoint chunkStartTime() const { return chunkStartTime_; }
    Duration maxRecordingDuration() const { return maxRecordingDuration_; }

    // The chunk being written: its ring, its writer and its file.
    struct Chunk;

private:
    void installBlockHandler();
    void cleanupFailedStart();
    void handleCaptureError(std::uint64_t run, const AudioCaptureError& error);
    void releaseCapture();
    void finishChunk(std::shared_ptr<Chunk> chunk);
    void chunkFinished(const std::shared_ptr<Chunk>& chunk, const std::string& failure);

    Collaborators collaborators_;
    Logger logger_;

    bool isRunning_ = false;
    bool isTapToggleMode_ = false;
    bool isAutomaticRollover_ = false;
    Duration maxRecordingDuration_ = defaultMaxDuration;
    TimePoint chunkStartTime_{};
    TimerHandle maxDurationTimer_;
    std::shared_ptr<Chunk> chunk_;  // absent unless this recording writes a file
    PCM16Handler consumer_;         // main thread's copy; the audio thread has its own
    // Each start begins a new run; a capture error of an earlier run that reaches main late is dropped.
    std::uint64_t run_ = 0;
    WeakOwner weakOwner_;  // last: dies first
};

}  // namespace quillon
