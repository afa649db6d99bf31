#include "core/audio/LiveAudioCaptureController.h"

#include <utility>

namespace quillon {

LiveAudioCaptureController::LiveAudioCaptureController(Scheduler& mainQueue, Scheduler& mixerQueue,
                                                       AudioCapture& microphone, SystemAudioTap& systemAudioTap)
    : mainQueue_(mainQueue), microphone_(microphone), systemAudioTap_(systemAudioTap), mixer_(mixerQueue) {
    // Safe to hold `this`: the destructor stops the mixer before the controller goes.
    mixer_.setOnPCM16Data([this](std::span<const std::byte> block) { forward(block); });
    const auto error = [this](const AudioCaptureError& e) { reportError(e); };
    microphone_.setOnError(error);
    systemAudioTap_.setOnError(error);
}

LiveAudioCaptureController::~LiveAudioCaptureController() {
    stop();
    microphone_.setOnError(nullptr);
    systemAudioTap_.setOnError(nullptr);
}

// Runs on a source's thread: the hop to the main queue holds the controller weakly.
void LiveAudioCaptureController::reportError(const AudioCaptureError& error) {
    mainQueue_.post(weakOwner_.weakly([this, error, run = runNumber_.load()] {
        // One report per capture: a server that goes away fails every source at once.
        if (run != runNumber_.load() || std::exchange(hasReportedError_, true)) return;
        if (onError) onError(error);
    }));
}

std::expected<void, AudioCaptureError> LiveAudioCaptureController::start(const LiveAudioConfiguration& configuration) {
    if (isRunning_) return {};
    const bool withMicrophone = configuration.mode != LiveAudioMode::systemAudio;
    const bool withSystemAudio = configuration.mode != LiveAudioMode::microphone;

    // Safe to hold `this` on the audio threads: stop() clears these handlers, and the sources
    // promise not to call a cleared handler once the clearing call has returned.
    if (configuration.mode == LiveAudioMode::microphoneAndSystemAudio) {
        mixer_.start();
        microphone_.setOnPCM16Data([this](std::span<const std::byte> block) { mixer_.appendMicrophone(block); });
        systemAudioTap_.setOnPCM16Data([this](std::span<const std::byte> block) { mixer_.appendSystemAudio(block); });
    } else {
        const auto direct = [this](std::span<const std::byte> block) { forward(block); };
        microphone_.setOnPCM16Data(direct);
        systemAudioTap_.setOnPCM16Data(direct);
    }

    if (withMicrophone) {
        if (auto started = microphone_.start("", sampleRate); !started) {
            stop();
            return std::unexpected(started.error());
        }
    }
    if (withSystemAudio) {
        if (auto started = systemAudioTap_.start(configuration.systemAudioBundleIdentifier); !started) {
            stop();
            return std::unexpected(started.error());
        }
    }
    currentConfiguration_ = configuration;
    isRunning_ = true;
    hasReportedError_ = false;
    return {};
}

void LiveAudioCaptureController::stop() {
    microphone_.setOnPCM16Data(nullptr);
    systemAudioTap_.setOnPCM16Data(nullptr);
    microphone_.stop();
    systemAudioTap_.stop();
    mixer_.stop();
    currentConfiguration_.reset();
    isRunning_ = false;
    ++runNumber_;
}

std::expected<void, LiveAudioReconfigureError> LiveAudioCaptureController::reconfigure(
    const LiveAudioConfiguration& configuration) {
    if (!isRunning_ || !currentConfiguration_) {
        if (auto started = start(configuration); !started) return std::unexpected(started.error());
        return {};
    }
    const LiveAudioConfiguration previous = *currentConfiguration_;
    if (configuration == previous) return {};

    stop();
    auto changed = start(configuration);
    if (changed) return {};
    auto restored = start(previous);
    if (restored) return std::unexpected(changed.error());
    return std::unexpected(LiveAudioCaptureError{changed.error(), restored.error()});
}

}  // namespace quillon
