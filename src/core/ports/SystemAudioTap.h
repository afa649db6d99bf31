#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "core/ports/AudioCaptureError.h"

namespace quillon {

// What the machine plays, all of it or one application's part, as signed 16-bit mono samples
// at 48000 Hz in blocks of any even length, delivered on the tap's own audio thread.
class SystemAudioTap {
public:
    using PCM16Handler = std::function<void(std::span<const std::byte> block)>;
    using ErrorHandler = std::function<void(const AudioCaptureError& error)>;

    virtual ~SystemAudioTap() = default;

    // Absent: all system audio. Otherwise the application identifier of the source catalog; an
    // application that plays nothing fails with applicationUnavailable. A second start while
    // running succeeds and changes nothing, whatever the argument.
    virtual std::expected<void, AudioCaptureError> start(const std::optional<std::string>& applicationIdentifier) = 0;

    // Safe at any time, also twice. Once it returns no handler is called any more.
    virtual void stop() = 0;

    // As AudioCapture::setOnPCM16Data.
    virtual void setOnPCM16Data(PCM16Handler handler) = 0;

    // The sound server went away while running, reported once on the tap's own thread. An
    // application that stops playing is no error: the tap then delivers nothing.
    virtual void setOnError(ErrorHandler handler) = 0;
};

}  // namespace quillon
