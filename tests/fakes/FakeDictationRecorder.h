#pragma once

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/dictation/DictationRecorder.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A recorder without a microphone. Each stop writes a small chunk file into `directory`, so tests
// can see it deleted; the test drives audio (through `pcm`), errors and roll-overs by hand.
class FakeDictationRecorder final : public quillon::DictationRecorder {
public:
    std::expected<void, std::string> startRecording(bool tapToggle, bool captureToFile) override {
        note(journal, "recorder.startRecording(" + flag(tapToggle) + ", " + flag(captureToFile) + ")");
        if (startFailure) return std::unexpected(*startFailure);
        running = true;
        return {};
    }
    void stopRecording() override {
        note(journal, "recorder.stopRecording");
        if (!std::exchange(running, false)) return;
        chunkFiles.push_back(directory / ("chunk" + std::to_string(chunkFiles.size()) + ".wav"));
        std::ofstream(chunkFiles.back()) << "RIFF";
        if (onRecordingComplete) onRecordingComplete(chunkFiles.back());
    }
    void setTapToggleMode(bool enabled) override { note(journal, "recorder.setTapToggleMode(" + flag(enabled) + ")"); }
    bool isTapToggleMode() const override { return false; }
    void setIsTapToggleMode(bool enabled) override { note(journal, "recorder.setIsTapToggleMode(" + flag(enabled) + ")"); }
    void cancelMaxDurationTimer() override { note(journal, "recorder.cancelMaxDurationTimer"); }
    bool isAutomaticRollover() const override { return automaticRollover; }
    bool isRunning() const override { return running; }
    void setOnPCM16Data(PCM16Handler handler) override {
        note(journal, handler ? "recorder.setOnPCM16Data(handler)" : "recorder.setOnPCM16Data(none)");
        pcm = std::move(handler);
    }

    // What the time limit does in one turn of the main thread: stop with the roll-over flag set,
    // start the next chunk, clear the flag.
    void rollOver() {
        automaticRollover = true;
        stopRecording();
        running = true;
        automaticRollover = false;
    }

    PCM16Handler pcm;
    bool running = false;
    bool automaticRollover = false;
    std::optional<std::string> startFailure;  // every start fails with this description
    std::filesystem::path directory;
    std::vector<std::filesystem::path> chunkFiles;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
