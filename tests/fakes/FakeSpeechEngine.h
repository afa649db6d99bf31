#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/ports/SpeechEngine.h"

namespace quillon::testing {

// A recogniser that plays a script: each analyze() call hands out the next batch of results
// (or what `onAnalyze` returns), finalizeAndFinish() the final batch. Failures can be injected
// at every step, and every call is recorded. Transcribers and analyzers refer back to the engine,
// which must outlive them.
class FakeSpeechEngine final : public quillon::SpeechEngine {
public:
    using Results = std::vector<quillon::SpeechResult>;

    // Configuration (set before the run).
    bool available = true;
    std::vector<std::string> englishPrefixes{"en"};
    std::optional<quillon::TranscriptionError> assetsError;
    std::optional<quillon::AudioFormat> format = quillon::AudioFormat{16000.0, 1};
    bool analyzerUnavailable = false;
    std::optional<quillon::TranscriptionError> contextError;
    std::optional<quillon::TranscriptionError> prepareError;
    std::optional<quillon::TranscriptionError> finalizeError;

    // Script. Safe to extend from the test thread while a run is queued.
    void scriptAnalyze(Results results);
    void scriptFinalize(Results results);
    void failAnalyzeCall(int callIndex, quillon::TranscriptionError error);  // 0-based
    std::function<Results(std::span<const std::int16_t>)> onAnalyze;         // overrides the batches

    // Records.
    struct Record {
        std::vector<quillon::TranscriberPreset> presets;
        std::vector<std::string> locales;
        std::vector<quillon::AudioFormat> preparedFormats;
        std::vector<quillon::AnalysisContext> contexts;
        std::vector<std::int16_t> fedSamples;
        int analyzeCalls = 0;
        int finalizeCalls = 0;
        int cancelCalls = 0;
        int analyzersAlive = 0;
    };
    Record record() const;

    // SpeechEngine
    bool isAvailable() const override { return available; }
    std::optional<std::string> supportedLocale(std::string_view localeIdentifier) const override;
    std::unique_ptr<quillon::SpeechTranscriber> makeTranscriber(const std::string& locale,
                                                                quillon::TranscriberPreset preset) override;

private:
    friend class FakeSpeechTranscriber;
    friend class FakeSpeechAnalyzer;

    mutable std::mutex mutex_;
    std::deque<Results> analyzeBatches_;
    Results finalizeBatch_;
    std::optional<std::pair<int, quillon::TranscriptionError>> analyzeFailure_;
    Record record_;
};

}  // namespace quillon::testing
