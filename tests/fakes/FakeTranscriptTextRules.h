#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/transcription/TranscriptTextRules.h"

namespace quillon::testing {

// Text rules with the clean-up of the real ones (white-space runs become one blank, ends
// trimmed) and plain, case-sensitive word replacements in place of the user's corrections.
// Replacements and glossary may change between calls, as the user's settings can.
class FakeTranscriptTextRules final : public quillon::TranscriptTextRules {
public:
    void setCorrections(std::vector<std::pair<std::string, std::string>> corrections);
    void setGlossary(std::vector<std::string> terms);

    std::string normalize(std::string_view text) const override;
    quillon::AnalysisContext analysisContext() const override;

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, std::string>> corrections_;
    std::vector<std::string> glossary_;
};

}  // namespace quillon::testing
