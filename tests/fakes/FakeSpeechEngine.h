#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "core/ports/SpeechEngine.h"

namespace quillon::testing {

// A recogniser that plays a script: each analyze() call hands out the next batch of results,
// finalizeAndFinish() the final batch. Every step can be made to fail, and every call is recorded.
// Not thread-safe: sessions under test run on a ManualScheduler. Analyzers refer back to the engine.
class FakeSpeechEngine final : public SpeechEngine {
public:
    using Results = std::vector<SpeechResult>;

    bool available = true;
    std::optional<TranscriptionError> finalizeError;
    std::deque<Results> analyzeBatches;
    Results finalizeBatch;
    std::optional<std::pair<int, TranscriptionError>> analyzeFailure;  // at this 0-based call

    std::vector<TranscriberPreset> presets;
    std::vector<std::int16_t> fed;
    int analyzeCalls = 0, finalizeCalls = 0, cancelCalls = 0, analyzersAlive = 0;

    bool isAvailable() const override { return available; }
    std::optional<std::string> supportedLocale(std::string_view identifier) const override {
        return identifier.starts_with("en") ? std::optional<std::string>("en-US") : std::nullopt;
    }
    std::unique_ptr<SpeechTranscriber> makeTranscriber(const std::string&, TranscriberPreset preset) override {
        presets.push_back(preset);
        return std::make_unique<Transcriber>(*this);
    }

private:
    struct Analyzer final : SpeechAnalyzer {
        FakeSpeechEngine& e;
        explicit Analyzer(FakeSpeechEngine& engine) : e(engine) { ++e.analyzersAlive; }
        ~Analyzer() override { --e.analyzersAlive; }
        std::expected<void, TranscriptionError> setContext(const AnalysisContext&) override { return {}; }
        std::expected<void, TranscriptionError> prepareToAnalyze(AudioFormat) override { return {}; }
        std::expected<void, TranscriptionError> analyze(std::span<const std::int16_t> samples,
                                                        const ResultHandler& onResult) override {
            e.fed.insert(e.fed.end(), samples.begin(), samples.end());
            if (e.analyzeFailure && e.analyzeFailure->first == e.analyzeCalls++) {
                return std::unexpected(e.analyzeFailure->second);
            }
            if (e.analyzeBatches.empty()) return {};
            const Results results = std::move(e.analyzeBatches.front());
            e.analyzeBatches.pop_front();
            for (const auto& result : results) onResult(result);
            return {};
        }
        std::expected<void, TranscriptionError> finalizeAndFinish(const ResultHandler& onResult) override {
            ++e.finalizeCalls;
            if (e.finalizeError) return std::unexpected(*e.finalizeError);
            for (const auto& result : std::exchange(e.finalizeBatch, {})) onResult(result);
            return {};
        }
        void cancelAndFinishNow() override { ++e.cancelCalls; }
    };

    struct Transcriber final : SpeechTranscriber {
        FakeSpeechEngine& e;
        explicit Transcriber(FakeSpeechEngine& engine) : e(engine) {}
        std::expected<void, TranscriptionError> ensureAssetsInstalled() override { return {}; }
        std::optional<AudioFormat> bestAvailableAudioFormat() const override { return AudioFormat{16000.0, 1}; }
        std::unique_ptr<SpeechAnalyzer> makeAnalyzer() override { return std::make_unique<Analyzer>(e); }
    };
};

}  // namespace quillon::testing
