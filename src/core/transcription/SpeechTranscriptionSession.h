#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/ports/PCMConverter.h"
#include "core/ports/SpeechEngine.h"
#include "core/transcription/PCMAnalyzerInputConverter.h"
#include "core/transcription/SpeechSession.h"
#include "core/transcription/SpeechTranscriptionSupport.h"

namespace quillon {

// One streaming recognition run: audio pushed in from any thread is converted, analysed and
// turned into committed and provisional text, reported through the handlers.
//
// Threads: everything but the queueing of audio, the finish and the cancel runs on `worker`, one
// task at a time, in the order the calls were made; the handlers and completions are called
// there. Audio queues without bound while the model is prepared or the analyzer is busy, so none
// is ever dropped. mutex_ guards only inputFinished_ and keeps posts in call order; it is never
// held while a task runs. Pending tasks keep the session alive until the run is over.
//
// Lifecycle: preparing -> streaming (after the first update) -> finished, failed or cancelled.
// Each session runs once.
class SpeechTranscriptionSession final : public SpeechSession,
                                         public std::enable_shared_from_this<SpeechTranscriptionSession> {
public:
    // Makes the session and starts its run at once, without waiting for any of it.
    static std::shared_ptr<SpeechTranscriptionSession> start(const SpeechTranscriptionSupport& support,
                                                             PCMConverterFactory& converters, Scheduler& worker,
                                                             SpeechSessionHandlers handlers);

    // A block of little-endian 16-bit mono samples as a buffer at `sampleRate`; absent for a block
    // of fewer than two bytes or an unusable rate. An odd trailing byte is dropped.
    static std::optional<PCMBuffer> makePCMBuffer(std::span<const std::byte> data, double sampleRate);

    void appendPCM16(std::span<const std::byte> data, double sampleRate) override;

    // The completion follows onFinished or onFailure. After cancel() no completion is called.
    void finishAndWait(FinalTextCompletion completion) override;
    void cancel() override;

private:
    struct Token {
        explicit Token() = default;
    };

public:
    // Use start().
    SpeechTranscriptionSession(Token, const SpeechTranscriptionSupport& support, PCMConverterFactory& converters,
                               Scheduler& worker, SpeechSessionHandlers handlers);

private:
    enum class Phase { preparing, streaming, finished, failed, cancelled };

    void post(void (SpeechTranscriptionSession::*step)());
    void run();
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

    std::mutex mutex_;
    bool inputFinished_ = false;
    std::atomic<bool> cancelled_{false};

    // Worker only.
    Phase phase_ = Phase::preparing;
    std::unique_ptr<SpeechTranscriber> transcriber_;
    std::unique_ptr<SpeechAnalyzer> analyzer_;
    std::optional<PCMAnalyzerInputConverter> converter_;
    bool analyzedAnySample_ = false;
    std::string committed_;
    std::string provisional_;
    std::optional<std::expected<std::string, TranscriptionError>> result_;
    std::vector<FinalTextCompletion> completions_;
};

}  // namespace quillon
