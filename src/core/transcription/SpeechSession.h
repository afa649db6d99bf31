#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>

#include "core/ports/TranscriptionError.h"
#include "core/transcription/TranscriptionUpdate.h"

namespace quillon {

// The callbacks of one streaming session. They run on the session's own thread, never on the
// main thread: callers hop to their own queue before touching their state.
struct SpeechSessionHandlers {
    std::function<void(const TranscriptionUpdate&)> onUpdate;
    // The new phrase, then the whole committed text that already contains it.
    std::function<void(const std::string& phrase, const std::string& committedText)> onPhraseFinalized;
    std::function<void(const std::string& finalText)> onFinished;
    std::function<void(const std::string& message)> onFailure;
};

// One streaming, on-device recognition run, as the dictation and live transcript see it.
// The run starts when the session is made.
class SpeechSession {
public:
    using FinalTextCompletion = std::function<void(std::expected<std::string, TranscriptionError>)>;

    virtual ~SpeechSession() = default;

    // Pushes little-endian 16-bit mono samples at `sampleRate`. Safe from the audio thread; does
    // not block. A block of fewer than two bytes is dropped silently; an odd trailing byte is dropped.
    virtual void appendPCM16(std::span<const std::byte> data, double sampleRate) = 0;

    // Ends the audio and waits, without a time-out, until the recogniser has finished; then hands
    // the final text (or the error the run ended with) to `completion`, on the session's thread.
    virtual void finishAndWait(FinalTextCompletion completion) = 0;

    // Ends the audio and cancels the run: neither onFinished nor onFailure follows, and a completion
    // given to finishAndWait is never called.
    virtual void cancel() = 0;
};

}  // namespace quillon
