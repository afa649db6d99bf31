#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/ports/AudioFormat.h"
#include "core/ports/AnalysisContext.h"
#include "core/ports/TranscriptionError.h"

namespace quillon {

// How a transcriber is tuned: early volatile results for live speech, or the most accurate
// final results for files.
enum class TranscriberPreset { progressiveTranscription, transcription };

// One recognition result. Volatile results are hypotheses for the speech in progress, each
// replacing the one before; a final result closes a stretch of speech for good.
struct SpeechResult {
    std::string text;
    bool isFinal = false;

    bool operator==(const SpeechResult&) const = default;
};

// One analysis run. Every call happens on the caller's thread, one at a time, and results are
// handed to `onResult` inside the call that produced them, in order.
//
// An adapter reports its own failures as TranscriptionError after logging the detail.
class SpeechAnalyzer {
public:
    using ResultHandler = std::function<void(const SpeechResult&)>;

    virtual ~SpeechAnalyzer() = default;

    virtual std::expected<void, TranscriptionError> setContext(const AnalysisContext& context) = 0;
    virtual std::expected<void, TranscriptionError> prepareToAnalyze(AudioFormat format) = 0;

    // Feeds samples in the prepared format.
    virtual std::expected<void, TranscriptionError> analyze(std::span<const std::int16_t> samples,
                                                            const ResultHandler& onResult) = 0;

    // Finalises everything fed so far; the last results arrive before this returns, and the
    // run is over.
    virtual std::expected<void, TranscriptionError> finalizeAndFinish(const ResultHandler& onResult) = 0;

    // Ends the run at once, discarding whatever is pending. Safe to call more than once.
    virtual void cancelAndFinishNow() = 0;
};

// The recogniser module of one locale and preset.
class SpeechTranscriber {
public:
    virtual ~SpeechTranscriber() = default;

    // Makes sure the model is present (installing it where the platform can). Fails with
    // `unavailable` when it is not and cannot be.
    virtual std::expected<void, TranscriptionError> ensureAssetsInstalled() = 0;

    // The format the analyzer wants to be fed, or absent.
    virtual std::optional<AudioFormat> bestAvailableAudioFormat() const = 0;

    virtual std::unique_ptr<SpeechAnalyzer> makeAnalyzer() = 0;
};

// The on-device recogniser. Thread-safe: sessions on several threads share one engine.
class SpeechEngine {
public:
    virtual ~SpeechEngine() = default;

    // Whether on-device recognition can run on this machine at all.
    virtual bool isAvailable() const = 0;

    // The supported locale that is equivalent to `localeIdentifier`, or absent.
    virtual std::optional<std::string> supportedLocale(std::string_view localeIdentifier) const = 0;

    virtual std::unique_ptr<SpeechTranscriber> makeTranscriber(const std::string& locale, TranscriberPreset preset) = 0;
};

}  // namespace quillon
