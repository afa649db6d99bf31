#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/SpscRing.h"
#include "core/ports/PCMConverter.h"
#include "core/ports/SpeechEngine.h"
#include "core/transcription/PCMAnalyzerInputConverter.h"
#include "core/transcription/SpeechSession.h"
#include "core/transcription/SpeechTranscriptionSupport.h"

namespace quillon {

// How much audio can wait for a session's worker.
struct SpeechHandOverCapacity {
    std::size_t samples = 480'000;  // ten seconds at 48 kHz
    std::size_t blocks = 1'024;     // ten seconds in blocks of 10 ms
};

// One streaming recognition run: audio pushed in from the audio thread is converted, analysed
// and turned into committed and provisional text, reported through the handlers.
//
// Threads: everything but the hand-over of audio, the finish and the cancel runs on `worker`, one
// task at a time; the handlers and completions are called there. Pending tasks keep the session
// alive until the run is over.
//
// Audio hand-over: appendPCM16() runs on the audio thread, so it never allocates, never logs and
// never takes a lock. It copies the block into two rings taken at start (the samples, and one
// header per block with its count and rate) and signals a wake-up on the worker, which drains the
// rings block by block. Audio waits there while the model is prepared or the analyzer is busy.
// When the rings are full, a block that does not fit is dropped whole: the recogniser hears a gap
// there, the dropped duration is counted, and the worker logs it (once when first seen, and the
// total when the run ends). The default room is ten seconds of live audio (thirty of dictation).
//
// Lifecycle: preparing -> streaming (after the first update) -> finished, failed or cancelled.
// Each session runs once.
class SpeechTranscriptionSession final : public SpeechSession,
                                         public std::enable_shared_from_this<SpeechTranscriptionSession> {
public:
    using HandOverCapacity = SpeechHandOverCapacity;

    // Makes the session and starts its run at once, without waiting for any of it.
    static std::shared_ptr<SpeechTranscriptionSession> start(const SpeechTranscriptionSupport& support,
                                                             PCMConverterFactory& converters, Scheduler& worker,
                                                             SpeechSessionHandlers handlers,
                                                             HandOverCapacity capacity = {});

    // A block of little-endian 16-bit mono samples as a buffer at `sampleRate`; absent for a block
    // of fewer than two bytes or an unusable rate. An odd trailing byte is dropped.
    static std::optional<PCMBuffer> makePCMBuffer(std::span<const std::byte> data, double sampleRate);

    void appendPCM16(std::span<const std::byte> data, double sampleRate) override;

    // The completion follows onFinished or onFailure; after cancel() it gets the cancellation error.
    void finishAndWait(FinalTextCompletion completion) override;
    void cancel() override;

private:
    struct Token {
        explicit Token() = default;
    };

public:
    // Use start().
    SpeechTranscriptionSession(Token, const SpeechTranscriptionSupport& support, PCMConverterFactory& converters,
                               Scheduler& worker, SpeechSessionHandlers handlers, HandOverCapacity capacity);

private:
    enum class Phase { preparing, streaming, finished, failed, cancelled };

    struct BlockHeader {
        std::size_t samples = 0;
        double sampleRate = 0;
    };

    void post(void (SpeechTranscriptionSession::*step)());
    void run();
    void drainAudio(bool everything);
    void reportDroppedAudio(bool runEnded);
    void feed(PCMBuffer buffer);
    void finishInput();
    void cancelNow();
    void addCompletion(FinalTextCompletion completion);
    void handleResult(const SpeechResult& result);
    void fail(const TranscriptionError& error);
    void complete(std::expected<std::string, TranscriptionError> result);
    bool isRunning() const { return phase_ == Phase::preparing || phase_ == Phase::streaming; }

    const SpeechTranscriptionSupport& support_;
    PCMConverterFactory& converters_;
    Scheduler& worker_;
    SpeechSessionHandlers handlers_;

    // The hand-over: the audio thread pushes, the worker pops.
    SpscRing<std::int16_t> samples_;
    SpscRing<BlockHeader> blocks_;
    std::atomic<std::uint64_t> droppedMicroseconds_{0};
    std::shared_ptr<Wakeup> audioArrived_;  // set by start(), before any audio

    std::atomic<bool> inputFinished_{false};
    std::atomic<bool> cancelled_{false};

    // Worker only.
    Phase phase_ = Phase::preparing;
    std::unique_ptr<SpeechTranscriber> transcriber_;
    std::unique_ptr<SpeechAnalyzer> analyzer_;
    std::optional<PCMAnalyzerInputConverter> converter_;
    bool analyzedAnySample_ = false;
    std::uint64_t reportedDropMicroseconds_ = 0;
    std::string committed_;
    std::string provisional_;
    std::optional<std::expected<std::string, TranscriptionError>> result_;
    std::vector<FinalTextCompletion> completions_;
};

}  // namespace quillon
