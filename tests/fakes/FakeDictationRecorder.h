#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/dictation/DictationRecorder.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A recorder without a microphone. Chunks are real (small) files in `directory`, so tests can
// see them deleted; the test drives audio, errors and roll-overs by hand.
class FakeDictationRecorder final : public quillon::DictationRecorder {
public:
    std::expected<void, std::string> startRecording(bool tapToggleMode, bool captureToFile) override;
    void stopRecording() override;
    void setTapToggleMode(bool enabled) override;
    bool isTapToggleMode() const override { return tapToggleMode_; }
    void setIsTapToggleMode(bool enabled) override;
    void cancelMaxDurationTimer() override;
    bool isAutomaticRollover() const override { return automaticRollover; }
    bool isRunning() const override { return running_; }
    void setOnPCM16Data(PCM16Handler handler) override;

    // Audio from the microphone, as the audio thread would hand it over.
    void deliverPCM16(std::size_t bytes);
    // What the time limit of a tap-to-toggle recording does: stop with the roll-over flag set,
    // start the next chunk, clear the flag, all in one call.
    void rollOver();
    // A failure while recording.
    void fail(const std::string& description) { if (onError) onError(description); }

    bool hasPCM16Handler() const { return static_cast<bool>(pcmHandler_); }
    bool isMaxDurationTimerArmed() const { return maxDurationArmed_; }

    std::optional<std::string> startFailure;  // the next starts fail with this description
    bool automaticRollover = false;
    std::filesystem::path directory;          // where chunk files are made; none when empty
    std::vector<std::filesystem::path> chunkFiles;
    int startCount = 0;
    CallJournal* journal = nullptr;

private:
    std::filesystem::path makeChunkFile();

    bool running_ = false;
    bool capturesToFile_ = false;
    bool tapToggleMode_ = false;
    bool maxDurationArmed_ = false;
    PCM16Handler pcmHandler_;
};

}  // namespace quillon::testing
