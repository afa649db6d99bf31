#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>

#include "core/ports/AudioCaptureError.h"

namespace quillon {

// One microphone stream: signed 16-bit mono samples at a chosen rate, in blocks of any even
// length, delivered on the capture's own audio thread.
class AudioCapture {
public:
    using PCM16Handler = std::function<void(std::span<const std::byte> block)>;
    using ErrorHandler = std::function<void(const AudioCaptureError& error)>;

    virtual ~AudioCapture() = default;

    // Starts capturing `sourceName` (empty: the server's default source) at `sampleRate` Hz.
    // A second start while capturing succeeds and changes nothing.
    virtual std::expected<void, AudioCaptureError> start(const std::string& sourceName, int sampleRate) = 0;

    // Safe at any time. Once it returns no handler is called any more.
    virtual void stop() = 0;

    // Replaces the consumer of the blocks (null: none); once this returns the old one is not
    // called again. The handler runs on the audio thread and must neither block nor wait.
    virtual void setOnPCM16Data(PCM16Handler handler) = 0;

    // A failure while capturing (the server or the device went away), reported once, on the
    // capture's own thread; receivers hop to their own queue.
    virtual void setOnError(ErrorHandler handler) = 0;
};

}  // namespace quillon
