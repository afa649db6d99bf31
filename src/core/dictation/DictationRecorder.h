#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <functional>
#include <span>
#include <string>

namespace quillon {

// The microphone recorder of dictation: 16-bit mono PCM at 16 kHz, optionally written to a
// temporary WAV chunk, with the time limit and automatic roll-over of tap-to-toggle recordings.
// Everything but the PCM handler runs on the main thread.
class DictationRecorder {
public:
    using PCM16Handler = std::function<void(std::span<const std::byte> block)>;

    virtual ~DictationRecorder() = default;

    // A second start while recording succeeds and changes nothing. The error is the description
    // of what failed.
    virtual std::expected<void, std::string> startRecording(bool tapToggleMode, bool captureToFile) = 0;

    // Ends the recording; a chunk file is finalised and then reported through onRecordingComplete.
    // Does nothing when idle.
    virtual void stopRecording() = 0;

    // Sets the mode and arms (true) or cancels (false) the time limit of the running recording.
    virtual void setTapToggleMode(bool enabled) = 0;

    virtual bool isTapToggleMode() const = 0;
    // Sets the mode flag alone, without touching the time limit.
    virtual void setIsTapToggleMode(bool enabled) = 0;
    virtual void cancelMaxDurationTimer() = 0;

    // True only during a roll-over from one chunk to the next.
    virtual bool isAutomaticRollover() const = 0;
    // True while an audio engine records.
    virtual bool isRunning() const = 0;

    // Replaces the consumer of the PCM stream (null for none). The handler runs on the audio
    // thread; replacing it is safe while audio flows, and once this returns the old handler is
    // not called again.
    virtual void setOnPCM16Data(PCM16Handler handler) = 0;

    // The finished chunk's file, on the main thread, at or after stopRecording(); its receiver
    // owns the file from then on.
    std::function<void(const std::filesystem::path& file)> onRecordingComplete;
    // A failure while recording, with its description; fired on the main thread.
    std::function<void(const std::string& description)> onError;
};

}  // namespace quillon
