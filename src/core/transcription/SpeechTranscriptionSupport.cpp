#include "core/transcription/SpeechTranscriptionSupport.h"

namespace quillon {

SpeechTranscriptionSupport::SpeechTranscriptionSupport(SpeechEngine& engine, const TranscriptTextRules& textRules,
                                                       std::function<std::string()> currentLocaleIdentifier,
                                                       Logger logger)
    : engine_(engine),
      textRules_(textRules),
      currentLocaleIdentifier_(std::move(currentLocaleIdentifier)),
      logger_(std::move(logger)) {}

std::expected<std::unique_ptr<SpeechTranscriber>, TranscriptionError> SpeechTranscriptionSupport::makeTranscriber(
    TranscriberPreset preset) const {
    if (!engine_.isAvailable()) return std::unexpected(TranscriptionError::unavailable());

    const std::string identifier = currentLocaleIdentifier_();
    const auto locale = engine_.supportedLocale(identifier);
    if (!locale) return std::unexpected(TranscriptionError::unsupportedLocale(identifier));

    auto transcriber = engine_.makeTranscriber(*locale, preset);
    if (!transcriber) return std::unexpected(TranscriptionError::unavailable());

    // The wait for a model is unbounded; a session stays silent meanwhile.
    if (auto installed = transcriber->ensureAssetsInstalled(); !installed) {
        return std::unexpected(installed.error());
    }
    return transcriber;
}

}  // namespace quillon
