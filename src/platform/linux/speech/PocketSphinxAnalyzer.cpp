#include "platform/linux/speech/PocketSphinxAnalyzer.h"

#include <algorithm>

namespace quillon {

namespace {

// The detector is asked at every 128 ms of the stream, counted from its start, whatever the sizes
// of the blocks fed: the same audio is cut into the same utterances whether it comes from a file
// or a microphone, and a large block cannot hide an endpoint followed by new speech. The engine's
// own decoder asks at the same points, so both cut speech alike.
constexpr std::size_t chunkSamples = 2048;
// A partial hypothesis costs a back-trace; four a second keep the provisional text lively.
constexpr std::size_t partialIntervalSamples = 4096;

}  // namespace

PocketSphinxAnalyzer::PocketSphinxAnalyzer(PocketSphinxDecoderPool& pool, TranscriberPreset preset, Logger logger)
    : pool_(pool), preset_(preset), logger_(std::move(logger)) {}

PocketSphinxAnalyzer::~PocketSphinxAnalyzer() { cancelAndFinishNow(); }

std::expected<void, TranscriptionError> PocketSphinxAnalyzer::setContext(const AnalysisContext& context) {
    auto terms = context.contextualStrings.find(AnalysisContext::generalTag);
    glossary_ = terms == context.contextualStrings.end() ? PocketSphinxGlossary() : PocketSphinxGlossary(terms->second);
    return {};
}

std::expected<void, TranscriptionError> PocketSphinxAnalyzer::prepareToAnalyze(AudioFormat audioFormat) {
    if (audioFormat != format) return std::unexpected(TranscriptionError::noCompatibleAudioFormat());
    if (!decoder_) decoder_ = pool_.acquire(preset_, glossary_);
    if (!decoder_) return std::unexpected(TranscriptionError::unavailable());
    // Each session is a stream of its own: the front end's noise estimate starts over, as it does
    // for the engine's own decoder at each file, instead of carrying over from the last session.
    if (ps_start_stream(decoder_.get()) < 0 || ps_start_utt(decoder_.get()) < 0) {
        logger_.error("PocketSphinx could not start an utterance");
        return std::unexpected(TranscriptionError::unavailable());
    }
    inUtterance_ = true;
    heardSpeech_ = false;
    samplesIntoChunk_ = 0;
    return {};
}

std::expected<void, TranscriptionError> PocketSphinxAnalyzer::analyze(std::span<const std::int16_t> samples,
                                                                     const ResultHandler& onResult) {
    if (!decoder_ || !inUtterance_) return std::unexpected(TranscriptionError::unavailable());
    while (!samples.empty()) {
        const auto piece = samples.first(std::min(samples.size(), chunkSamples - samplesIntoChunk_));
        if (ps_process_raw(decoder_.get(), piece.data(), piece.size(), FALSE, FALSE) < 0) {
            logger_.error("PocketSphinx failed to decode audio");
            return std::unexpected(TranscriptionError::unavailable());
        }
        samples = samples.subspan(piece.size());
        samplesIntoChunk_ += piece.size();
        if (samplesIntoChunk_ == chunkSamples) {
            samplesIntoChunk_ = 0;
            if (auto checked = checkEndpoint(onResult); !checked) return checked;
        }
    }
    return {};
}

std::expected<void, TranscriptionError> PocketSphinxAnalyzer::checkEndpoint(const ResultHandler& onResult) {
    ps_decoder_t* decoder = decoder_.get();
    const bool inSpeech = ps_get_in_speech(decoder) != 0;
    if (inSpeech && !heardSpeech_) {
        heardSpeech_ = true;
        samplesSincePartial_ = 0;
        lastPartial_.clear();
    }
    if (heardSpeech_ && !inSpeech) {
        // The endpoint: the silence window after speech has passed.
        ps_end_utt(decoder);
        const std::string text = hypothesis();
        heardSpeech_ = false;
        if (ps_start_utt(decoder) < 0) {
            inUtterance_ = false;
            logger_.error("PocketSphinx could not start an utterance");
            return std::unexpected(TranscriptionError::unavailable());
        }
        onResult(SpeechResult{text, true});
        return {};
    }
    if (heardSpeech_ && preset_ == TranscriberPreset::progressiveTranscription) {
        samplesSincePartial_ += chunkSamples;
        if (samplesSincePartial_ >= partialIntervalSamples) {
            samplesSincePartial_ = 0;
            std::string partial = hypothesis();
            if (partial != lastPartial_) {
                lastPartial_ = partial;
                onResult(SpeechResult{std::move(partial), false});
            }
        }
    }
    return {};
}

std::expected<void, TranscriptionError> PocketSphinxAnalyzer::finalizeAndFinish(const ResultHandler& onResult) {
    if (!decoder_ || !inUtterance_) return std::unexpected(TranscriptionError::unavailable());
    ps_end_utt(decoder_.get());
    inUtterance_ = false;
    // Only an utterance the detector heard speech in has a hypothesis worth keeping; in pure
    // noise the search still guesses words.
    const bool heard = heardSpeech_;
    const std::string text = heard ? hypothesis() : std::string();
    heardSpeech_ = false;
    decoder_.reset();
    if (heard) onResult(SpeechResult{text, true});
    return {};
}

void PocketSphinxAnalyzer::cancelAndFinishNow() {
    if (decoder_ && inUtterance_) ps_end_utt(decoder_.get());
    inUtterance_ = false;
    heardSpeech_ = false;
    decoder_.reset();
}

std::string PocketSphinxAnalyzer::hypothesis() const {
    std::int32_t score = 0;
    const char* text = ps_get_hyp(decoder_.get(), &score);
    return text ? glossary_.writtenForm(text) : std::string();
}

}  // namespace quillon
