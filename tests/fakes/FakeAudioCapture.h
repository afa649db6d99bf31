#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/ports/AudioCapture.h"
#include "core/ports/SystemAudioTap.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A capture without a sound server: the test feeds blocks through deliver(), injects run-time
// errors through fail(), and makes the next starts fail through startFailures (one entry per
// coming start: an error fails it, absent lets it through).
template <class Port>
class FakeCapture : public Port {
public:
    void stop() override {
        note(journal, name_ + ".stop");
        running = false;
    }
    void setOnPCM16Data(typename Port::PCM16Handler handler) override { pcm = std::move(handler); }
    void setOnError(typename Port::ErrorHandler handler) override { error = std::move(handler); }

    void deliver(std::span<const std::byte> block) {
        if (running && pcm) pcm(block);
    }
    void fail(const AudioCaptureError& e) {
        if (error) error(e);
    }

    CallJournal* journal = nullptr;
    std::vector<std::optional<AudioCaptureError>> startFailures;
    bool running = false;
    typename Port::PCM16Handler pcm;
    typename Port::ErrorHandler error;

protected:
    explicit FakeCapture(std::string name) : name_(std::move(name)) {}

    // Notes the start as "<name>.start(<argument>)" and runs unless a failure waits for it.
    std::expected<void, AudioCaptureError> begin(const std::string& argument) {
        note(journal, name_ + ".start(" + argument + ")");
        if (running) return {};
        if (!startFailures.empty()) {
            auto failure = startFailures.front();
            startFailures.erase(startFailures.begin());
            if (failure) return std::unexpected(*failure);
        }
        running = true;
        return {};
    }

private:
    std::string name_;
};

// The microphone; `source` is the one the last successful start opened.
class FakeAudioCapture final : public FakeCapture<quillon::AudioCapture> {
public:
    FakeAudioCapture() : FakeCapture("microphone") {}
    std::expected<void, AudioCaptureError> start(const std::string& sourceName, int sampleRate) override {
        const bool wasRunning = running;
        auto started = begin(std::to_string(sampleRate));
        if (started && !wasRunning) source = sourceName;
        return started;
    }

    std::string source;
};

// System audio, of one application or all.
class FakeSystemAudioTap final : public FakeCapture<quillon::SystemAudioTap> {
public:
    FakeSystemAudioTap() : FakeCapture("tap") {}
    std::expected<void, AudioCaptureError> start(const std::optional<std::string>& application) override {
        return begin(application.value_or("all"));
    }
};

}  // namespace quillon::testing
