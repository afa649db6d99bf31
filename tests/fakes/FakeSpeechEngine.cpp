#include "fakes/FakeSpeechEngine.h"

namespace quillon::testing {

using quillon::SpeechResult;
using quillon::TranscriptionError;

class FakeSpeechAnalyzer final : public quillon::SpeechAnalyzer {
public:
    explicit FakeSpeechAnalyzer(FakeSpeechEngine& engine) : engine_(engine) {
        std::lock_guard lock(engine_.mutex_);
        ++engine_.record_.analyzersAlive;
    }
    ~FakeSpeechAnalyzer() override {
        std::lock_guard lock(engine_.mutex_);
        --engine_.record_.analyzersAlive;
    }

    std::expected<void, TranscriptionError> setContext(const quillon::AnalysisContext& context) override {
        std::lock_guard lock(engine_.mutex_);
        engine_.record_.contexts.push_back(context);
        if (engine_.contextError) return std::unexpected(*engine_.contextError);
        return {};
    }
    std::expected<void, TranscriptionError> prepareToAnalyze(quillon::AudioFormat format) override {
        std::lock_guard lock(engine_.mutex_);
        engine_.record_.preparedFormats.push_back(format);
        if (engine_.prepareError) return std::unexpected(*engine_.prepareError);
        return {};
    }
    std::expected<void, TranscriptionError> analyze(std::span<const std::int16_t> samples,
                                                    const ResultHandler& onResult) override {
        FakeSpeechEngine::Results results;
        {
            std::lock_guard lock(engine_.mutex_);
            const int call = engine_.record_.analyzeCalls++;
            engine_.record_.fedSamples.insert(engine_.record_.fedSamples.end(), samples.begin(), samples.end());
            if (engine_.analyzeFailure_ && engine_.analyzeFailure_->first == call) {
                return std::unexpected(engine_.analyzeFailure_->second);
            }
            if (!engine_.onAnalyze && !engine_.analyzeBatches_.empty()) {
                results = std::move(engine_.analyzeBatches_.front());
                engine_.analyzeBatches_.pop_front();
            }
        }
        if (engine_.onAnalyze) results = engine_.onAnalyze(samples);
        for (const auto& result : results) onResult(result);
        return {};
    }
    std::expected<void, TranscriptionError> finalizeAndFinish(const ResultHandler& onResult) override {
        FakeSpeechEngine::Results results;
        {
            std::lock_guard lock(engine_.mutex_);
            ++engine_.record_.finalizeCalls;
            if (engine_.finalizeError) return std::unexpected(*engine_.finalizeError);
            results = std::move(engine_.finalizeBatch_);
            engine_.finalizeBatch_.clear();
        }
        for (const auto& result : results) onResult(result);
        return {};
    }
    void cancelAndFinishNow() override {
        std::lock_guard lock(engine_.mutex_);
        ++engine_.record_.cancelCalls;
    }

private:
    FakeSpeechEngine& engine_;
};

class FakeSpeechTranscriber final : public quillon::SpeechTranscriber {
public:
    explicit FakeSpeechTranscriber(FakeSpeechEngine& engine) : engine_(engine) {}

    std::expected<void, TranscriptionError> ensureAssetsInstalled() override {
        if (engine_.assetsError) return std::unexpected(*engine_.assetsError);
        return {};
    }
    std::optional<quillon::AudioFormat> bestAvailableAudioFormat() const override { return engine_.format; }
    std::unique_ptr<quillon::SpeechAnalyzer> makeAnalyzer() override {
        if (engine_.analyzerUnavailable) return nullptr;
        return std::make_unique<FakeSpeechAnalyzer>(engine_);
    }

private:
    FakeSpeechEngine& engine_;
};

void FakeSpeechEngine::scriptAnalyze(Results results) {
    std::lock_guard lock(mutex_);
    analyzeBatches_.push_back(std::move(results));
}

void FakeSpeechEngine::scriptFinalize(Results results) {
    std::lock_guard lock(mutex_);
    finalizeBatch_ = std::move(results);
}

void FakeSpeechEngine::failAnalyzeCall(int callIndex, TranscriptionError error) {
    std::lock_guard lock(mutex_);
    analyzeFailure_ = std::pair{callIndex, std::move(error)};
}

FakeSpeechEngine::Record FakeSpeechEngine::record() const {
    std::lock_guard lock(mutex_);
    return record_;
}

std::optional<std::string> FakeSpeechEngine::supportedLocale(std::string_view localeIdentifier) const {
    for (const auto& prefix : englishPrefixes) {
        if (localeIdentifier.starts_with(prefix)) return std::string("en-US");
    }
    return std::nullopt;
}

std::unique_ptr<quillon::SpeechTranscriber> FakeSpeechEngine::makeTranscriber(const std::string& locale,
                                                                            quillon::TranscriberPreset preset) {
    {
        std::lock_guard lock(mutex_);
        record_.presets.push_back(preset);
        record_.locales.push_back(locale);
    }
    return std::make_unique<FakeSpeechTranscriber>(*this);
}

}  // namespace quillon::testing
