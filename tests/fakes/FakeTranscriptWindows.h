#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/ports/TranscriptWindows.h"

namespace quillon::testing {

// Transcript windows that the test can close before their job ends.
class FakeTranscriptWindows final : public quillon::TranscriptWindows {
public:
    struct Window {
        quillon::Uuid job;
        std::filesystem::path source;
        bool open = true;
        std::optional<std::string> transcript;
        std::optional<std::string> failure;
        std::string sourceName;
    };

    quillon::Uuid showTranscriptionProgress(const std::filesystem::path& source) override {
        Window window;
        window.job = quillon::Uuid::random();
        window.source = source;
        windows.push_back(window);
        return window.job;
    }

    bool showTranscript(const quillon::Uuid& job, const std::string& transcript, const std::string& sourceName) override {
        Window* window = find(job);
        if (!window) return false;
        window->transcript = transcript;
        window->sourceName = sourceName;
        return true;
    }

    bool showFailure(const quillon::Uuid& job, const std::string& message, const std::string& sourceName) override {
        Window* window = find(job);
        if (!window) return false;
        window->failure = message;
        window->sourceName = sourceName;
        return true;
    }

    std::vector<Window> windows;

private:
    Window* find(const quillon::Uuid& job) {
        for (auto& window : windows) {
            if (window.job == job && window.open) return &window;
        }
        return nullptr;
    }
};

}  // namespace quillon::testing
