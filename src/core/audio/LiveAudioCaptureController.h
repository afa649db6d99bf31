#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <span>

#include "core/audio/LiveAudioCaptureError.h"
#include "core/audio/LiveAudioConfiguration.h"
#include "core/audio/PCM16LiveMixer.h"
#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/ports/AudioCapture.h"
#include "core/ports/SystemAudioTap.h"

namespace quillon {

// Gives the live transcript one 48000 Hz PCM16 stream from the microphone, from system audio
// (all of it or one application), or from both through the mixer. With one source the blocks
// pass straight through on that source's audio thread; mixed, they leave the mixer's queue in
// blocks of 1920 bytes. Starts wire the callbacks, then the mixer, the microphone and the tap;
// stops clear the callbacks, then stop the microphone, the tap and the mixer.
//
// Threads: start, stop and reconfigure run on the main thread. onPCM16Data runs on an audio
// thread or the mixer's queue and must be set before the start; onError runs on the main thread.
// The controller holds no lock: the sources guarantee that after their handler is cleared, and
// the mixer that after its stop, nothing calls back.
class LiveAudioCaptureController {
public:
    static constexpr int sampleRate = 48000;

    LiveAudioCaptureController(Scheduler& mainQueue, Scheduler& mixerQueue, AudioCapture& microphone,
                               SystemAudioTap& systemAudioTap);
    ~LiveAudioCaptureController();
    LiveAudioCaptureController(const LiveAudioCaptureController&) = delete;
    LiveAudioCaptureController& operator=(const LiveAudioCaptureController&) = delete;

    std::function<void(std::span<const std::byte> block)> onPCM16Data;
    // A source failed while running (the sound server or the device went away), reported once
    // per capture. Capture is not stopped here; the owner decides.
    std::function<void(const AudioCaptureError& error)> onError;

    // A start while running succeeds and keeps the running configuration, whatever is asked.
    std::expected<void, AudioCaptureError> start(const LiveAudioConfiguration& configuration);
    // Safe at any time.
    void stop();
    // Switches the source. On failure the previous source runs again and the change's error is
    // raised; when that fails too, capture is stopped and both errors are raised.
    std::expected<void, LiveAudioReconfigureError> reconfigure(const LiveAudioConfiguration& configuration);

    bool isRunning() const { return isRunning_; }
    const std::optional<LiveAudioConfiguration>& currentConfiguration() const { return currentConfiguration_; }

private:
    void forward(std::span<const std::byte> block) const {
        if (onPCM16Data) onPCM16Data(block);
    }
    void reportError(const AudioCaptureError& error);

    Scheduler& mainQueue_;
    AudioCapture& microphone_;
    SystemAudioTap& systemAudioTap_;
    PCM16LiveMixer mixer_;
    bool isRunning_ = false;
    std::optional<LiveAudioConfiguration> currentConfiguration_;
    // Each stop starts a new run; an error of an earlier run that reaches the main queue late is
    // dropped. Read on the audio threads, written on the main thread.
    std::atomic<std::uint64_t> runNumber_{0};
    bool hasReportedError_ = false;  // main thread
    WeakOwner weakOwner_;  // last: dies first
};

}  // namespace quillon
