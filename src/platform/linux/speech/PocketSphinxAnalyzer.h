#pragma once

#include <string>

#include "core/logging/Logger.h"
#include "core/ports/SpeechEngine.h"
#include "platform/linux/speech/PocketSphinxDecoderPool.h"

namespace quillon {

// One analysis run on a pooled PocketSphinx decoder. The decoder's voice-activity detector cuts
// the audio into utterances: while one is in progress its partial hypothesis is reported as a
// volatile result (progressive preset only), and when the detector has heard the endpoint's
// silence the utterance's hypothesis becomes a final result. The glossary of the context decides
// which decoder it takes: one that knows the glossary's terms as words of its own.
//
// Threads: used by one thread at a time (the session's worker), like the decoder it leases.
class PocketSphinxAnalyzer final : public SpeechAnalyzer {
public:
    static constexpr AudioFormat format{16000.0, 1};

    PocketSphinxAnalyzer(PocketSphinxDecoderPool& pool, TranscriberPreset preset, Logger logger);
    ~PocketSphinxAnalyzer() override;

    std::expected<void, TranscriptionError> setContext(const AnalysisContext& context) override;
    std::expected<void, TranscriptionError> prepareToAnalyze(AudioFormat audioFormat) override;
    std::expected<void, TranscriptionError> analyze(std::span<const std::int16_t> samples,
                                                    const ResultHandler& onResult) override;
    std::expected<void, TranscriptionError> finalizeAndFinish(const ResultHandler& onResult) override;
    void cancelAndFinishNow() override;

private:
    std::expected<void, TranscriptionError> checkEndpoint(const ResultHandler& onResult);
    std::string hypothesis() const;

    PocketSphinxDecoderPool& pool_;
    TranscriberPreset preset_;
    Logger logger_;
    PocketSphinxGlossary glossary_;
    PocketSphinxDecoderPool::Lease decoder_;
    bool inUtterance_ = false;    // the decoder's utterance has been started
    bool heardSpeech_ = false;    // the detector has heard speech in the current utterance
    std::size_t samplesIntoChunk_ = 0;
    std::size_t samplesSincePartial_ = 0;
    std::string lastPartial_;
};

}  // namespace quillon
