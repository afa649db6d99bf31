#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/SpeechEngine.h"
#include "core/transcription/TranscriptTextRules.h"

namespace quillon {

// The steps that streaming sessions and file transcription share: choosing and readying the
// recogniser, and the text rules. The language is always the user's current locale.
// Stateless beyond its collaborators; safe from any thread.
class SpeechTranscriptionSupport {
public:
    SpeechTranscriptionSupport(SpeechEngine& engine, const TranscriptTextRules& textRules,
                               std::function<std::string()> currentLocaleIdentifier, Logger logger);

    // A ready transcriber for the current locale, its model installed.
    std::expected<std::unique_ptr<SpeechTranscriber>, TranscriptionError> makeTranscriber(TranscriberPreset preset) const;

    AnalysisContext analysisContext() const { return textRules_.analysisContext(); }
    std::string normalize(std::string_view text) const { return textRules_.normalize(text); }

    const Logger& logger() const { return logger_; }

private:
    SpeechEngine& engine_;
    const TranscriptTextRules& textRules_;
    std::function<std::string()> currentLocaleIdentifier_;
    Logger logger_;
};

}  // namespace quillon
