#pragma once

#include "core/settings/SettingsManager.h"
#include "core/text/GlossaryContext.h"
#include "core/text/TranscriptCorrector.h"
#include "core/transcription/TranscriptTextRules.h"

namespace quillon {

// The text rules of the app: the user's corrections and glossary from the settings.
class SettingsTextRules final : public TranscriptTextRules {
public:
    SettingsTextRules(const TranscriptCorrector& corrector, const SettingsManager& settings)
        : corrector_(corrector), settings_(settings) {}

    std::string normalize(std::string_view text) const override { return corrector_.normalize(text); }
    AnalysisContext analysisContext() const override {
        return quillon::analysisContext(settings_.transcriptionGlossary());
    }

private:
    const TranscriptCorrector& corrector_;
    const SettingsManager& settings_;
};

}  // namespace quillon
