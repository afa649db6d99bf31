#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/ports/AudioCapture.h"
#include "core/ports/SystemAudioTap.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// The microphone without a sound server: the test feeds blocks through deliver(), injects run-time
// errors through fail(), and makes the next starts fail through startFailures.
class FakeAudioCapture final : public quillon::AudioCapture {
public:
    std::expected<void, AudioCaptureError> start(const std::string& sourceName, int sampleRate) override {
        note(journal, "microphone.start(" + std::to_string(sampleRate) + ")");
        if (running) return {};
        if (!startFailures.empty()) {
            auto failure = startFailures.front();
            startFailures.erase(startFailures.begin());
            if (failure) return std::unexpected(*failure);
        }
        source = sourceName;
        running = true;
        return {};
    }
    void stop() override {
        note(journal, "microphone.stop");
        running = false;
    }
    void setOnPCM16Data(PCM16Handler handler) override { pcm = std::move(handler); }
    void setOnError(ErrorHandler handler) override { error = std::move(handler); }

    void deliver(std::span<const std::byte> block) {
        if (running && pcm) pcm(block);
    }
    void fail(const AudioCaptureError& e) {
        if (error) error(e);
    }

    CallJournal* journal = nullptr;
    // One entry per coming start: an error fails it, absent lets it through.
    std::vector<std::optional<AudioCaptureError>> startFailures;
    bool running = false;
    std::string source;
    PCM16Handler pcm;
    ErrorHandler error;
};

// System audio without a sound server, in the same shape.
class FakeSystemAudioTap final : public quillon::SystemAudioTap {
public:
    std::expected<void, AudioCaptureError> start(const std::optional<std::string>& application) override {
        note(journal, "tap.start(" + application.value_or("all") + ")");
        if (running) return {};
        if (!startFailures.empty()) {
            auto failure = startFailures.front();
            startFailures.erase(startFailures.begin());
            if (failure) return std::unexpected(*failure);
        }
        applicationIdentifier = application;
        running = true;
        return {};
    }
    void stop() override {
        note(journal, "tap.stop");
        running = false;
    }
    void setOnPCM16Data(PCM16Handler handler) override { pcm = std::move(handler); }
    void setOnError(ErrorHandler handler) override { error = std::move(handler); }

    void deliver(std::span<const std::byte> block) {
        if (running && pcm) pcm(block);
    }

    CallJournal* journal = nullptr;
    std::vector<std::optional<AudioCaptureError>> startFailures;
    bool running = false;
    std::optional<std::string> applicationIdentifier;
    PCM16Handler pcm;
    ErrorHandler error;
};

}  // namespace quillon::testing
